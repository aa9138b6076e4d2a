// Heap, re-entrant locks and memory probes.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

#include "speechcommon.h"
#include "test_util.h"

namespace {

using namespace std::chrono_literals;

TEST(Heap, AllocationsAndTheFailureHook) {
  sctest::AllocationFailureGuard guard;
  const int64_t before = sc::testing::LiveBlocks();
  auto *block = static_cast<unsigned char *>(heap_Alloc(0, 16));
  ASSERT_NE(block, nullptr);
  std::memset(block, 0x5A, 16);
  auto *zeroed = static_cast<unsigned char *>(heap_Calloc(0, 4, 8));
  ASSERT_NE(zeroed, nullptr);
  for (int i = 0; i < 32; ++i)
    EXPECT_EQ(zeroed[i], 0);
  EXPECT_EQ(sc::testing::LiveBlocks(), before + 2);

  // A refused reallocation leaves the old block valid and its contents intact.
  sc::testing::FailNthAllocation(1);
  EXPECT_EQ(heap_Realloc(0, block, 4096), nullptr);
  EXPECT_TRUE(sc::testing::AllocationFailed());
  EXPECT_EQ(block[15], 0x5A);
  auto *grown = static_cast<unsigned char *>(heap_Realloc(0, block, 4096));
  ASSERT_NE(grown, nullptr);
  EXPECT_EQ(grown[0], 0x5A);
  EXPECT_EQ(grown[15], 0x5A);

  // The nth allocation from now fails, once; the ones before and after succeed.
  sc::testing::FailNthAllocation(2);
  void *first = heap_Alloc(0, 1);
  void *second = heap_Alloc(0, 1);
  void *third = heap_Alloc(0, 1);
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(second, nullptr);
  EXPECT_NE(third, nullptr);
  sc::testing::FailNthAllocation(1, true);
  EXPECT_EQ(heap_Alloc(0, 1), nullptr);
  EXPECT_EQ(heap_Calloc(0, 1, 1), nullptr);
  sc::testing::FailNthAllocation(0);

  heap_Free(0, nullptr);  // accepted and ignored
  heap_Free(0, first);
  heap_Free(0, third);
  heap_Free(0, grown);
  heap_Free(0, zeroed);
  EXPECT_EQ(sc::testing::LiveBlocks(), before);
  EXPECT_EQ(heap_Calloc(0, SIZE_MAX / 2, 4), nullptr);  // the product overflows
}

TEST(Critsec, OpenRefusalsAndOutOfMemory) {
  sctest::AllocationFailureGuard guard;
  const int64_t before = sc::testing::LiveBlocks();
  EXPECT_EQ(critsec_ObjOpen(0, 0, 0, nullptr), 0x80140183u);
  EXPECT_EQ(sc::testing::LiveBlocks(), before);
  LockValue lock = 12345;
  sc::testing::FailNthAllocation(1);
  EXPECT_EQ(critsec_ObjOpen(0, 0, 1, &lock), 0x80140186u);
  EXPECT_EQ(lock, 12345u);  // untouched on failure
  EXPECT_EQ(critsec_ObjOpen(0, 0, 1, &lock), 0u);
  EXPECT_NE(lock, 12345u);
  EXPECT_EQ(critsec_ObjClose(lock), 0u);
  EXPECT_EQ(sc::testing::LiveBlocks(), before);
}

TEST(Critsec, ReentrantAcrossThreads) {
  LockValue lock = 0;
  ASSERT_EQ(critsec_ObjOpen(0, 0, 0, &lock), 0u);
  EXPECT_EQ(critsec_Enter(lock), 0u);
  EXPECT_EQ(critsec_Enter(lock), 0u);  // the owner enters again without blocking
  EXPECT_EQ(critsec_Leave(lock), 0u);
  // One level still held: another thread must wait until the second leave.
  std::atomic<bool> entered{false};
  std::thread other([&] {
    critsec_Enter(lock);
    entered = true;
    critsec_Leave(lock);
  });
  std::this_thread::sleep_for(50ms);
  EXPECT_FALSE(entered);
  EXPECT_EQ(critsec_Leave(lock), 0u);
  other.join();
  EXPECT_TRUE(entered);
  EXPECT_EQ(critsec_ObjClose(lock), 0u);
}

TEST(Critsec, CountsStayExactUnderContention) {
  LockValue lock = 0;
  ASSERT_EQ(critsec_ObjOpen(0, 0, 0, &lock), 0u);
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

class Pages {
 public:
  explicit Pages(int protection, size_t pages = 2) : size_(pages * sysconf(_SC_PAGESIZE)) {
    base_ = static_cast<char *>(
        mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    EXPECT_NE(base_, MAP_FAILED);
    std::memset(base_, 'x', size_);
    mprotect(base_, size_, protection);
  }
  ~Pages() {
    if (base_) munmap(base_, size_);
  }
  char *base() const { return base_; }
  size_t size() const { return size_; }
  void Unmap() {
    munmap(base_, size_);
    base_ = nullptr;
  }

 private:
  size_t size_;
  char *base_;
};

TEST(Osspi, ProbesRefuseNullUnmappedReadOnlyAndNoAccess) {
  int local = 0;
  EXPECT_EQ(osspi_IsGoodReadPtr(nullptr, 0), 0x80060183u);
  EXPECT_EQ(osspi_IsGoodReadPtr(nullptr, 10), 0x80060183u);
  EXPECT_EQ(osspi_IsGoodWritePtr(nullptr, 4), 0x80060183u);
  EXPECT_EQ(osspi_IsGoodStringPtr(nullptr, 4), 0x80060183u);
  EXPECT_EQ(osspi_IsGoodReadPtr(&local, 0), 0u);
  EXPECT_EQ(osspi_IsGoodReadPtr(&local, sizeof local), 0u);
  EXPECT_EQ(osspi_IsGoodWritePtr(&local, sizeof local), 0u);

  Pages readOnly(PROT_READ);
  EXPECT_EQ(osspi_IsGoodReadPtr(readOnly.base(), readOnly.size()), 0u);
  EXPECT_EQ(osspi_IsGoodWritePtr(readOnly.base(), 1), 0x80060105u);
  static const char kConstant[] = "constant";
  EXPECT_EQ(osspi_IsGoodWritePtr(const_cast<char *>(kConstant), 1), 0x80060105u);

  Pages none(PROT_NONE);
  EXPECT_EQ(osspi_IsGoodReadPtr(none.base(), 1), 0x80060104u);
  EXPECT_EQ(osspi_IsGoodWritePtr(none.base(), 1), 0x80060105u);
  EXPECT_EQ(osspi_IsGoodStringPtr(none.base(), 1), 0x80060106u);

  // A range that runs from good memory into bad memory is refused as a whole.
  Pages mixed(PROT_READ | PROT_WRITE);
  const size_t page = mixed.size() / 2;
  mprotect(mixed.base() + page, page, PROT_NONE);
  EXPECT_EQ(osspi_IsGoodReadPtr(mixed.base(), page), 0u);
  EXPECT_EQ(osspi_IsGoodReadPtr(mixed.base() + page - 4, 8), 0x80060104u);
  mprotect(mixed.base() + page, page, PROT_READ);
  EXPECT_EQ(osspi_IsGoodReadPtr(mixed.base() + page - 4, 8), 0u);
  EXPECT_EQ(osspi_IsGoodWritePtr(mixed.base() + page - 4, 8), 0x80060105u);

  Pages gone(PROT_READ | PROT_WRITE);
  char *address = gone.base();
  gone.Unmap();
  EXPECT_EQ(osspi_IsGoodReadPtr(address, 1), 0x80060104u);
  EXPECT_EQ(osspi_IsGoodReadPtr(reinterpret_cast<void *>(16), 1), 0x80060104u);
  EXPECT_EQ(osspi_IsGoodReadPtr(reinterpret_cast<void *>(UINTPTR_MAX - 8), 64), 0x80060104u);
}

TEST(Osspi, StringProbeStopsAtTheNulOrTheLimit) {
  Pages pages(PROT_READ | PROT_WRITE);
  const size_t page = pages.size() / 2;
  mprotect(pages.base() + page, page, PROT_NONE);
  char *tail = pages.base() + page - 3;  // "xx" then the page boundary
  tail[2] = '\0';
  EXPECT_EQ(osspi_IsGoodStringPtr(tail, 100), 0u);  // the NUL comes before the bad page
  tail[2] = 'x';
  EXPECT_EQ(osspi_IsGoodStringPtr(tail, 3), 0u);           // the limit comes first
  EXPECT_EQ(osspi_IsGoodStringPtr(tail, 4), 0x80060106u);  // runs into the bad page
  EXPECT_EQ(osspi_IsGoodStringPtr("text", 0), 0u);
}

TEST(Osspi, ProbesAgreeAcrossThreadsWhileTheMapChanges) {
  std::atomic<bool> stop{false};
  std::atomic<int> wrong{0};
  int local = 7;
  std::thread prober([&] {
    while (!stop) {
      if (osspi_IsGoodWritePtr(&local, sizeof local) != 0) ++wrong;
      if (osspi_IsGoodReadPtr(nullptr, 1) != 0x80060183u) ++wrong;
    }
  });
  for (int i = 0; i < 200; ++i) {
    Pages pages(PROT_NONE, 1);
    EXPECT_EQ(osspi_IsGoodReadPtr(pages.base(), 1), 0x80060104u);
  }
  stop = true;
  prober.join();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
