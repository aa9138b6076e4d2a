// The cost of a full safe-handle check and of a guarded lock round trip, each beside a bare
// std::recursive_mutex lock and unlock in the same run.
#include <benchmark/benchmark.h>

#include <mutex>

#include "speechcommon.h"

namespace {

struct Object {
  SecObject guard;
  uint32_t payload[12];
};

void BM_SafeHandleCheck(benchmark::State &state) {
  auto *object = new Object{};
  const SafeHandle handle{object, 44892};
  for (auto _ : state)
    benchmark::DoNotOptimize(safeh_HandleCheck(handle, 44892, sizeof(Object)));
  delete object;
}
BENCHMARK(BM_SafeHandleCheck)->ThreadRange(1, 2);

void BM_SecLockUnlock(benchmark::State &state) {
  static SecObject guard;
  if (state.thread_index() == 0) srvspi_SecOpen(g_vqNullHandle, 44892, &guard);
  for (auto _ : state) {
    srvspi_SecLock(guard);
    srvspi_SecUnlock(guard);
  }
  if (state.thread_index() == 0) srvspi_SecClose(&guard);
}
BENCHMARK(BM_SecLockUnlock);

void BM_RecursiveMutexLockUnlock(benchmark::State &state) {
  static std::recursive_mutex mutex;
  for (auto _ : state) {
    mutex.lock();
    mutex.unlock();
  }
}
BENCHMARK(BM_RecursiveMutexLockUnlock);

// A handle check plus validate plus lock round trip: what a dictionary operation pays on entry.
void BM_CheckValidateLockUnlock(benchmark::State &state) {
  auto *object = new Object{};
  srvspi_SecOpen(g_vqNullHandle, 44892, &object->guard);
  const SafeHandle handle{object, 44892};
  for (auto _ : state) {
    safeh_HandleCheck(handle, 44892, sizeof(Object));
    srvspi_SecValidate(object->guard, 44892);
    srvspi_SecLock(object->guard);
    srvspi_SecUnlock(object->guard);
  }
  srvspi_SecClose(&object->guard);
  delete object;
}
BENCHMARK(BM_CheckValidateLockUnlock);

}  // namespace
