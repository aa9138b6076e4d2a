// The archive writer (one routine for the measuring and the filling pass over a memory
// block) and the loader that copies an image into a writable dictionary.
#include "dictionary/archive.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "dictionary/store_cursor.h"
#include "foundation/result.h"
#include "platform/text.h"
#include "sc_edct.h"
#include "sc_heap.h"
#include "sc_srvspi.h"

namespace sc::edct {
namespace {

using image::Reversed;

// Reserves pieces of the image in order; while measuring nothing is stored and the pieces
// handed out are null.
class Writer {
 public:
  Writer(void *buffer, uint32_t size, bool swap) : swap_(swap) {
    srvspi_MemblockInit(&block_, buffer ? size : 0, buffer);
  }
  bool filling() const { return block_.base != nullptr; }
  uint32_t used() const { return block_.used; }
  VQRESULT Align(uint32_t alignment) { return srvspi_MemblockAlign(&block_, alignment); }
  VQRESULT Reserve(uint32_t bytes, unsigned char **at) {
    void *piece = nullptr;
    SC_TRY(srvspi_MemblockAlloc(&block_, bytes, &piece));
    *at = static_cast<unsigned char *>(piece);
    return 0;
  }
  // Stores a value at an offset into a reserved piece, in the image's byte order.
  template <class T>
  void Put(unsigned char *piece, size_t offset, T value) const {
    if (piece) image::Store(piece + offset, swap_ ? Reversed(value) : value);
  }
  VQRESULT Append32(uint32_t value) {
    unsigned char *at;
    SC_TRY(Reserve(4, &at));
    Put(at, 0, value);
    return 0;
  }
  VQRESULT AppendBytes(const void *bytes, uint32_t size, bool units = false) {
    unsigned char *at;
    SC_TRY(Reserve(size, &at));
    if (!at || !size) return 0;
    std::memcpy(at, bytes, size);
    if (units && swap_) image::ReverseUnits(at, size);
    return 0;
  }
  // A Name or Description with its terminator; one zero unit when there is none.
  VQRESULT AppendWide(const char16_t *text) {
    static constexpr char16_t kEmpty[1] = {0};
    if (!text) text = kEmpty;
    const auto units = std::char_traits<char16_t>::length(text) + 1;
    return AppendBytes(text, static_cast<uint32_t>(units * 2), true);
  }
  bool swap() const { return swap_; }

 private:
  SrvMemblock block_;
  bool swap_;
};

struct KeySizes {
  uint32_t keys = 0;
  uint32_t entries = 0;
  uint64_t utf16 = 0;
  uint64_t utf8 = 0;
  uint64_t dataBlock = 1;  // the marker, then the data as the filling pass lays them out
  bool itemTooLong = false;
};

KeySizes MeasureKeys(const EntryStore &store) {
  KeySizes sizes;
  StoreCursor cursor;
  for (StoreCursorOpen(&cursor, &store); !StoreCursorEnded(&cursor); StoreCursorAdvance(&cursor)) {
    EntryRecord record;
    StoreCursorCurrent(&cursor, &record);
    ++sizes.keys;
    sizes.utf16 += (std::char_traits<char16_t>::length(record.key) + 1) * 2;
    sizes.utf8 += plat::WcsUTF8Size(record.key);
    const bool list = record.more;
    for (;;) {
      ++sizes.entries;
      // An item of a list carries a 16-bit length after a pad to 2; the data block starts
      // 4-aligned, so its offsets pad as the image's do.
      if (list) {
        if (record.size > 0xFFFF) sizes.itemTooLong = true;
        sizes.dataBlock = image::PadTo(sizes.dataBlock, 2) + 2;
      }
      sizes.dataBlock += record.size;
      if (!record.more) break;
      StoreCursorCurrent(&cursor, &record);
    }
    if (list) sizes.dataBlock = image::PadTo(sizes.dataBlock, 2);
  }
  return sizes;
}

// Where the pieces of a section's key and data parts were reserved.
struct SectionPieces {
  bool utf8;
  unsigned char *keyTable;
  unsigned char *keyBlock;
  unsigned char *dataTable;
  uint32_t dataStart;
};

// The filling pass's walk: each key into the key block and its offset into the table, each
// record's data into the data block. Returns through *keyEnd where the keys end.
VQRESULT WriteKeysAndData(Writer &out, const SubDictionary &sub, const SectionPieces &pieces,
                          uint32_t *keyEnd) {
  const bool unitData = image::DataAreUnits(sub.content, sub.representation);
  uint32_t key = 0, keyAt = 0;
  StoreCursor cursor;
  for (StoreCursorOpen(&cursor, &sub.store); !StoreCursorEnded(&cursor);
       StoreCursorAdvance(&cursor), ++key) {
    EntryRecord record;
    StoreCursorCurrent(&cursor, &record);
    // The key goes straight into its place in the key block.
    out.Put(pieces.keyTable, key * 4, keyAt);
    unsigned char *keyOut = pieces.keyBlock + keyAt;
    if (pieces.utf8) {
      keyAt += plat::WcsToUTF8(record.key, reinterpret_cast<char *>(keyOut));
    } else {
      const auto bytes =
          static_cast<uint32_t>((std::char_traits<char16_t>::length(record.key) + 1) * 2);
      std::memcpy(keyOut, record.key, bytes);
      if (out.swap()) image::ReverseUnits(keyOut, bytes);
      keyAt += bytes;
    }
    const bool list = record.more;
    const int32_t at = static_cast<int32_t>(out.used() - pieces.dataStart);
    out.Put(pieces.dataTable, key * 4, list ? -at : at);
    for (;;) {
      if (list) {
        unsigned char *length;
        SC_TRY(out.Align(2));
        SC_TRY(out.Reserve(2, &length));
        out.Put(length, 0, static_cast<uint16_t>(record.size));
      }
      SC_TRY(out.AppendBytes(record.data, record.size, unitData));
      if (list) SC_TRY(out.Align(2));
      if (!record.more) break;
      StoreCursorCurrent(&cursor, &record);
    }
  }
  *keyEnd = keyAt;
  return 0;
}

VQRESULT ArchiveSubDictionary(Writer &out, const SubDictionary &sub) {
  const uint32_t start = out.used();
  unsigned char *header;
  SC_TRY(out.Align(4));
  SC_TRY(out.Reserve(sizeof(image::SectionHeader), &header));
  if (sub.language) SC_TRY(out.AppendBytes(sub.language, uint32_t(std::strlen(sub.language) + 1)));
  if (sub.model) SC_TRY(out.AppendBytes(sub.model, image::kModelSize));
  if (sub.engine) SC_TRY(out.AppendBytes(sub.engine, uint32_t(std::strlen(sub.engine) + 1)));

  const KeySizes sizes = MeasureKeys(sub.store);
  if (sizes.itemTooLong) return EDCT_E_OUT_OF_RANGE;
  SectionPieces pieces;
  pieces.utf8 = image::KeysAsUtf8(sizes.utf8, sizes.utf16);
  const uint64_t keyBytes = pieces.utf8 ? sizes.utf8 : sizes.utf16;
  if (keyBytes > UINT32_MAX || sizes.dataBlock > UINT32_MAX) return SRVSPI_E_ARRAY_BUFFER_TOO_SMALL;
  unsigned char *marker;
  SC_TRY(out.Align(4));
  SC_TRY(out.Reserve((sizes.keys + 1) * 4, &pieces.keyTable));
  const uint32_t keysStart = out.used();
  SC_TRY(out.Align(pieces.utf8 ? 1 : 2));
  SC_TRY(out.Reserve(static_cast<uint32_t>(keyBytes), &pieces.keyBlock));
  const uint32_t keyBlockSize = out.used() - keysStart;
  SC_TRY(out.Align(4));
  SC_TRY(out.Reserve((sizes.keys + 1) * 4, &pieces.dataTable));
  pieces.dataStart = out.used();
  SC_TRY(out.Reserve(1, &marker));
  if (marker) *marker = image::kMarker;
  uint32_t keyEnd = 0;
  if (out.filling()) {
    SC_TRY(WriteKeysAndData(out, sub, pieces, &keyEnd));
  } else {
    // Measuring: the first walk has sized the data block already.
    unsigned char *skipped;
    SC_TRY(out.Reserve(static_cast<uint32_t>(sizes.dataBlock - 1), &skipped));
  }
  out.Put(pieces.dataTable, sizes.keys * 4, out.used() - pieces.dataStart);
  out.Put(pieces.keyTable, sizes.keys * 4, keyEnd);

  uint32_t encoding = pieces.utf8 ? image::kKeysUtf8 : image::kKeysUtf16Host;
  if (!pieces.utf8 && out.swap()) encoding = image::kKeysUtf16Foreign;
  const uint32_t fields[12] = {out.used() - start,
                               encoding,
                               sub.content,
                               sub.representation,
                               sub.pos,
                               sub.language != nullptr,
                               sub.model != nullptr,
                               sub.engine != nullptr,
                               sizes.keys,
                               sizes.entries,
                               keyBlockSize,
                               out.used() - pieces.dataStart};
  for (int i = 0; i < 12; ++i)
    out.Put(header, i * 4, fields[i]);
  return 0;
}

VQRESULT ArchiveDictionary(const Dictionary &dictionary, Writer &out) {
  unsigned char *header, *table;
  SC_TRY(out.Align(4));
  SC_TRY(out.Reserve(sizeof(image::Header), &header));
  SC_TRY(out.Align(2));
  SC_TRY(out.AppendWide(dictionary.name));
  SC_TRY(out.Align(2));
  SC_TRY(out.AppendWide(dictionary.description));
  const uint32_t count = CountSubDictionaries(&dictionary);
  SC_TRY(out.Align(4));
  SC_TRY(out.Reserve(count * 4, &table));
  const uint32_t base = out.used();
  uint32_t index = 0;
  for (const SubDictionary *sub = dictionary.first; sub; sub = sub->next, ++index) {
    SC_TRY(out.Align(4));
    out.Put(table, index * 4, out.used() - base);
    SC_TRY(ArchiveSubDictionary(out, *sub));
  }
  const uint32_t fields[6] = {image::kFormat,        out.used(), 0, dictionary.nbrKeys,
                              dictionary.nbrEntries, count};
  for (int i = 0; i < 6; ++i)
    out.Put(header, i * 4, fields[i]);
  return 0;
}

// Reads an image front to back; a read past the size its header records fails.
class Reader {
 public:
  explicit Reader(const unsigned char *start) : start_(start) {
    srvspi_MemblockInit(&block_, image::Load<uint32_t>(start + 4),
                        const_cast<unsigned char *>(start));
  }
  uint32_t used() const { return block_.used; }
  VQRESULT Align(uint32_t alignment) { return srvspi_MemblockAlign(&block_, alignment); }
  VQRESULT Read(uint32_t bytes, const unsigned char **at) {
    void *piece = nullptr;
    SC_TRY(srvspi_MemblockRead(&block_, bytes, &piece));
    *at = static_cast<const unsigned char *>(piece);
    return 0;
  }
  template <class T>
  VQRESULT Value(T *value) {
    const unsigned char *at;
    SC_TRY(Read(sizeof(T), &at));
    *value = image::Load<T>(at);
    return 0;
  }
  // A NUL-terminated string of `unit`-byte units: where it starts and its length in bytes
  // with the terminator.
  VQRESULT String(uint32_t unit, const unsigned char **text, uint32_t *bytes) {
    const uint32_t begin = block_.used;
    for (;;) {
      const unsigned char *at;
      SC_TRY(Read(unit, &at));
      if (at[0] == 0 && (unit == 1 || at[1] == 0)) break;
    }
    *text = start_ + begin;
    *bytes = block_.used - begin;
    return 0;
  }

 private:
  SrvMemblock block_;
  const unsigned char *start_;
};

template <class T>
T *CopyBytes(Resource *resource, const unsigned char *bytes, size_t size, size_t room) {
  auto *copy = static_cast<unsigned char *>(heap_Alloc(resource->heap, room));
  if (copy) std::memcpy(copy, bytes, size);
  return reinterpret_cast<T *>(copy);
}

// A Name or Description: none when empty, else a heap copy.
VQRESULT LoadWide(Reader &in, Resource *resource, const char16_t **out) {
  const unsigned char *text;
  uint32_t bytes;
  SC_TRY(in.Align(2));
  SC_TRY(in.String(2, &text, &bytes));
  if (bytes == 2) return 0;
  *out = CopyBytes<char16_t>(resource, text, bytes, bytes);
  return *out ? 0 : EDCT_E_OUT_OF_MEMORY;
}

VQRESULT LoadAttribute(Reader &in, Resource *resource, uint32_t present, char **out) {
  if (!present) return 0;
  const unsigned char *text;
  uint32_t bytes;
  SC_TRY(in.String(1, &text, &bytes));
  *out = CopyBytes<char>(resource, text, bytes, bytes);
  return *out ? 0 : EDCT_E_OUT_OF_MEMORY;
}

// Decodes key i into `buffer`, growing it; the key's bytes are cut to the key block.
VQRESULT LoadKey(Resource *resource, const image::SectionHeader &header,
                 const unsigned char *offsets, const unsigned char *block, uint32_t index,
                 char16_t **buffer, size_t *capacity) {
  const uint32_t size = header.keyBlockSize;
  const uint32_t end = std::min(image::Load<uint32_t>(offsets + (index + 1) * 4), size);
  const uint32_t begin = std::min(image::Load<uint32_t>(offsets + index * 4), end);
  const uint32_t bytes = end - begin;
  // At most one unit per byte, and the terminator.
  const size_t needed = (size_t{bytes} + 1) * 2;
  if (needed > *capacity) {
    void *grown = heap_Realloc(resource->heap, *buffer, needed * 2);
    if (!grown) return EDCT_E_OUT_OF_MEMORY;
    *buffer = static_cast<char16_t *>(grown);
    *capacity = needed * 2;
  }
  char16_t *out = *buffer;
  const unsigned char *at = block + begin, *stop = block + end;
  if (header.keyEncoding == image::kKeysUtf8) {
    while (plat::DecodeUTF8Unit(at, stop, out))
      ++out;
  } else {
    for (; at + 2 <= stop && image::Load<char16_t>(at); at += 2)
      *out++ = image::Load<char16_t>(at);
  }
  *out = 0;
  return 0;
}

VQRESULT LoadSubDictionary(Reader &in, Resource *resource, SubDictionary *sub) {
  image::SectionHeader header;
  const unsigned char *at;
  SC_TRY(in.Align(4));
  SC_TRY(in.Read(sizeof header, &at));
  std::memcpy(&header, at, sizeof header);
  // Only this host's UTF-16 byte order is read.
  if (header.keyEncoding != image::kKeysUtf8 && header.keyEncoding != image::kKeysUtf16Host)
    return EDCT_E_CORRUPT;
  sub->content = header.content;
  sub->representation = header.representation;
  sub->pos = header.pos;
  sub->nbrKeys = header.keyCount;
  sub->nbrEntries = header.entryCount;
  SC_TRY(LoadAttribute(in, resource, header.languagePresent, &sub->language));
  if (header.modelPresent) {
    SC_TRY(in.Read(image::kModelSize, &at));
    sub->model = CopyBytes<unsigned char>(resource, at, image::kModelSize, image::kModelSize + 1);
    if (!sub->model) return EDCT_E_OUT_OF_MEMORY;
    sub->model[image::kModelSize] = 0;
  }
  SC_TRY(LoadAttribute(in, resource, header.enginePresent, &sub->engine));
  SC_TRY(EntryStoreInit(&sub->store, resource, kTreeGrowth, kArenaGrowth));

  const uint64_t tableBytes = (uint64_t{header.keyCount} + 1) * 4;
  if (tableBytes > UINT32_MAX) return SRVSPI_E_ARRAY_BUFFER_TOO_SMALL;
  const unsigned char *keyTable, *keyBlock, *dataTable, *marker;
  SC_TRY(in.Align(4));
  SC_TRY(in.Read(static_cast<uint32_t>(tableBytes), &keyTable));
  SC_TRY(in.Align(header.keyEncoding == image::kKeysUtf8 ? 1 : 2));
  SC_TRY(in.Read(header.keyBlockSize, &keyBlock));
  SC_TRY(in.Align(4));
  SC_TRY(in.Read(static_cast<uint32_t>(tableBytes), &dataTable));
  const uint32_t dataStart = in.used();
  SC_TRY(in.Read(1, &marker));

  char16_t *key = nullptr;
  size_t capacity = 0;
  VQRESULT result = 0;
  for (uint32_t i = 0; i < header.keyCount && !result; ++i) {
    result = LoadKey(resource, header, keyTable, keyBlock, i, &key, &capacity);
    if (result) break;
    const int32_t first = image::Load<int32_t>(dataTable + i * 4);
    const int64_t end = std::abs(int64_t{image::Load<int32_t>(dataTable + (i + 1) * 4)});
    const auto add = [&](uint32_t size) {
      const unsigned char *data;
      const VQRESULT read = in.Read(size, &data);
      if (read) return read;
      const uint32_t added = EntryStoreAdd(&sub->store, key, data, size);
      return added == kStoreNewKey || added == kStoreChained ? 0 : added;
    };
    if (first >= 0) {
      result = add(static_cast<uint32_t>(end - first));
      continue;
    }
    // An item list: each add goes in front, so the key's entries come out reversed.
    result = in.Align(2);
    while (!result && int64_t{in.used()} - dataStart < end) {
      uint16_t length;
      result = in.Value(&length);
      if (!result) result = add(length);
      if (!result) result = in.Align(2);
    }
  }
  heap_Free(resource->heap, key);
  return result;
}

}  // namespace

VQRESULT LoadArchive(Dictionary *dictionary, const unsigned char *start) {
  Resource *resource = dictionary->resource;
  Reader in(start);
  const unsigned char *at;
  SC_TRY(in.Align(4));
  SC_TRY(in.Read(sizeof(image::Header), &at));
  image::Header header;
  std::memcpy(&header, at, sizeof header);
  if (header.format != image::kFormat || header.reserved != 0) return EDCT_E_CORRUPT;
  dictionary->nbrKeys = header.nbrKeys;
  dictionary->nbrEntries = header.nbrEntries;
  SC_TRY(LoadWide(in, resource, &dictionary->name));
  SC_TRY(LoadWide(in, resource, &dictionary->description));
  SC_TRY(in.Align(4));
  const uint64_t tableBytes = uint64_t{header.sectionCount} * 4;
  if (tableBytes > UINT32_MAX) return SRVSPI_E_ARRAY_BUFFER_TOO_SMALL;
  SC_TRY(in.Read(static_cast<uint32_t>(tableBytes), &at));
  SC_TRY(in.Align(4));
  // The sections follow one another; the offset table is not needed to find them.
  for (uint32_t i = 0; i < header.sectionCount; ++i) {
    SubDictionary *sub = AppendSubDictionary(dictionary);
    if (!sub) return EDCT_E_OUT_OF_MEMORY;
    SC_TRY(LoadSubDictionary(in, resource, sub));
  }
  return 0;
}

namespace {

// Measures the image (no buffer) or writes it into the buffer of *size bytes.
VQRESULT Archive(const Dictionary &dictionary, void *buffer, uint32_t *size, bool swap) {
  if (buffer) std::memset(buffer, image::kMarker, *size);
  Writer out(buffer, *size, swap);
  SC_TRY(ArchiveDictionary(dictionary, out));
  *size = out.used();
  return 0;
}

}  // namespace
}  // namespace sc::edct

using namespace sc::edct;

extern "C" {

SC_API VQRESULT edct_DctArchive(SafeHandle handle, void *buffer, uint32_t *size, uint32_t swap) {
  Locked<Dictionary> dictionary(handle, EDCT_DCT_TAG);
  if (!dictionary) return dictionary.result();
  SC_TRY(CheckOut(size));
  if (dictionary->kind == kReadOnly) return EDCT_E_READ_ONLY;
  if (buffer && *size) SC_TRY(osspi_IsGoodWritePtr(buffer, *size));
  return Archive(*dictionary, buffer, size, swap != 0);
}

}  // extern "C"
