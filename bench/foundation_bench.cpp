// The cost of a safe-handle check of foreign memory and of a dictionary handle, of a guarded
// lock round trip beside a bare std::recursive_mutex lock and unlock in the same run; and the
// memory probes beside the kernel's own exact answers (a copy through process_vm_readv, a
// fresh read of the map).
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <mutex>
#include <thread>

#include "dictionary/dictionary.h"
#include "speechcommon.h"

namespace {

// The lock round trips come first: the C library's own locks skip their atomic instructions
// while the process has one thread, and the benchmarks with two threads end that for good.
// The /1 runs measure both again after a second thread has run.
void StartSecondThreadIf(benchmark::State &state) {
  if (state.range(0)) std::thread([] {}).join();
}

void BM_SecLockUnlock(benchmark::State &state) {
  StartSecondThreadIf(state);
  SecObject guard;
  srvspi_SecOpen(g_vqNullHandle, 44892, &guard);
  for (auto _ : state) {
    srvspi_SecLock(guard);
    srvspi_SecUnlock(guard);
  }
  srvspi_SecClose(&guard);
}

void BM_RecursiveMutexLockUnlock(benchmark::State &state) {
  StartSecondThreadIf(state);
  std::recursive_mutex mutex;
  for (auto _ : state) {
    mutex.lock();
    mutex.unlock();
  }
}
BENCHMARK(BM_SecLockUnlock)->Arg(0);
BENCHMARK(BM_RecursiveMutexLockUnlock)->Arg(0);
BENCHMARK(BM_SecLockUnlock)->Arg(1);
BENCHMARK(BM_RecursiveMutexLockUnlock)->Arg(1);

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

// What a dictionary operation pays on entry, and on its way out: the handle resolved to the
// open dictionary and held (the full handle check), and that plus the dictionary's lock.
SafeHandle OpenDictionary() {
  SafeHandle handle{};
  edct_DctOpen(g_vqNullHandle, nullptr, EDCT_OPEN_WRITABLE, nullptr, nullptr, &handle);
  return handle;
}

void BM_DictionaryHandleCheck(benchmark::State &state) {
  static SafeHandle handle;
  if (state.thread_index() == 0) handle = OpenDictionary();
  for (auto _ : state) {
    sc::edct::Held<sc::edct::Dictionary> dictionary(handle, EDCT_DCT_TAG);
    benchmark::DoNotOptimize(dictionary.result());
  }
  if (state.thread_index() == 0) edct_DctClose(handle);
}
BENCHMARK(BM_DictionaryHandleCheck)->ThreadRange(1, 2);

void BM_DictionaryHandleCheckAndLock(benchmark::State &state) {
  const SafeHandle handle = OpenDictionary();
  for (auto _ : state) {
    sc::edct::Locked<sc::edct::Dictionary> dictionary(handle, EDCT_DCT_TAG);
    benchmark::DoNotOptimize(dictionary.result());
  }
  edct_DctClose(handle);
}
BENCHMARK(BM_DictionaryHandleCheckAndLock);

// The probes of a lookup's two out pointers (compare with a read-only lookup in
// dictionary_bench).
void BM_LookupOutPointerProbes(benchmark::State &state) {
  EDCT_ENTRY *entries = nullptr;
  uint32_t count = 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(sc::edct::CheckOut(&entries, &count));
}
BENCHMARK(BM_LookupOutPointerProbes);

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
