// Checking an archive image against the number of bytes it is given, before it is opened: the
// readers trust an image's header, tables and offsets, and read as far as they say. The check
// reads nothing outside [image, image + size). It asks for the layout the writer produces,
// which both readers can follow: sections back to back in table order, every size field equal
// to what its section holds, offset tables that start at 0, never go back and end at their
// block's size. It costs a pass over the header, the Name and Description, the section table
// and each section's two offset tables; it reads no key and no data item.
#include <cstring>

#include "dictionary/image_layout.h"
#include "sc_edct.h"

namespace sc::edct {
namespace {

using image::Load;
using image::PadTo;

// The image's first `size` bytes; every read below asks first whether it lies in them.
class Bytes {
 public:
  Bytes(const unsigned char *start, uint64_t size) : start_(start), size_(size) {}
  uint64_t size() const { return size_; }
  bool Holds(uint64_t offset, uint64_t length) const {
    return offset <= size_ && length <= size_ - offset;
  }
  template <class T>
  T At(uint64_t offset) const {
    return Load<T>(start_ + offset);
  }
  template <class Record>
  Record RecordAt(uint64_t offset) const {
    Record record;
    std::memcpy(&record, start_ + offset, sizeof record);
    return record;
  }
  // The first `size` bytes only.
  Bytes Prefix(uint64_t size) const { return Bytes(start_, size < size_ ? size : size_); }
  // The offset after the NUL of an 8-bit string at `offset`, before `end`; 0 when none.
  uint64_t StringEnd(uint64_t offset, uint64_t end) const {
    if (offset >= end) return 0;
    const void *nul = std::memchr(start_ + offset, 0, end - offset);
    return nul ? uint64_t(static_cast<const unsigned char *>(nul) - start_) + 1 : 0;
  }
  // The same for a 16-bit string.
  uint64_t WideEnd(uint64_t offset, uint64_t end) const {
    for (; offset + 2 <= end; offset += 2)
      if (At<uint16_t>(offset) == 0) return offset + 2;
    return 0;
  }

 private:
  const unsigned char *start_;
  uint64_t size_;
};

constexpr VQRESULT kCorrupt = EDCT_E_CORRUPT;

// Key offsets: the first 0, none going back, each key at least its terminator long (an even
// number of bytes for UTF-16 keys), the last the key block's size.
bool KeyOffsetsHold(const Bytes &bytes, uint64_t table, uint32_t count, uint32_t blockSize,
                    bool wide) {
  const uint32_t terminator = wide ? 2 : 1;
  uint32_t previous = bytes.At<uint32_t>(table);
  if (previous != 0) return false;
  for (uint32_t i = 1; i <= count; ++i) {
    const uint32_t offset = bytes.At<uint32_t>(table + uint64_t{i} * 4);
    if (offset < previous || offset - previous < terminator || (wide && offset % 2)) return false;
    previous = offset;
  }
  return previous == blockSize;
}

// Data offsets: key i's data starts at |entry i|, after the marker byte, and ends where the
// next key's starts; none goes back; the last entry is the data block's size, positive.
bool DataOffsetsHold(const Bytes &bytes, uint64_t table, uint32_t count, uint32_t blockSize) {
  int64_t previous = 1;
  for (uint32_t i = 0; i < count; ++i) {
    const int64_t entry = bytes.At<int32_t>(table + uint64_t{i} * 4);
    const int64_t start = entry < 0 ? -entry : entry;
    if (start < previous) return false;
    previous = start;
  }
  const int64_t last = bytes.At<int32_t>(table + uint64_t{count} * 4);
  return last >= previous && last == int64_t{blockSize};
}

// The section that must start at `at`; 0 with `end` set to the offset after its data block.
VQRESULT CheckSection(const Bytes &bytes, uint64_t at, uint64_t &end) {
  if (at % 4 || !bytes.Holds(at, sizeof(image::SectionHeader))) return kCorrupt;
  const auto header = bytes.RecordAt<image::SectionHeader>(at);
  if (header.keyEncoding != image::kKeysUtf8 && header.keyEncoding != image::kKeysUtf16Host)
    return kCorrupt;
  if (header.languagePresent > 1 || header.modelPresent > 1 || header.enginePresent > 1)
    return kCorrupt;
  // The attribute strings end inside the image.
  const uint64_t limit = bytes.size();
  uint64_t cursor = at + sizeof header;
  if (header.languagePresent && !(cursor = bytes.StringEnd(cursor, limit))) return kCorrupt;
  if (header.modelPresent) cursor += image::kModelSize;
  if (header.enginePresent && !(cursor = bytes.StringEnd(cursor, limit))) return kCorrupt;
  const uint64_t tableBytes = (uint64_t{header.keyCount} + 1) * 4;
  const uint64_t keyTable = PadTo(cursor, 4);
  const uint64_t keyBlock = keyTable + tableBytes;
  const uint64_t dataTable = PadTo(keyBlock + header.keyBlockSize, 4);
  const uint64_t dataBlock = dataTable + tableBytes;
  end = dataBlock + header.dataBlockSize;
  if (!bytes.Holds(keyTable, tableBytes) || !bytes.Holds(keyBlock, header.keyBlockSize) ||
      !bytes.Holds(dataTable, tableBytes) || !bytes.Holds(dataBlock, header.dataBlockSize))
    return kCorrupt;
  // Sizes agree with what the section holds; every key has at least one item, and every item
  // after a key's first takes at least its 2-byte length.
  if (end - at != header.sectionSize || header.dataBlockSize < 1 ||
      header.entryCount < header.keyCount ||
      header.entryCount - header.keyCount > header.dataBlockSize / 2)
    return kCorrupt;
  const bool wide = header.keyEncoding != image::kKeysUtf8;
  if (!KeyOffsetsHold(bytes, keyTable, header.keyCount, header.keyBlockSize, wide) ||
      !DataOffsetsHold(bytes, dataTable, header.keyCount, header.dataBlockSize))
    return kCorrupt;
  return 0;
}

VQRESULT CheckImage(const Bytes &given) {
  if (!given.Holds(0, sizeof(image::Header))) return kCorrupt;
  const auto header = given.RecordAt<image::Header>(0);
  if (header.format != image::kFormat || header.reserved != 0 || header.imageSize > given.size())
    return kCorrupt;
  // From here on only the recorded image counts.
  const Bytes image = given.Prefix(header.imageSize);
  const uint64_t size = image.size();
  const uint64_t nameEnd = image.WideEnd(sizeof header, size);
  const uint64_t descriptionEnd = nameEnd ? image.WideEnd(nameEnd, size) : 0;
  if (!descriptionEnd) return kCorrupt;
  const uint64_t table = PadTo(descriptionEnd, 4);
  const uint64_t count = header.sectionCount;
  if (table > size || count > (size - table) / 4) return kCorrupt;
  // Sections follow one another in table order, each 4-aligned: the loader reads them so, and
  // the view finds them through the table, so both must tell the same story. A table entry
  // pointing anywhere else (back at a section already seen, into one, past the end) is
  // refused at once.
  const uint64_t base = table + count * 4;
  uint64_t end = base;
  for (uint64_t i = 0; i < count; ++i) {
    const uint64_t at = PadTo(end, 4);
    if (image.At<uint32_t>(table + i * 4) != at - base) return kCorrupt;
    const VQRESULT section = CheckSection(image, at, end);
    if (section) return section;
  }
  return end == size ? 0 : kCorrupt;
}

}  // namespace
}  // namespace sc::edct

extern "C" {

SC_API VQRESULT edct_DctCheckImage(const void *image, size_t size) {
  if (!image) return EDCT_E_NULL_POINTER;
  return sc::edct::CheckImage(
      sc::edct::Bytes(static_cast<const unsigned char *>(image), static_cast<uint64_t>(size)));
}

}  // extern "C"
