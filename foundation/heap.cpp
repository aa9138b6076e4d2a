// The process allocator behind every heap instance. The archive the tests link is built from
// the same source with SC_TESTING_HOOKS: there every allocation can be made to fail and the
// blocks held are counted; the shipped library has neither.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "foundation/alloc.h"
#include "sc_heap.h"

#if SC_TESTING_HOOKS
#include <atomic>
#endif

namespace sc {
namespace {

#if SC_TESTING_HOOKS
std::atomic<uint64_t> g_countdown{0};  // 0: no failure planned
std::atomic<bool> g_failEvery{false};
std::atomic<bool> g_failed{false};
std::atomic<int64_t> g_live{0};

// Consumes one allocation of the countdown; true when this one must fail.
bool ShouldFail() {
  if (g_countdown.load(std::memory_order_relaxed) == 0) return false;
  uint64_t left = g_countdown.load(std::memory_order_relaxed);
  while (left != 0) {
    if (left == 1) {
      if (g_failEvery.load(std::memory_order_relaxed)) {
        g_failed.store(true, std::memory_order_relaxed);
        return true;
      }
      if (g_countdown.compare_exchange_weak(left, 0, std::memory_order_relaxed)) {
        g_failed.store(true, std::memory_order_relaxed);
        return true;
      }
    } else if (g_countdown.compare_exchange_weak(left, left - 1, std::memory_order_relaxed)) {
      return false;
    }
  }
  return false;
}

void Count(int64_t change) {
  g_live.fetch_add(change, std::memory_order_relaxed);
}
#else
constexpr bool ShouldFail() {
  return false;
}
constexpr void Count(int64_t) {}
#endif

// A request of 0 bytes still yields a distinct block, so null always means failure.
size_t AtLeastOne(size_t size) {
  return size ? size : 1;
}

}  // namespace

void *RawAlloc(size_t size) {
  if (ShouldFail()) return nullptr;
  void *block = std::malloc(AtLeastOne(size));
  if (block) Count(1);
  return block;
}

void *RawCalloc(size_t count, size_t size) {
  if (ShouldFail()) return nullptr;
  if (size && count > PTRDIFF_MAX / size) return nullptr;  // the product would overflow
  void *block = (count == 0 || size == 0) ? std::calloc(1, 1) : std::calloc(count, size);
  if (block) Count(1);
  return block;
}

void *RawRealloc(void *block, size_t size) {
  if (ShouldFail()) return nullptr;
  void *grown = std::realloc(block, AtLeastOne(size));
  if (grown && !block) Count(1);
  return grown;
}

void RawFree(void *block) {
  if (!block) return;
  Count(-1);
  std::free(block);
}

void RawForget(void *block) {
  if (block) Count(-1);
}

#if SC_TESTING_HOOKS
namespace testing {

void FailNthAllocation(uint64_t nth, bool every) {
  g_failEvery.store(every, std::memory_order_relaxed);
  g_failed.store(false, std::memory_order_relaxed);
  g_countdown.store(nth, std::memory_order_relaxed);
}

bool AllocationFailed() {
  return g_failed.load(std::memory_order_relaxed);
}

int64_t LiveBlocks() {
  return g_live.load(std::memory_order_relaxed);
}

}  // namespace testing
#endif
}  // namespace sc

// Every heap instance is served by the process allocator; the instance is carried so that a
// block is freed with the instance that allocated it.
extern "C" {

SC_API void *heap_Alloc(HeapInstance, size_t size) {
  return sc::RawAlloc(size);
}

SC_API void *heap_Calloc(HeapInstance, size_t count, size_t size) {
  return sc::RawCalloc(count, size);
}

SC_API void *heap_Realloc(HeapInstance, void *block, size_t size) {
  return sc::RawRealloc(block, size);
}

SC_API void heap_Free(HeapInstance, void *block) {
  sc::RawFree(block);
}

SC_API VQRESULT heap_GetVersion(uint32_t *version) {
  if (!version) return HEAP_E_NULL_POINTER;
  *version = 0x01000002u;
  return 0;
}

}  // extern "C"
