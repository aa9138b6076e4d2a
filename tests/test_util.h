// Helpers shared by the test suites: the loop over failing allocations and temporary
// directories.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <string>
#include <string_view>

#include "foundation/alloc.h"

namespace sctest {

// Runs `operation` with the 1st, 2nd, ... allocation failing until an attempt meets no
// failure. After each attempt, with allocations working again, `settle(result, failed)` judges
// it and gives back what the attempt holds; after a refused one the number of blocks held must
// then be back where it was. Returns how many attempts were refused (-1: it never succeeded).
inline int ForEachAllocationFailure(const std::function<uint32_t()> &operation,
                                    const std::function<void(uint32_t, bool)> &settle) {
  for (int nth = 1; nth < 10000; ++nth) {
    SCOPED_TRACE("allocation " + std::to_string(nth) + " failing");
    const int64_t before = sc::testing::LiveBlocks();
    sc::testing::FailNthAllocation(nth);
    const uint32_t result = operation();
    const bool failed = sc::testing::AllocationFailed();
    sc::testing::FailNthAllocation(0);
    settle(result, failed);
    if (!failed) return nth - 1;
    EXPECT_EQ(sc::testing::LiveBlocks(), before) << "leak";
    if (::testing::Test::HasFatalFailure()) return -1;
  }
  ADD_FAILURE() << "operation never succeeded";
  return -1;
}

// The common form: the attempt without a failure gives 0, every refused attempt gives
// `expectedCode`, and `afterFailure` (when given) checks what a refused one left.
inline int ForEachAllocationFailure(const std::function<uint32_t()> &operation,
                                    uint32_t expectedCode,
                                    const std::function<void()> &afterFailure = {}) {
  return ForEachAllocationFailure(operation, [&](uint32_t result, bool failed) {
    EXPECT_EQ(result, failed ? expectedCode : 0u);
    if (failed && afterFailure) afterFailure();
  });
}

// Turns allocation failures off at the end of a scope, whatever the test did.
struct AllocationFailureGuard {
  ~AllocationFailureGuard() { sc::testing::FailNthAllocation(0); }
};

// The whole file, empty when it cannot be read.
inline std::string ReadFile(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A fresh temporary directory, removed with everything in it at the end of the scope.
class TempDir {
 public:
  TempDir() { std::filesystem::create_directories(path_); }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir &) = delete;
  TempDir &operator=(const TempDir &) = delete;

  // The directory itself, or a path below it.
  std::string Path(const std::string &relative = "") const {
    return relative.empty() ? path_.string() : (path_ / relative).string();
  }
  // Writes the file, making the directories on its way, and returns its path.
  std::string Write(const std::string &relative, std::string_view bytes) const {
    const std::string path = Path(relative);
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary).write(bytes.data(), std::streamsize(bytes.size()));
    return path;
  }
  // The whole file below the directory, empty when it cannot be read.
  std::string Read(const std::string &relative) const { return ReadFile(Path(relative)); }

 private:
  std::filesystem::path path_ =
      std::filesystem::temp_directory_path() / ("sctest_" + std::to_string(std::random_device{}()) +
                                                "_" + std::to_string(std::random_device{}()));
};

}  // namespace sctest
