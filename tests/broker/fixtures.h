// Helpers of the broker tests: root directories laid out per test case with header files made
// byte by byte, the test component modules copied into them, the events those modules report,
// short forms of the queries, and the loop over failing allocations.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <initializer_list>
#include <string>
#include <vector>

#include "dataheader/fixtures.h"
#include "speechcommon.h"

namespace brktest {

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

// "<name>value</name>" and a line end.
std::u16string T(std::u16string_view name, std::u16string_view value);
// COMPTYPE, BROKERSTRING and NAME, then `more`.
std::u16string Component(std::u16string_view type, std::u16string_view brokerString,
                         std::u16string_view more = u"", std::u16string_view name = u"n");
// DLL and GETINTERFACE (each left out when empty).
std::u16string Code(std::u16string_view dll, std::u16string_view entry);

// Data blocks laid out back to back: their DATABLOCK elements and the file's binary part.
struct DataPart {
  std::u16string elements;
  std::string tail;
};
DataPart Blocks(std::initializer_list<std::pair<std::u16string, std::string>> blocks);

enum class Module { kEngine, kAddon, kRefuse, kBadInit, kNoEntry };

class Root {
 public:
  Root();
  ~Root();
  std::string Path(const std::string &relative = "") const;
  void Write(const std::string &relative, std::string_view bytes) const;
  void Header(const std::string &relative, std::u16string_view body,
              std::string_view tail = "") const;
  void Install(Module module, const std::string &relative) const;

 private:
  std::filesystem::path path_;
};

// The events the component modules reported since the last call ("engine: init", ...).
std::vector<std::string> TakeEvents();
int Count(const std::vector<std::string> &events, std::string_view event);
// Every module loaded since the last TakeEvents was unloaded again.
void ExpectNothingLoaded();

// A class over the root with its own lock, closed (and checked) at the end of the scope.
class Class {
 public:
  explicit Class(const Root &root, BrkResolveCallback callback = nullptr);
  ~Class();
  operator BrkClass *() const { return cls_; }
  BrkObject *Open(const char *engine = nullptr, const char *language = nullptr) const;

 private:
  BrkClass *cls_ = nullptr;
};

// Query results as text: the value, or "error 0x...".
std::string Error(VQRESULT code);
std::string TagOf(BrkObject *object, const char *brokerString, const char *tag);
std::string InfoOf(BrkObject *object, const char *brokerString);
std::vector<std::string> Listed(BrkObject *object, const char *type);

// Runs `attempt` with the 1st, 2nd, ... allocation failing until it succeeds. Each failure
// must give one of the `allowed` codes; `undo` (allocations working again) gives back what a
// success left, after which no block may be left over.
template <class Attempt, class Undo>
void ForEachFailingAllocation(std::initializer_list<VQRESULT> allowed, Attempt attempt, Undo undo) {
  for (uint64_t nth = 1; !::testing::Test::HasFailure(); ++nth) {
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
    if (result) {
      EXPECT_NE(std::find(allowed.begin(), allowed.end(), result), allowed.end())
          << "allocation " << nth << ": " << Error(result);
    }
  }
}

}  // namespace brktest
