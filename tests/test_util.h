// Helpers shared by the test suites.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>

#include "foundation/alloc.h"

namespace sctest {

// Runs `operation` with the 1st, 2nd, ... allocation failing until it succeeds. After each
// refused attempt `expectFailure` checks the outcome and `undo` is not called; the number of
// blocks held must be back where it was. Returns how many attempts failed.
inline int ForEachAllocationFailure(const std::function<uint32_t()> &operation,
                                    uint32_t expectedCode,
                                    const std::function<void()> &afterFailure = {}) {
  for (int nth = 1; nth < 10000; ++nth) {
    const int64_t before = sc::testing::LiveBlocks();
    sc::testing::FailNthAllocation(nth);
    const uint32_t result = operation();
    const bool failed = sc::testing::AllocationFailed();
    sc::testing::FailNthAllocation(0);
    if (!failed) {
      EXPECT_EQ(result, 0u) << "attempt " << nth << " failed without an allocation failure";
      return nth - 1;
    }
    EXPECT_EQ(result, expectedCode) << "with allocation " << nth << " failing";
    if (afterFailure) afterFailure();
    EXPECT_EQ(sc::testing::LiveBlocks(), before) << "leak with allocation " << nth << " failing";
  }
  ADD_FAILURE() << "operation never succeeded";
  return -1;
}

// Turns allocation failures off at the end of a scope, whatever the test did.
struct AllocationFailureGuard {
  ~AllocationFailureGuard() { sc::testing::FailNthAllocation(0); }
};

}  // namespace sctest
