// A growable array that grows by a fixed number of elements: the byte arena of an entry store
// and the stacks of its walks.
#pragma once

#include <cstdint>

#include "sc_rsrc.h"

namespace sc::edct {

struct ChunkArray {
  uint32_t count;
  unsigned char *data;  // null while nothing was ever added
  uint32_t growth;
  uint32_t capacity;
  uint32_t elementSize;
  Resource *resource;
};

void ChunkArrayInit(ChunkArray *array, Resource *resource, uint32_t elementSize, uint32_t growth);
// Makes room for `end` elements, growing to capacity + growth or to `end` if that is more.
// False, with the array as it was, when memory runs out or `end` does not fit 32 bits.
bool ChunkArrayReserve(ChunkArray *array, uint64_t end);
bool ChunkArrayPush(ChunkArray *array, const void *element);
// Copies n elements to the first multiple of `alignment` at or after count, and writes that
// index to *start. Pad elements are skipped, not written.
bool ChunkArrayAppend(ChunkArray *array, const void *source, uint32_t n, uint32_t alignment,
                      uint32_t *start);
// Frees the block; the array must be initialised again before further use.
void ChunkArrayFree(ChunkArray *array);

}  // namespace sc::edct
