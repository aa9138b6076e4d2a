// A heap block owned for one scope: freed with heap_Free on the heap instance it came from,
// unless handed on with release(). No early return leaks a block or frees one twice.
#pragma once

#include <cstddef>
#include <memory>

#include "sc_heap.h"

namespace sc {

struct HeapDelete {
  HeapInstance heap;
  void operator()(void *block) const { heap_Free(heap, block); }
};

template <class T>
using HeapPtr = std::unique_ptr<T, HeapDelete>;

template <class T>
HeapPtr<T> Owned(HeapInstance heap, T *block) {
  return HeapPtr<T>(block, HeapDelete{heap});
}

// A zeroed block of count T from the heap; empty when memory runs out. T is a plain record.
template <class T>
HeapPtr<T> HeapCalloc(HeapInstance heap, size_t count = 1) {
  return Owned(heap, static_cast<T *>(heap_Calloc(heap, count, sizeof(T))));
}

}  // namespace sc
