// Growable arrays of fixed-size elements, kept by value in the client's structures.
#include <cstring>

#include "foundation/result.h"
#include "sc_heap.h"
#include "sc_srvspi.h"

namespace {

unsigned char *ElementAt(const SrvArray *array, uint32_t index) {
  return static_cast<unsigned char *>(array->data) + size_t{index} * array->elementSize;
}

// Reallocates the storage to exactly `capacity` elements; the array is unchanged on failure.
VQRESULT Reallocate(SrvArray *array, uint32_t capacity) {
  if (!array->resource) return SRVSPI_E_ARRAY_INVALID_ARGUMENT;
  void *grown =
      heap_Realloc(array->resource->heap, array->data, size_t{capacity} * array->elementSize);
  if (!grown) return SRVSPI_E_ARRAY_OUT_OF_MEMORY;
  array->data = grown;
  array->capacity = capacity;
  return 0;
}

}  // namespace

extern "C" {

SC_API VQRESULT srvspi_ArrayInit(ResourceHandle resourceHandle, uint32_t elementSize,
                                 SrvArray *array) {
  Resource *resource = nullptr;
  const VQRESULT resolved = InitRsrcFunction(resourceHandle, &resource);
  if (resolved) return resolved;
  if (elementSize == 0 || !array) return SRVSPI_E_ARRAY_INVALID_ARGUMENT;
  array->count = 0;
  array->capacity = 0;
  array->elementSize = elementSize;
  array->data = nullptr;
  array->resource = resource;
  return 0;
}

SC_API VQRESULT srvspi_ArrayDeinit(SrvArray *array) {
  if (!array) return SRVSPI_E_ARRAY_INVALID_ARGUMENT;
  array->count = 0;
  array->capacity = 0;
  array->elementSize = 0;
  if (!array->resource) return SRVSPI_E_ARRAY_INVALID_ARGUMENT;
  heap_Free(array->resource->heap, array->data);
  array->data = nullptr;
  return 0;
}

SC_API VQRESULT srvspi_ArrayClear(SrvArray *array) {
  if (!array) return SRVSPI_E_ARRAY_INVALID_ARGUMENT;
  array->count = 0;
  return 0;
}

SC_API VQRESULT srvspi_ArrayCount(const SrvArray *array, uint32_t *count) {
  if (!array || !count) return SRVSPI_E_ARRAY_INVALID_ARGUMENT;
  *count = array->count;
  return 0;
}

SC_API VQRESULT srvspi_ArrayClone(const SrvArray *source, SrvArray *destination) {
  if (!source || !destination) return SRVSPI_E_ARRAY_INVALID_ARGUMENT;
  void *data = nullptr;
  if (source->count) {
    if (!source->resource) return SRVSPI_E_ARRAY_INVALID_ARGUMENT;
    const size_t bytes = size_t{source->count} * source->elementSize;
    data = heap_Alloc(source->resource->heap, bytes);
    if (!data) return SRVSPI_E_ARRAY_OUT_OF_MEMORY;
    std::memcpy(data, source->data, bytes);
  }
  destination->resource = source->resource;
  destination->elementSize = source->elementSize;
  destination->count = source->count;
  destination->capacity = source->count;
  destination->data = data;
  return 0;
}

SC_API VQRESULT srvspi_ArrayResize(SrvArray *array, int32_t capacity) {
  if (!array) return SRVSPI_E_ARRAY_INVALID_ARGUMENT;
  if (capacity == -1) capacity = static_cast<int32_t>(array->count);
  if (capacity < 0) return SRVSPI_E_ARRAY_INVALID_ARGUMENT;
  const auto wanted = static_cast<uint32_t>(capacity);
  if (wanted < array->count) return SRVSPI_E_ARRAY_OUT_OF_RANGE;
  if (wanted == 0) {
    if (array->resource) heap_Free(array->resource->heap, array->data);
    array->data = nullptr;
    array->capacity = 0;
    return 0;
  }
  return Reallocate(array, wanted);
}

SC_API VQRESULT srvspi_ArrayAdd(SrvArray *array, const void *element) {
  if (!array) return SRVSPI_E_ARRAY_INVALID_ARGUMENT;
  if (array->count == array->capacity) {
    // Growth by exactly one element: a client adding many reserves with ArrayResize first.
    if (array->capacity == UINT32_MAX) return SRVSPI_E_ARRAY_OUT_OF_MEMORY;
    const VQRESULT grown = Reallocate(array, array->capacity + 1);
    if (grown) return grown;
  }
  if (element) std::memcpy(ElementAt(array, array->count), element, array->elementSize);
  ++array->count;
  return 0;
}

SC_API VQRESULT srvspi_ArrayPush(SrvArray *array, const void *element) {
  return srvspi_ArrayAdd(array, element);
}

SC_API VQRESULT srvspi_ArrayRemove(SrvArray *array, uint32_t index) {
  if (!array) return SRVSPI_E_ARRAY_INVALID_ARGUMENT;
  if (index >= array->count) return SRVSPI_E_ARRAY_OUT_OF_RANGE;
  const uint32_t after = array->count - index - 1;
  if (after)
    std::memmove(ElementAt(array, index), ElementAt(array, index + 1),
                 size_t{after} * array->elementSize);
  --array->count;
  return 0;
}

SC_API VQRESULT srvspi_ArrayAt(SrvArray *array, uint32_t index, void **element) {
  if (!array) return SRVSPI_E_ARRAY_INVALID_ARGUMENT;
  if (index >= array->count) return SRVSPI_S_ARRAY_NO_ELEMENT;
  if (element) *element = ElementAt(array, index);
  return 0;
}

SC_API VQRESULT srvspi_ArrayBegin(SrvArray *array, void **cursor) {
  if (!array) return SRVSPI_E_ARRAY_INVALID_ARGUMENT;
  if (array->count == 0) return SRVSPI_E_ARRAY_NOT_FOUND;
  if (cursor) *cursor = array->data;
  return 0;
}

SC_API VQRESULT srvspi_ArrayNext(SrvArray *array, void **cursor) {
  if (!array || !cursor) return SRVSPI_E_ARRAY_INVALID_ARGUMENT;
  const auto *begin = static_cast<const unsigned char *>(array->data);
  const auto *end = begin + size_t{array->count} * array->elementSize;
  const auto *at = static_cast<const unsigned char *>(*cursor);
  // A cursor that ended (null) or lies outside the elements stays at the end.
  if (at && at >= begin && at<end &&static_cast<size_t>(end - at)> array->elementSize) {
    *cursor = const_cast<unsigned char *>(at + array->elementSize);
    return 0;
  }
  *cursor = nullptr;
  return SRVSPI_S_ARRAY_NOT_FOUND;
}

SC_API VQRESULT srvspi_ArrayPop(SrvArray *array, void **element) {
  if (!array) return SRVSPI_E_ARRAY_INVALID_ARGUMENT;
  if (array->count == 0) return SRVSPI_S_ARRAY_NO_ELEMENT;
  --array->count;
  if (element) *element = ElementAt(array, array->count);
  return 0;
}

SC_API VQRESULT srvspi_ArrayTop(SrvArray *array, void **element) {
  if (!array) return SRVSPI_E_ARRAY_INVALID_ARGUMENT;
  if (array->count == 0) return SRVSPI_S_ARRAY_NO_ELEMENT;
  if (element) *element = ElementAt(array, array->count - 1);
  return 0;
}

SC_API VQRESULT srvspi_ArrayForEach(SrvArray *array, SrvArrayWalkFn callback, void *user) {
  if (!array || !callback) return SRVSPI_E_ARRAY_INVALID_ARGUMENT;
  VQRESULT result = 0;
  for (uint32_t i = 0; i < array->count; ++i) {
    result = callback(ElementAt(array, i), user);
    if (sc::Failed(result)) return result;
  }
  return result;
}

SC_API VQRESULT srvspi_ArrayFind(SrvArray *array, uint32_t key, SrvArrayCompareFn compare,
                                 void *user, uint32_t *index) {
  if (!array) return SRVSPI_E_ARRAY_INVALID_ARGUMENT;
  if (index) *index = 0;
  if (array->count == 0) return SRVSPI_S_ARRAY_NOT_FOUND;
  if (!compare) return SRVSPI_E_ARRAY_INVALID_ARGUMENT;
  VQRESULT result = 0;
  for (uint32_t i = 0; i < array->count; ++i) {
    result = compare(key, ElementAt(array, i), user);
    if (result == 0 || sc::Failed(result)) return result;
    if (index) ++*index;
  }
  return result;
}

}  // extern "C"
