#include "dictionary/image_index.h"

#include <bit>

#include "dictionary/dictionary.h"
#include "dictionary/image_view.h"
#include "platform/text.h"
#include "sc_heap.h"

namespace sc::edct {
namespace {

// The 16-bit units of a stored key, decoded one at a time; 0 once the key has ended (a
// decoded 0 unit ends it too, as it ends a comparison).
class StoredUnits {
 public:
  StoredUnits(const ImageSubDictionary &section, uint32_t index)
      : utf8_(section.header.keyEncoding == image::kKeysUtf8) {
    const ImageKey key = ImageKeyAt(section, index);
    at_ = key.begin;
    end_ = key.end;
  }
  char16_t Next() {
    char16_t unit = 0;
    if (utf8_) {
      if (!plat::DecodeUTF8Unit(at_, end_, &unit)) unit = 0;
    } else if (at_ + 2 <= end_) {
      unit = image::Load<char16_t>(at_);
      at_ += 2;
    }
    return unit;
  }

 private:
  const unsigned char *at_;
  const unsigned char *end_;
  bool utf8_;
};

// FNV-1a over the units, with a final mix so that both halves of the result are usable.
struct Hash {
  uint64_t value = 0xCBF29CE484222325u;
  void Add(char16_t unit) { value = (value ^ unit) * 0x100000001B3u; }
  uint64_t Done() const { return (value ^ (value >> 29)) * 0xBF58476D1CE4E5B9u; }
};

uint64_t HashKey(const char16_t *key) {
  Hash hash;
  for (; *key; ++key)
    hash.Add(*key);
  return hash.Done();
}

// The sign of comparing stored key a with stored key b.
int CompareStored(const ImageSubDictionary &section, uint32_t a, uint32_t b) {
  StoredUnits left(section, a), right(section, b);
  for (;;) {
    const char16_t x = left.Next(), y = right.Next();
    if (x != y) return x < y ? -1 : 1;
    if (x == 0) return 0;
  }
}

bool SameKey(const ImageSubDictionary &section, uint32_t index, const char16_t *key) {
  StoredUnits stored(section, index);
  for (;; ++key) {
    const char16_t unit = stored.Next();
    if (*key != unit) return false;
    if (unit == 0) return true;
  }
}

// The first slot of a hash: its upper half scaled to the table, without a division.
uint32_t HomeSlot(uint64_t hash, uint32_t slotCount) {
  return static_cast<uint32_t>(((hash >> 32) * slotCount) >> 32);
}

// Slot fields of `width` bits packed back to back; a field is read with one unaligned 64-bit
// load, which the 8 spare bytes at the end of the block keep inside it.
constexpr uint64_t kSpareBytes = 8;

uint64_t SlotAt(const unsigned char *slots, uint32_t width, uint32_t slot) {
  const uint64_t bit = uint64_t{slot} * width;
  return (image::Load<uint64_t>(slots + bit / 8) >> (bit % 8)) & ((uint64_t{1} << width) - 1);
}

void SetSlot(unsigned char *slots, uint32_t width, uint32_t slot, uint64_t value) {
  const uint64_t bit = uint64_t{slot} * width;
  const uint64_t mask = ((uint64_t{1} << width) - 1) << (bit % 8);
  const uint64_t word = image::Load<uint64_t>(slots + bit / 8);
  image::Store<uint64_t>(slots + bit / 8, (word & ~mask) | (value << (bit % 8)));
}

uint64_t TagOf(uint64_t hash, uint32_t tagBits) {
  return hash & ((uint64_t{1} << tagBits) - 1);
}

// Table shapes from roomy to tight: the tag width and the most keys per slot. A tag of t bits
// lets one unequal key in 2^t through to a full comparison.
struct Shape {
  uint32_t tagBits;
  double load;
};
constexpr Shape kShapes[] = {{12, 0.8}, {8, 0.85}, {6, 0.9}, {4, 0.92}};

}  // namespace

bool BuildImageIndex(Resource *resource, const ImageSubDictionary &section, uint64_t budget,
                     ImageKeyIndex *index) {
  *index = ImageKeyIndex{nullptr, 0, 0, 0, 0};
  const uint32_t count = section.header.keyCount;
  if (count == 0 || count == UINT32_MAX) return false;
  const uint32_t indexBits = static_cast<uint32_t>(std::bit_width(count));
  uint32_t slotCount = 0, tagBits = 0;
  uint64_t bytes = 0;
  for (const Shape &shape : kShapes) {
    const uint64_t slots = static_cast<uint64_t>(count / shape.load) + 1;
    const uint64_t need = (slots * (indexBits + shape.tagBits) + 7) / 8 + kSpareBytes;
    if (slots <= UINT32_MAX && need < budget) {
      slotCount = static_cast<uint32_t>(slots);
      tagBits = shape.tagBits;
      bytes = need;
      break;
    }
  }
  if (!bytes) return false;
  // Only keys in strictly ascending order are found by the bisection exactly as by a hash.
  for (uint32_t i = 1; i < count; ++i)
    if (CompareStored(section, i - 1, i) >= 0) return false;
  auto *slots = static_cast<unsigned char *>(heap_Calloc(resource->heap, bytes, 1));
  if (!slots) return false;
  const uint32_t width = indexBits + tagBits;
  const uint64_t indexMask = (uint64_t{1} << indexBits) - 1;
  for (uint32_t i = 0; i < count; ++i) {
    StoredUnits units(section, i);
    Hash hash;
    while (const char16_t unit = units.Next())
      hash.Add(unit);
    const uint64_t value = hash.Done();
    uint32_t slot = HomeSlot(value, slotCount);
    while (SlotAt(slots, width, slot) & indexMask)
      slot = slot + 1 == slotCount ? 0 : slot + 1;
    SetSlot(slots, width, slot, (TagOf(value, tagBits) << indexBits) | (uint64_t{i} + 1));
  }
  *index = ImageKeyIndex{slots, slotCount, indexBits, tagBits, bytes};
  return true;
}

void FreeImageIndex(Resource *resource, ImageKeyIndex *index) {
  if (index->slots) heap_Free(resource->heap, index->slots);
  *index = ImageKeyIndex{nullptr, 0, 0, 0, 0};
}

int64_t FindIndexedKey(const ImageSubDictionary &section, const ImageKeyIndex &index,
                       const char16_t *key) {
  const uint32_t width = index.indexBits + index.tagBits;
  const uint64_t indexMask = (uint64_t{1} << index.indexBits) - 1;
  const uint64_t hash = HashKey(key);
  const uint64_t tag = TagOf(hash, index.tagBits);
  for (uint32_t slot = HomeSlot(hash, index.slotCount);;
       slot = slot + 1 == index.slotCount ? 0 : slot + 1) {
    const uint64_t held = SlotAt(index.slots, width, slot);
    const uint64_t position = held & indexMask;
    if (!position) return -1;
    if ((held >> index.indexBits) != tag) continue;
    // The data offsets of a likely match are fetched while its key is compared.
    __builtin_prefetch(section.dataOffsets + (position - 1) * 4);
    if (SameKey(section, static_cast<uint32_t>(position - 1), key))
      return static_cast<int64_t>(position - 1);
  }
}

}  // namespace sc::edct
