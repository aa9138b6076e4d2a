#include "dictionary/image_view.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "platform/text.h"
#include "sc_edct.h"
#include "sc_heap.h"

namespace sc::edct {
namespace {

using image::Load;
using image::PadTo;

// Reads the image only where its header says it extends.
struct Bounds {
  const unsigned char *image;
  uint64_t size;

  bool Holds(uint64_t offset, uint64_t length) const {
    return offset <= size && length <= size - offset;
  }
  // The offset after the NUL of an 8-bit string at `offset`, or 0 when none lies in the image.
  uint64_t StringEnd(uint64_t offset) const {
    if (offset >= size) return 0;
    const void *nul = std::memchr(image + offset, 0, size - offset);
    return nul ? static_cast<const unsigned char *>(nul) - image + 1 : 0;
  }
  // The same for a 16-bit string.
  uint64_t WideEnd(uint64_t offset) const {
    for (; offset + 2 <= size; offset += 2)
      if (Load<uint16_t>(image + offset) == 0) return offset + 2;
    return 0;
  }
};

// A Name or Description: null when empty.
const char16_t *WideAt(const Bounds &bounds, uint64_t offset) {
  return Load<uint16_t>(bounds.image + offset) == 0
             ? nullptr
             : reinterpret_cast<const char16_t *>(bounds.image + offset);
}

VQRESULT LocateSection(const Bounds &bounds, uint64_t at, ImageSubDictionary *section) {
  if (at % 4 || !bounds.Holds(at, sizeof(image::SectionHeader))) return EDCT_E_CORRUPT;
  image::SectionHeader &header = section->header;
  std::memcpy(&header, bounds.image + at, sizeof header);
  if (header.keyEncoding != image::kKeysUtf8 && header.keyEncoding != image::kKeysUtf16Host)
    return EDCT_E_CORRUPT;
  uint64_t cursor = at + sizeof header;
  const auto text = [&](const char **out) {
    const uint64_t end = bounds.StringEnd(cursor);
    if (!end) return false;
    *out = reinterpret_cast<const char *>(bounds.image + cursor);
    cursor = end;
    return true;
  };
  if (header.languagePresent && !text(&section->language)) return EDCT_E_CORRUPT;
  if (header.modelPresent) {
    if (!bounds.Holds(cursor, image::kModelSize)) return EDCT_E_CORRUPT;
    section->model = reinterpret_cast<const char *>(bounds.image + cursor);
    cursor += image::kModelSize;
  }
  if (header.enginePresent && !text(&section->engine)) return EDCT_E_CORRUPT;
  const uint64_t tableBytes = (uint64_t{header.keyCount} + 1) * 4;
  const uint64_t keyTable = PadTo(cursor, 4);
  const uint64_t keyBlock = keyTable + tableBytes;
  const uint64_t dataTable = PadTo(keyBlock + header.keyBlockSize, 4);
  const uint64_t dataBlock = dataTable + tableBytes;
  if (!bounds.Holds(keyTable, tableBytes) || !bounds.Holds(keyBlock, header.keyBlockSize) ||
      !bounds.Holds(dataTable, tableBytes) || !bounds.Holds(dataBlock, header.dataBlockSize))
    return EDCT_E_CORRUPT;
  section->keyOffsets = bounds.image + keyTable;
  section->keyBlock = bounds.image + keyBlock;
  section->dataOffsets = bounds.image + dataTable;
  section->dataBlock = bounds.image + dataBlock;
  return 0;
}

// The sign of comparing a search key with key i, as ordinal comparison of 16-bit units.
// UTF-8 keys are decoded unit by unit during the comparison, which gives exactly the results
// of decoding them into a buffer first, without allocating.
int CompareKey(const ImageSubDictionary &section, uint32_t index, const char16_t *key) {
  const ImageKey stored = ImageKeyAt(section, index);
  if (section.header.keyEncoding == image::kKeysUtf8)
    return plat::CompareWcsUTF8(key, stored.begin, stored.end);
  for (const unsigned char *at = stored.begin;; at += 2, ++key) {
    const char16_t unit = at + 2 <= stored.end ? Load<char16_t>(at) : 0;
    if (*key != unit) return *key < unit ? -1 : 1;
    if (unit == 0) return 0;
  }
}

// The index of `key` in the section, or -1.
int64_t FindKey(const ImageSubDictionary &section, const char16_t *key) {
  const uint32_t count = section.header.keyCount;
  if (count == 0) return -1;
  // Keys outside the section's range are turned away before the bisection.
  if (CompareKey(section, 0, key) < 0 || CompareKey(section, count - 1, key) > 0) return -1;
  int64_t low = 0, high = int64_t{count} - 1;
  while (low <= high) {
    const int64_t middle = (low + high) / 2;
    const int c = CompareKey(section, static_cast<uint32_t>(middle), key);
    if (c == 0) return middle;
    if (c < 0)
      high = middle - 1;
    else
      low = middle + 1;
  }
  return -1;
}

bool PassesReadOnly(const EDCT_FILTER *filter, const ImageSubDictionary &section) {
  if (!filter) return true;
  const image::SectionHeader &header = section.header;
  if (filter->Content != kAny && filter->Content != header.content) return false;
  if (filter->POS != kAny && filter->POS != header.pos) return false;
  // Here a filter's attribute needs the same attribute in the section.
  if (filter->Language && (!section.language || std::strcmp(filter->Language, section.language)))
    return false;
  if (filter->Engine && (!section.engine || std::strcmp(filter->Engine, section.engine)))
    return false;
  if (filter->Model &&
      (!section.model || std::memcmp(filter->Model, section.model, image::kModelSize)))
    return false;
  return true;
}

// Indexes the sections in order while their tables stay under an eighth of the image; the
// dictionary's lock is held, so concurrent first lookups build them once.
void BuildIndexes(Dictionary *dictionary) {
  dictionary->indexesBuilt = true;
  const uint64_t budget = dictionary->imageSize / 8;
  uint64_t keys = 0, used = 0;
  for (const ImageSubDictionary *section = dictionary->firstImage; section; section = section->next)
    keys += section->header.keyCount;
  for (ImageSubDictionary *section = dictionary->firstImage; section; section = section->next) {
    // Each section gets a share of the budget in proportion to its keys.
    const uint64_t share = keys ? budget * section->header.keyCount / keys : 0;
    if (BuildImageIndex(dictionary->resource, *section, std::min(share, budget - used),
                        &section->keyIndex))
      used += section->keyIndex.bytes;
  }
}

}  // namespace

VQRESULT OpenImageView(Dictionary *dictionary, const unsigned char *start) {
  image::Header header;
  std::memcpy(&header, start, sizeof header);
  if (header.format != image::kFormat || header.reserved != 0) return EDCT_E_CORRUPT;
  const Bounds bounds{start, header.imageSize};
  const uint64_t nameEnd = bounds.WideEnd(sizeof header);
  const uint64_t descriptionEnd = nameEnd ? bounds.WideEnd(nameEnd) : 0;
  if (!descriptionEnd) return EDCT_E_CORRUPT;
  dictionary->kind = kReadOnly;
  dictionary->imageSize = header.imageSize;
  dictionary->nbrKeys = header.nbrKeys;
  dictionary->nbrEntries = header.nbrEntries;
  dictionary->name = WideAt(bounds, sizeof header);
  dictionary->description = WideAt(bounds, nameEnd);
  const uint32_t count = header.sectionCount;
  const uint64_t table = PadTo(descriptionEnd, 4);
  if (count == 0 || !bounds.Holds(table, uint64_t{count} * 4)) return EDCT_E_CORRUPT;
  const uint64_t base = table + uint64_t{count} * 4;
  auto *sections = static_cast<ImageSubDictionary *>(
      heap_Calloc(dictionary->resource->heap, count, sizeof(ImageSubDictionary)));
  if (!sections) return EDCT_E_OUT_OF_MEMORY;
  dictionary->firstImage = sections;
  for (uint32_t i = 0; i < count; ++i) {
    const uint64_t at = base + Load<uint32_t>(start + table + uint64_t{i} * 4);
    const VQRESULT located = LocateSection(bounds, at, &sections[i]);
    if (located) return located;
    sections[i].next = i + 1 < count ? &sections[i + 1] : nullptr;
  }
  return 0;
}

void CloseImageView(Dictionary *dictionary) {
  for (ImageSubDictionary *section = dictionary->firstImage; section; section = section->next)
    FreeImageIndex(dictionary->resource, &section->keyIndex);
  heap_Free(dictionary->resource->heap, dictionary->firstImage);
  dictionary->firstImage = nullptr;
}

ImageKey ImageKeyAt(const ImageSubDictionary &section, uint32_t index) {
  const uint32_t size = section.header.keyBlockSize;
  uint32_t begin = Load<uint32_t>(section.keyOffsets + uint64_t{index} * 4);
  uint32_t end = Load<uint32_t>(section.keyOffsets + uint64_t{index} * 4 + 4);
  // Offsets beyond the key block are cut back to it, so a corrupt table reads nothing outside.
  if (end > size) end = size;
  if (begin > end) begin = end;
  return ImageKey{section.keyBlock + begin, section.keyBlock + end};
}

bool AddImageEntries(const ImageSubDictionary &section, uint32_t index, EntryBlock *block) {
  const int64_t first = Load<int32_t>(section.dataOffsets + uint64_t{index} * 4);
  const int64_t last = std::llabs(Load<int32_t>(section.dataOffsets + uint64_t{index} * 4 + 4));
  const int64_t size = section.header.dataBlockSize;
  const int64_t begin = std::llabs(first);
  if (begin > last || last > size) return false;
  const unsigned char *data = section.dataBlock;
  if (first >= 0) {
    block->AddView(section, data + begin, static_cast<uint32_t>(last - begin));
    return true;
  }
  for (int64_t at = PadTo(begin, 2); at < last; at = PadTo(at, 2)) {
    if (at + 2 > last) return false;
    const uint16_t length = Load<uint16_t>(data + at);
    at += 2;
    if (at + length > last) return false;
    block->AddView(section, data + at, length);
    at += length;
  }
  return true;
}

VQRESULT CollectImageEntries(Dictionary *dictionary, const char16_t *key, const EDCT_FILTER *filter,
                             EntryBlock *block) {
  if (!dictionary->indexesBuilt) BuildIndexes(dictionary);
  for (const ImageSubDictionary *section = dictionary->firstImage; section;
       section = section->next) {
    if (!PassesReadOnly(filter, *section)) continue;
    // A hash index, where the section has one, finds what the bisection would find.
    const int64_t index = section->keyIndex.slots ? FindIndexedKey(*section, section->keyIndex, key)
                                                  : FindKey(*section, key);
    if (index < 0) continue;
    if (!AddImageEntries(*section, static_cast<uint32_t>(index), block)) return EDCT_E_CORRUPT;
  }
  return 0;
}

}  // namespace sc::edct
