// The cost of a full safe-handle check and of a guarded lock round trip, each beside a bare
// std::recursive_mutex lock and unlock in the same run; and the memory probes beside the
// kernel's own exact answers (a copy through process_vm_readv, a fresh read of the map).
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
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

// Probes of 16 bytes that may be used (arg 0) or of an unmapped page (arg 1).
char *ProbeTarget(int64_t bad) {
  static char good[64] = "a string of some length, long enough for the probes";
  static void *gone = [] {
    void *page = mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    munmap(page, 4096);
    return page;
  }();
  return bad ? static_cast<char *>(gone) : good;
}

void BM_ProbeRead(benchmark::State &state) {
  char *target = ProbeTarget(state.range(0));
  for (auto _ : state)
    benchmark::DoNotOptimize(osspi_IsGoodReadPtr(target, 16));
}
BENCHMARK(BM_ProbeRead)->Arg(0)->Arg(1);

void BM_ProbeReadKernelCopy(benchmark::State &state) {
  char *target = ProbeTarget(state.range(0));
  char copy[16];
  const pid_t self = getpid();
  for (auto _ : state) {
    iovec local{copy, sizeof copy}, remote{target, sizeof copy};
    benchmark::DoNotOptimize(process_vm_readv(self, &local, 1, &remote, 1, 0));
  }
}
BENCHMARK(BM_ProbeReadKernelCopy)->Arg(0)->Arg(1);

void BM_ProbeWrite(benchmark::State &state) {
  char *target = ProbeTarget(state.range(0));
  for (auto _ : state)
    benchmark::DoNotOptimize(osspi_IsGoodWritePtr(target, 16));
}
BENCHMARK(BM_ProbeWrite)->Arg(0)->Arg(1);

// The kernel copies nothing into memory without changing it, so its exact answer for writing
// is the map as it is now: read whole and searched for the range.
void BM_ProbeWriteMapsFile(benchmark::State &state) {
  const auto target = reinterpret_cast<uintptr_t>(ProbeTarget(state.range(0)));
  static char text[1 << 16];
  for (auto _ : state) {
    const int fd = open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
    size_t held = 0;
    for (ssize_t got; (got = read(fd, text + held, sizeof text - 1 - held)) > 0;)
      held += static_cast<size_t>(got);
    close(fd);
    text[held] = 0;
    bool writable = false;
    for (char *line = text; line && *line;
         line = std::strchr(line, '\n'), line = line ? line + 1 : line) {
      unsigned long begin, end;
      char perms[5];
      if (std::sscanf(line, "%lx-%lx %4s", &begin, &end, perms) == 3 && begin <= target &&
          target + 16 <= end)
        writable = perms[1] == 'w';
    }
    benchmark::DoNotOptimize(writable);
  }
}
BENCHMARK(BM_ProbeWriteMapsFile)->Arg(0)->Arg(1);

void BM_ProbeString(benchmark::State &state) {
  char *target = ProbeTarget(state.range(0));
  for (auto _ : state)
    benchmark::DoNotOptimize(osspi_IsGoodStringPtr(target, 64));
}
BENCHMARK(BM_ProbeString)->Arg(0)->Arg(1);

}  // namespace
