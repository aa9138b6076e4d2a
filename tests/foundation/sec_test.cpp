// Guarded objects: the tag check, the lock and the state machines of both flavours.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <tuple>

#include "speechcommon.h"
#include "test_util.h"

namespace {

using namespace std::chrono_literals;

constexpr uint32_t kOwner = 44892;

class SecTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(srvspi_SecOpen(g_vqNullHandle, kOwner, &object_), 0u); }
  void TearDown() override {
    if (object_.magic) {
      EXPECT_EQ(srvspi_SecClose(&object_), 0u);
    }
  }
  uint32_t State() {
    uint32_t state = 0;
    SecExObject ex{SECEX_MAGIC, object_.owner, object_.core, object_.resource};
    EXPECT_EQ(srvspi_SecExGetState(ex, &state), 0u);
    return state;
  }
  SecObject object_{};
};

TEST_F(SecTest, HoldsFollowTheStateTable) {
  EXPECT_EQ(std::tuple(object_.magic, object_.owner), std::tuple(SEC_MAGIC, kOwner));
  EXPECT_EQ(srvspi_SecValidate(object_, kOwner), 0u);
  EXPECT_EQ(srvspi_SecValidate(object_, kOwner + 1), SRVSPI_E_SEC_INVALID_HANDLE);
  // Readers share; a writer needs the object free of holders.
  EXPECT_EQ(srvspi_SecToReadOnly(object_), 0u);
  EXPECT_EQ(srvspi_SecToReadOnly(object_), 0u);
  EXPECT_EQ(srvspi_SecToBusy(object_), SRVSPI_E_SEC_READ_ONLY);
  EXPECT_EQ(State(), SEC_STATE_FREE);
  EXPECT_EQ(srvspi_SecToFree(object_), 0u);
  EXPECT_EQ(srvspi_SecToBusy(object_), SRVSPI_E_SEC_READ_ONLY);  // one reader left
  EXPECT_EQ(srvspi_SecToFree(object_), 0u);
  EXPECT_EQ(srvspi_SecToBusy(object_), 0u);
  EXPECT_EQ(State(), SEC_STATE_BUSY);
  EXPECT_EQ(srvspi_SecToBusy(object_), SRVSPI_E_SEC_READ_ONLY);
  EXPECT_EQ(srvspi_SecToReadOnly(object_), SRVSPI_E_SEC_READ_ONLY);
  EXPECT_EQ(srvspi_SecToFree(object_), 0u);
  EXPECT_EQ(State(), SEC_STATE_FREE);
  // With no hold outstanding there is nothing to give back.
  EXPECT_EQ(srvspi_SecToFree(object_), SRVSPI_E_SEC_WRONG_STATE);
  EXPECT_EQ(srvspi_SecToBusy(object_), 0u);
  EXPECT_EQ(srvspi_SecToFree(object_), 0u);
}

TEST_F(SecTest, BadValuesNullArgumentsAndClosing) {
  // Each flavour refuses the other's magic; a null core is refused; null pointers come first.
  SecExObject asEx{SEC_MAGIC, object_.owner, object_.core, object_.resource};
  SecExObject ex{};
  ASSERT_EQ(srvspi_SecExOpen(g_vqNullHandle, kOwner, 5, &ex), 0u);
  SecObject asSec{ex.magic, ex.owner, ex.core, ex.resource};
  SecObject nullCore = object_;
  nullCore.core = nullptr;
  uint32_t state = 0;
  for (VQRESULT rc : {srvspi_SecExGetState(asEx, &state), srvspi_SecExLock(asEx),
                      srvspi_SecExValidate(asEx, kOwner), srvspi_SecValidate(asSec, kOwner),
                      srvspi_SecLock(asSec), srvspi_SecToBusy(asSec), srvspi_SecClose(&asSec),
                      srvspi_SecLock(nullCore), srvspi_SecToFree(nullCore)})
    EXPECT_EQ(rc, SRVSPI_E_SEC_INVALID_HANDLE);
  for (VQRESULT rc : {srvspi_SecClose(nullptr), srvspi_SecExClose(nullptr),
                      srvspi_SecOpen(g_vqNullHandle, kOwner, nullptr),
                      srvspi_SecExOpen(g_vqNullHandle, kOwner, 0, nullptr),
                      srvspi_SecExGetState(SecExObject{}, nullptr)})
    EXPECT_EQ(rc, SRVSPI_E_SEC_NULL_POINTER);
  EXPECT_EQ(srvspi_SecExClose(&ex), 0u);
  EXPECT_EQ(std::tuple(ex.magic, ex.owner, ex.core), std::tuple(0u, 0u, nullptr));
  EXPECT_NE(ex.resource, nullptr);  // word 4 stays
  EXPECT_EQ(srvspi_SecClose(&object_), 0u);
  // The closed value fails the check.
  EXPECT_EQ(srvspi_SecClose(&object_), SRVSPI_E_SEC_INVALID_HANDLE);
}

TEST(SecEx, ToStateLists) {
  SecExObject ex{};
  ASSERT_EQ(srvspi_SecExOpen(g_vqNullHandle, 1, 10, &ex), 0u);
  uint32_t old = 0;
  const uint32_t fromTen[] = {3, 10};
  EXPECT_EQ(srvspi_SecExToState(ex, fromTen, 2, 20, &old), 0u);
  EXPECT_EQ(old, 10u);
  // A refused change still reports the state it found; an empty list allows no change, a null
  // one any.
  EXPECT_EQ(srvspi_SecExToState(ex, fromTen, 2, 30, &old), SRVSPI_E_SEC_WRONG_STATE);
  EXPECT_EQ(old, 20u);
  EXPECT_EQ(srvspi_SecExToState(ex, fromTen, 0, 30, nullptr), SRVSPI_E_SEC_WRONG_STATE);
  EXPECT_EQ(srvspi_SecExToState(ex, nullptr, 0, 30, nullptr), 0u);
  EXPECT_EQ(srvspi_SecExToState(ex, nullptr, 0, 30, &old), 0u);
  EXPECT_EQ(old, 30u);
  // A null list with entries is refused before the value is looked at.
  EXPECT_EQ(srvspi_SecExToState(SecExObject{}, nullptr, 3, 1, nullptr),
            SRVSPI_E_SEC_INVALID_ARGUMENT);
  EXPECT_EQ(srvspi_SecExToState(SecExObject{}, fromTen, 2, 1, nullptr),
            SRVSPI_E_SEC_INVALID_HANDLE);
  EXPECT_EQ(srvspi_SecExClose(&ex), 0u);
}

TEST(SecEx, OutOfMemoryAndBadResources) {
  sctest::AllocationFailureGuard guard;
  SecExObject ex{};
  // The core comes first, then the lock record; a failing lock frees the core again.
  const int64_t before = sc::testing::LiveBlocks();
  sc::testing::FailNthAllocation(1);
  EXPECT_EQ(srvspi_SecExOpen(g_vqNullHandle, 1, 0, &ex), SRVSPI_E_SEC_OUT_OF_MEMORY);
  EXPECT_EQ(sc::testing::LiveBlocks(), before);
  sc::testing::FailNthAllocation(2);
  EXPECT_EQ(srvspi_SecExOpen(g_vqNullHandle, 1, 0, &ex), CRITSEC_E_OUT_OF_MEMORY);
  EXPECT_EQ(sc::testing::LiveBlocks(), before);
  SecObject object{};
  sc::testing::FailNthAllocation(2);  // the lock record
  EXPECT_EQ(srvspi_SecOpen(g_vqNullHandle, 1, &object), CRITSEC_E_OUT_OF_MEMORY);
  EXPECT_EQ(object.magic, 0u);  // out value untouched
  EXPECT_EQ(srvspi_SecOpen({nullptr, RESOURCE_MAGIC}, 1, &object), RSRC_E_INVALID_RESOURCE);
  EXPECT_EQ(srvspi_SecExOpen({nullptr, RESOURCE_MAGIC}, 1, 0, &ex), RSRC_E_INVALID_RESOURCE);
}

using SecThreads = SecTest;

TEST_F(SecThreads, LockIsReentrantAndExcludesOthers) {
  ASSERT_EQ(srvspi_SecLock(object_), 0u);
  // The hold operations enter the same lock again while the caller holds it.
  EXPECT_EQ(srvspi_SecToBusy(object_), 0u);
  EXPECT_EQ(srvspi_SecToFree(object_), 0u);
  std::atomic<bool> entered{false};
  std::thread other([&] {
    srvspi_SecLock(object_);
    entered = true;
    srvspi_SecUnlock(object_);
  });
  std::this_thread::sleep_for(50ms);
  EXPECT_FALSE(entered);
  EXPECT_EQ(srvspi_SecUnlock(object_), 0u);
  other.join();
  EXPECT_TRUE(entered);
}

TEST_F(SecThreads, HoldsNeverWaitAndStayBalanced) {
  std::atomic<int> writers{0}, violations{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      for (int i = 0; i < 5000; ++i) {
        if (t % 2 == 0) {
          if (srvspi_SecToBusy(object_) == 0) {
            if (writers.fetch_add(1) != 0) ++violations;
            writers.fetch_sub(1);
            srvspi_SecToFree(object_);
          }
        } else if (srvspi_SecToReadOnly(object_) == 0) {
          if (writers.load() != 0) ++violations;
          srvspi_SecToFree(object_);
        }
      }
    });
  for (auto &thread : threads)
    thread.join();
  EXPECT_EQ(violations, 0);
  EXPECT_EQ(State(), SEC_STATE_FREE);
  EXPECT_EQ(srvspi_SecToBusy(object_), 0u);  // every hold was given back
  EXPECT_EQ(srvspi_SecToFree(object_), 0u);
}

}  // namespace
