// A hash index over the keys of one image section, beside the sorted key table: a lookup
// probes it instead of bisecting the section. It is built on a read-only dictionary's first
// lookup, never at open, so opening stays independent of the image's size. A section whose
// keys are not in strictly ascending order gets no index and is bisected as before, so an
// indexed lookup answers exactly what the bisection would.
#pragma once

#include <cstdint>

#include "sc_rsrc.h"

namespace sc::edct {

struct ImageSubDictionary;

// An open-addressing table with linear probes whose slots are packed bit fields, so that it
// fits a budget of a few bytes per key: the low bits of a slot hold key index + 1 (0 for an
// empty slot), the bits above a tag from the key's hash that spares most key comparisons.
struct ImageKeyIndex {
  unsigned char *slots;  // null when the section has no index
  uint32_t slotCount;
  uint32_t indexBits;
  uint32_t tagBits;
  uint64_t bytes;
};

// Builds the index of the section within `budget` bytes; false, with no index, when it does
// not fit, memory runs out or the keys are not strictly ascending.
bool BuildImageIndex(Resource *resource, const ImageSubDictionary &section, uint64_t budget,
                     ImageKeyIndex *index);
void FreeImageIndex(Resource *resource, ImageKeyIndex *index);
// The position of `key` in the indexed section, or -1.
int64_t FindIndexedKey(const ImageSubDictionary &section, const ImageKeyIndex &index,
                       const char16_t *key);

}  // namespace sc::edct
