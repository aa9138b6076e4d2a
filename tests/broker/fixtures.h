// Helpers of the broker tests: root directories laid out per test case with header files made
// byte by byte, the test component modules copied into them, the events those modules report,
// and the loop over failing allocations.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "dataheader/fixtures.h"
#include "speechcommon.h"

namespace brktest {

using hdrtest::Le;

// Result codes as a client sees them.
inline constexpr VQRESULT kInvalidComponent = 0x80150101;
inline constexpr VQRESULT kNoEngine = 0x80150103;
inline constexpr VQRESULT kNotFound = 0x80150104;
inline constexpr VQRESULT kCannotRead = 0x80150105;
inline constexpr VQRESULT kCannotLoad = 0x80150106;
inline constexpr VQRESULT kStillInUse = 0x80150107;
inline constexpr VQRESULT kNoInterface = 0x80150108;
inline constexpr VQRESULT kNoTag = 0x80150109;
inline constexpr VQRESULT kNoModule = 0x8015010A;
inline constexpr VQRESULT kUnexpected = 0x80150180;
inline constexpr VQRESULT kMissing = 0x80150182;
inline constexpr VQRESULT kNoMemory = 0x80150186;

// "<name>value</name>" and a line end, as 16-bit text.
std::u16string T(std::u16string_view name, std::u16string_view value);
// The three tags every component carries, then `more`.
std::u16string Component(std::u16string_view type, std::u16string_view brokerString,
                         std::u16string_view more = u"", std::u16string_view name = u"n");

// Data blocks laid out back to back: their DATABLOCK elements and the file's binary part.
struct Block {
  std::u16string name;
  std::string bytes;
};
struct DataPart {
  std::u16string elements;
  std::string tail;
};
DataPart Blocks(std::initializer_list<Block> blocks);

// The module files the test build makes.
enum class Module { kEngine, kAddon, kRefuse, kBadInit, kNoEntry };
std::string ModuleFile(Module module);

class Root {
 public:
  Root();
  ~Root();
  Root(const Root &) = delete;
  Root &operator=(const Root &) = delete;

  std::string Path(const std::string &relative = "") const;
  // Writes the file, making its directories.
  void Write(const std::string &relative, std::string_view bytes) const;
  void Header(const std::string &relative, std::u16string_view body,
              std::string_view tail = "") const;
  // Copies a module file to the relative path.
  void Install(Module module, const std::string &relative) const;

 private:
  std::filesystem::path path_;
};

// The events the component modules reported since the last call ("engine: init", ...).
std::vector<std::string> TakeEvents();
int Count(const std::vector<std::string> &events, std::string_view event);

// A class over the root with its own lock, checked and closed at the end of the scope.
class Class {
 public:
  explicit Class(const Root &root, BrkResolveCallback callback = nullptr);
  ~Class();
  BrkClass *get() const { return cls_; }
  operator BrkClass *() const { return cls_; }
  // An object; failures are test failures.
  BrkObject *Open(const char *engine = nullptr, const char *language = nullptr,
                  BrkResolveCallback callback = nullptr) const;

 private:
  BrkClass *cls_ = nullptr;
};

// The wide text as ASCII.
std::string Ascii(const char16_t *text);
// Broker strings of a component list, in order.
std::vector<std::string> BrokerStrings(const BrkComponentList *list);

// Runs `attempt` with the 1st, 2nd, ... allocation failing until it succeeds. Each failure
// must give one of the `allowed` codes; `undo` (called with allocations working again, with
// the result) gives back what a success or a partial success left, after which no block may
// be left over.
template <class Attempt, class Undo>
void ForEachFailingAllocation(std::initializer_list<VQRESULT> allowed, Attempt attempt, Undo undo) {
  for (uint64_t nth = 1; nth < 100000; ++nth) {
    const int64_t before = sc::testing::LiveBlocks();
    sc::testing::FailNthAllocation(nth);
    const VQRESULT result = attempt();
    const bool failed = sc::testing::AllocationFailed();
    sc::testing::FailNthAllocation(0);
    undo(result);
    EXPECT_EQ(sc::testing::LiveBlocks(), before) << "allocation " << nth;
    if (!failed) {
      EXPECT_EQ(result, 0u) << "allocation " << nth;
      return;
    }
    if (result != 0) {
      EXPECT_NE(std::find(allowed.begin(), allowed.end(), result), allowed.end())
          << "allocation " << nth << " gave " << std::hex << result;
    }
    if (::testing::Test::HasFailure()) return;
  }
}

}  // namespace brktest
