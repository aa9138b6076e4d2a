#include "dictionary/chunk_array.h"

#include <cstring>

#include "sc_heap.h"

namespace sc::edct {

void ChunkArrayInit(ChunkArray *array, Resource *resource, uint32_t elementSize, uint32_t growth) {
  *array = ChunkArray{0, nullptr, growth, 0, elementSize, resource};
}

bool ChunkArrayReserve(ChunkArray *array, uint64_t end) {
  if (end <= array->capacity) return true;
  uint64_t capacity = uint64_t{array->capacity} + array->growth;
  if (capacity < end) capacity = end;
  if (capacity > UINT32_MAX) {
    if (end > UINT32_MAX) return false;
    capacity = UINT32_MAX;
  }
  void *grown = heap_Realloc(array->resource->heap, array->data, capacity * array->elementSize);
  if (!grown) return false;
  array->data = static_cast<unsigned char *>(grown);
  array->capacity = static_cast<uint32_t>(capacity);
  return true;
}

bool ChunkArrayPush(ChunkArray *array, const void *element) {
  uint32_t start;
  return ChunkArrayAppend(array, element, 1, 1, &start);
}

bool ChunkArrayAppend(ChunkArray *array, const void *source, uint32_t n, uint32_t alignment,
                      uint32_t *start) {
  const uint64_t first = (uint64_t{array->count} + alignment - 1) / alignment * alignment;
  if (!ChunkArrayReserve(array, first + n)) return false;
  if (n)
    std::memcpy(array->data + first * array->elementSize, source, size_t{n} * array->elementSize);
  array->count = static_cast<uint32_t>(first + n);
  *start = static_cast<uint32_t>(first);
  return true;
}

void ChunkArrayFree(ChunkArray *array) {
  if (array->data) heap_Free(array->resource->heap, array->data);
  array->data = nullptr;
  array->count = 0;
}

}  // namespace sc::edct
