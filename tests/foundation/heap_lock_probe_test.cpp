// Heap and re-entrant locks.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>
#include <utility>
#include <vector>

#include "speechcommon.h"
#include "test_util.h"

namespace {

using namespace std::chrono_literals;

TEST(Heap, AllocationsTheFailureHookAndLocksThatCannotOpen) {
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
  EXPECT_TRUE(!heap_Alloc(0, 1) && !heap_Calloc(0, 1, 1));
  sc::testing::FailNthAllocation(0);
  EXPECT_EQ(heap_Calloc(0, SIZE_MAX / 2, 4), nullptr);  // the product overflows
  heap_Free(0, nullptr);                                // accepted and ignored
  for (void *p : {first, third, static_cast<void *>(grown), static_cast<void *>(zeroed)})
    heap_Free(0, p);
  // A lock whose record cannot be made is not opened, and its out value left alone.
  LockValue lock = 12345;
  EXPECT_EQ(critsec_ObjOpen(0, 0, 0, nullptr), CRITSEC_E_NULL_POINTER);
  sc::testing::FailNthAllocation(1);
  EXPECT_EQ(critsec_ObjOpen(0, 0, 1, &lock), CRITSEC_E_OUT_OF_MEMORY);
  EXPECT_EQ(std::pair(lock, sc::testing::LiveBlocks()), std::pair(LockValue{12345}, before));
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

}  // namespace
