// Heap, re-entrant locks and memory probes.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "speechcommon.h"
#include "test_util.h"

namespace {

using namespace std::chrono_literals;

TEST(Heap, AllocationsAndTheFailureHook) {
  sctest::AllocationFailureGuard guard;
  const int64_t before = sc::testing::LiveBlocks();
  auto *block = static_cast<unsigned char *>(heap_Alloc(0, 16));
  auto *zeroed = static_cast<unsigned char *>(heap_Calloc(0, 4, 8));
  ASSERT_TRUE(block && zeroed);
  std::memset(block, 0x5A, 16);
  EXPECT_EQ(std::vector<unsigned char>(zeroed, zeroed + 32), std::vector<unsigned char>(32, 0));
  EXPECT_EQ(sc::testing::LiveBlocks(), before + 2);
  // A refused reallocation leaves the old block valid and intact.
  sc::testing::FailNthAllocation(1);
  EXPECT_EQ(heap_Realloc(0, block, 4096), nullptr);
  EXPECT_EQ(block[15], 0x5A);
  auto *grown = static_cast<unsigned char *>(heap_Realloc(0, block, 4096));
  ASSERT_NE(grown, nullptr);
  EXPECT_EQ(grown[15], 0x5A);
  // The nth allocation from now fails, once; or every one from there on.
  sc::testing::FailNthAllocation(2);
  void *first = heap_Alloc(0, 1), *second = heap_Alloc(0, 1), *third = heap_Alloc(0, 1);
  EXPECT_TRUE(first && !second && third);
  sc::testing::FailNthAllocation(1, true);
  EXPECT_EQ(heap_Alloc(0, 1), nullptr);
  EXPECT_EQ(heap_Calloc(0, 1, 1), nullptr);
  sc::testing::FailNthAllocation(0);
  EXPECT_EQ(heap_Calloc(0, SIZE_MAX / 2, 4), nullptr);  // the product overflows
  heap_Free(0, nullptr);                                // accepted and ignored
  for (void *p : {first, third, static_cast<void *>(grown), static_cast<void *>(zeroed)})
    heap_Free(0, p);
  EXPECT_EQ(sc::testing::LiveBlocks(), before);
}

TEST(Critsec, OpenRefusalsAndOutOfMemory) {
  sctest::AllocationFailureGuard guard;
  const int64_t before = sc::testing::LiveBlocks();
  LockValue lock = 12345;
  EXPECT_EQ(critsec_ObjOpen(0, 0, 0, nullptr), CRITSEC_E_NULL_POINTER);
  sc::testing::FailNthAllocation(1);
  EXPECT_EQ(critsec_ObjOpen(0, 0, 1, &lock), CRITSEC_E_OUT_OF_MEMORY);
  EXPECT_EQ(lock, 12345u);  // untouched on failure
  EXPECT_EQ(sc::testing::LiveBlocks(), before);
  ASSERT_EQ(critsec_ObjOpen(0, 0, 1, &lock), 0u);
  EXPECT_EQ(critsec_ObjClose(lock), 0u);
  EXPECT_EQ(sc::testing::LiveBlocks(), before);
}

TEST(CritsecThreads, ReentrantAndExclusive) {
  LockValue lock = 0;
  ASSERT_EQ(critsec_ObjOpen(0, 0, 0, &lock), 0u);
  EXPECT_EQ(critsec_Enter(lock), 0u);
  EXPECT_EQ(critsec_Enter(lock), 0u);  // the owner enters again without blocking
  EXPECT_EQ(critsec_Leave(lock), 0u);
  std::atomic<bool> entered{false};
  std::thread other([&] {
    critsec_Enter(lock);
    entered = true;
    critsec_Leave(lock);
  });
  std::this_thread::sleep_for(50ms);
  EXPECT_FALSE(entered);  // one level is still held
  EXPECT_EQ(critsec_Leave(lock), 0u);
  other.join();
  EXPECT_TRUE(entered);
  long counter = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 20000; ++i) {
        critsec_Enter(lock);
        critsec_Enter(lock);
        ++counter;
        critsec_Leave(lock);
        critsec_Leave(lock);
      }
    });
  for (auto &thread : threads)
    thread.join();
  EXPECT_EQ(counter, 80000);
  EXPECT_EQ(critsec_ObjClose(lock), 0u);
}

// Anonymous pages with one protection, unmapped at the end of the scope.
struct Pages {
  explicit Pages(int protection, size_t count = 2) : size(count * sysconf(_SC_PAGESIZE)) {
    base = static_cast<char *>(
        mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    std::memset(base, 'x', size);
    mprotect(base, size, protection);
  }
  ~Pages() {
    if (base) munmap(base, size);
  }
  size_t size;
  char *base;
};

TEST(Osspi, ProbesRefuseNullUnmappedReadOnlyAndNoAccess) {
  int local = 0;
  EXPECT_EQ(osspi_IsGoodReadPtr(nullptr, 0), OSSPI_E_NULL_POINTER);
  EXPECT_EQ(osspi_IsGoodWritePtr(nullptr, 4), OSSPI_E_NULL_POINTER);
  EXPECT_EQ(osspi_IsGoodStringPtr(nullptr, 4), OSSPI_E_NULL_POINTER);
  EXPECT_EQ(osspi_IsGoodReadPtr(&local, 0), 0u);
  EXPECT_EQ(osspi_IsGoodWritePtr(&local, sizeof local), 0u);
  Pages readOnly(PROT_READ);
  EXPECT_EQ(osspi_IsGoodReadPtr(readOnly.base, readOnly.size), 0u);
  EXPECT_EQ(osspi_IsGoodWritePtr(readOnly.base, 1), OSSPI_E_INVALID_WRITE_POINTER);
  static const char kConstant[] = "constant";
  EXPECT_EQ(osspi_IsGoodWritePtr(const_cast<char *>(kConstant), 1), OSSPI_E_INVALID_WRITE_POINTER);
  Pages none(PROT_NONE);
  EXPECT_EQ(osspi_IsGoodReadPtr(none.base, 1), OSSPI_E_INVALID_READ_POINTER);
  EXPECT_EQ(osspi_IsGoodWritePtr(none.base, 1), OSSPI_E_INVALID_WRITE_POINTER);
  EXPECT_EQ(osspi_IsGoodStringPtr(none.base, 1), OSSPI_E_INVALID_STRING_POINTER);
  // A range from good into bad memory is refused as a whole; a change of rights is seen.
  Pages mixed(PROT_READ | PROT_WRITE);
  const size_t page = mixed.size / 2;
  mprotect(mixed.base + page, page, PROT_NONE);
  EXPECT_EQ(osspi_IsGoodReadPtr(mixed.base, page), 0u);
  EXPECT_EQ(osspi_IsGoodReadPtr(mixed.base + page - 4, 8), OSSPI_E_INVALID_READ_POINTER);
  mprotect(mixed.base + page, page, PROT_READ);
  EXPECT_EQ(osspi_IsGoodReadPtr(mixed.base + page - 4, 8), 0u);
  EXPECT_EQ(osspi_IsGoodWritePtr(mixed.base + page - 4, 8), OSSPI_E_INVALID_WRITE_POINTER);
  // Unmapped memory, addresses near 0 and ranges that wrap are refused.
  char *gone = static_cast<char *>(
      mmap(nullptr, page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  munmap(gone, page);
  EXPECT_EQ(osspi_IsGoodReadPtr(gone, 1), OSSPI_E_INVALID_READ_POINTER);
  EXPECT_EQ(osspi_IsGoodReadPtr(reinterpret_cast<void *>(16), 1), OSSPI_E_INVALID_READ_POINTER);
  EXPECT_EQ(osspi_IsGoodReadPtr(reinterpret_cast<void *>(UINTPTR_MAX - 8), 64),
            OSSPI_E_INVALID_READ_POINTER);
}

TEST(Osspi, StringProbeStopsAtTheNulOrTheLimit) {
  Pages pages(PROT_READ | PROT_WRITE);
  const size_t page = pages.size / 2;
  mprotect(pages.base + page, page, PROT_NONE);
  char *tail = pages.base + page - 3;  // three bytes before the bad page
  tail[2] = '\0';
  EXPECT_EQ(osspi_IsGoodStringPtr(tail, 100), 0u);  // the NUL comes first
  tail[2] = 'x';
  EXPECT_EQ(osspi_IsGoodStringPtr(tail, 3), 0u);  // the limit comes first
  EXPECT_EQ(osspi_IsGoodStringPtr(tail, 4), OSSPI_E_INVALID_STRING_POINTER);
  EXPECT_EQ(osspi_IsGoodStringPtr("text", 0), 0u);
}

}  // namespace
