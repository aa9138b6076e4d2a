#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "edct_test_util.h"
#include "foundation/alloc.h"
#include "speechcommon.h"

namespace {

using namespace edct_test;

constexpr uint32_t kEnded = 0x801E000Du;
constexpr uint32_t kIteratorOpen = 0x801E000Eu;

struct Position {
  std::u16string key;
  std::vector<std::string> data;
  uint32_t newSection;
  bool operator==(const Position &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Position &position) {
  return out << std::string(position.key.begin(), position.key.end()) << "/" << position.data.size()
             << "/" << position.newSection;
}

// Walks the whole dictionary with a fresh iterator.
std::vector<Position> Walk(SafeHandle dictionary) {
  SafeHandle iterator;
  EXPECT_EQ(edct_DctItOpen(g_vqNullHandle, dictionary, &iterator), 0u);
  std::vector<Position> walk;
  for (;;) {
    uint32_t ended = 2;
    EXPECT_EQ(edct_DctItHasEnded(iterator, &ended), 0u);
    if (ended) break;
    const char16_t *key = nullptr;
    const EDCT_ENTRY *entries = nullptr;
    uint32_t count = 0, newSection = 2;
    EXPECT_EQ(edct_DctItCurrent(iterator, &key, &entries, &count, &newSection), 0u);
    Position position{key, {}, newSection};
    for (uint32_t i = 0; i < count; ++i)
      position.data.emplace_back(static_cast<const char *>(entries[i].Data), entries[i].DataSize);
    walk.push_back(position);
    EXPECT_EQ(edct_DctItIncrement(iterator), 0u);
    if (walk.size() > 10000) break;
  }
  EXPECT_EQ(edct_DctItIncrement(iterator), kEnded);
  EXPECT_EQ(edct_DctItClose(iterator), 0u);
  return walk;
}

TEST(Iterator, WalksSubDictionariesThenKeys) {
  Writable dictionary;
  Entry first, second;
  second.language = "de";
  first.data = "b";
  ASSERT_EQ(Add(dictionary, u"b", {first}), 0u);
  first.data = "a1";
  ASSERT_EQ(Add(dictionary, u"a", {first}), 0u);
  first.data = "a2";
  ASSERT_EQ(Add(dictionary, u"a", {first}), 0u);
  second.data = "A";
  ASSERT_EQ(Add(dictionary, u"a", {second}), 0u);
  Entry empty;
  empty.engine = "none";
  ASSERT_EQ(Add(dictionary, u"gone", {empty}), 0u);
  ASSERT_EQ(edct_DctRemoveEntry(dictionary, u"gone"), 0u);
  ASSERT_EQ(Add(dictionary, u"c", {second}), 0u);
  const std::vector<Position> expected = {
      {u"a", {"a2", "a1"}, 1}, {u"b", {"b"}, 0}, {u"a", {"A"}, 1}, {u"c", {"A"}, 0}};
  EXPECT_EQ(Walk(dictionary), expected);
  // The read-only view of its image walks the same way.
  const Image image = Archive(dictionary);
  SafeHandle view;
  ASSERT_EQ(Open(image.data(), EDCT_OPEN_READONLY, &view), 0u);
  EXPECT_EQ(Walk(view), expected);
  EXPECT_EQ(edct_DctClose(view), 0u);
}

TEST(Iterator, EmptyDictionariesHaveEndedAtOnce) {
  Writable dictionary;
  for (int round = 0; round < 2; ++round) {
    SafeHandle iterator;
    ASSERT_EQ(edct_DctItOpen(g_vqNullHandle, dictionary, &iterator), 0u);
    uint32_t ended = 0, count = 9;
    EXPECT_EQ(edct_DctItHasEnded(iterator, &ended), 0u);
    EXPECT_EQ(ended, 1u);
    EXPECT_EQ(edct_DctItCurrent(iterator, nullptr, nullptr, &count, nullptr), kEnded);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(edct_DctItReset(iterator), 0u);
    EXPECT_EQ(edct_DctItHasEnded(iterator, &ended), 0u);
    EXPECT_EQ(ended, 1u);
    EXPECT_EQ(edct_DctItClose(iterator), 0u);
    // Second round: only a SubDictionary without keys.
    ASSERT_EQ(Add(dictionary, u"k", "v"), 0u);
    ASSERT_EQ(edct_DctRemoveEntry(dictionary, u"k"), 0u);
  }
}

TEST(Iterator, PositionsAreBuiltOnce) {
  Writable dictionary;
  ASSERT_EQ(Add(dictionary, u"k", {Entry{}, Entry{}, Entry{}}), 0u);
  ASSERT_EQ(Add(dictionary, u"l", "x"), 0u);
  SafeHandle iterator;
  ASSERT_EQ(edct_DctItOpen(g_vqNullHandle, dictionary, &iterator), 0u);
  // Only the count: nothing is allocated.
  const int64_t live = sc::testing::LiveBlocks();
  uint32_t count = 0, newSection = 0;
  ASSERT_EQ(edct_DctItCurrent(iterator, nullptr, nullptr, &count, &newSection), 0u);
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(newSection, 1u);
  EXPECT_EQ(sc::testing::LiveBlocks(), live);
  // Built already: the key and entries asked for now stay null.
  const char16_t *key = u"x";
  const EDCT_ENTRY *entries = nullptr;
  ASSERT_EQ(edct_DctItCurrent(iterator, &key, &entries, &count, &newSection), 0u);
  EXPECT_EQ(key, nullptr);
  EXPECT_EQ(entries, nullptr);
  EXPECT_EQ(newSection, 0u);
  ASSERT_EQ(edct_DctItIncrement(iterator), 0u);
  const char16_t *again = nullptr;
  ASSERT_EQ(edct_DctItCurrent(iterator, &key, &entries, &count, nullptr), 0u);
  ASSERT_EQ(edct_DctItCurrent(iterator, &again, nullptr, nullptr, nullptr), 0u);
  EXPECT_EQ(again, key);  // the same pointers at the same position
  EXPECT_EQ(std::u16string(key), u"l");
  ASSERT_EQ(edct_DctItIncrement(iterator), 0u);
  uint32_t ended = 0;
  EXPECT_EQ(edct_DctItHasEnded(iterator, &ended), 0u);
  EXPECT_EQ(ended, 1u);
  EXPECT_EQ(edct_DctItIncrement(iterator), kEnded);
  ASSERT_EQ(edct_DctItReset(iterator), 0u);
  ASSERT_EQ(edct_DctItCurrent(iterator, &key, nullptr, nullptr, &newSection), 0u);
  EXPECT_EQ(std::u16string(key), u"k");
  EXPECT_EQ(newSection, 1u);
  EXPECT_EQ(edct_DctItHasEnded(iterator, nullptr), kNullPointer);
  EXPECT_EQ(edct_DctItClose(iterator), 0u);
  EXPECT_EQ(edct_DctItClose(iterator), 0x80010189u);  // stale
}

TEST(Iterator, OpenIteratorsFreezeTheDictionary) {
  Writable dictionary;
  ASSERT_EQ(Add(dictionary, u"k", "v"), 0u);
  SafeHandle first, second;
  ASSERT_EQ(edct_DctItOpen(g_vqNullHandle, dictionary, &first), 0u);
  ASSERT_EQ(edct_DctItOpen(g_vqNullHandle, dictionary, &second), 0u);
  EXPECT_EQ(Add(dictionary, u"l", "w"), kIteratorOpen);
  EXPECT_EQ(edct_DctRemoveEntry(dictionary, u"k"), kIteratorOpen);
  EXPECT_EQ(edct_DctClose(dictionary), kIteratorOpen);
  // Reading, info and archiving go on.
  EXPECT_EQ(Lookup(dictionary, u"k"), std::vector<std::string>{"v"});
  const EDCT_INFO info{u"n", nullptr, 0, 0};
  EXPECT_EQ(edct_DctSetInfo(dictionary, &info), 0u);
  EXPECT_EQ(Archive(dictionary).size, 106u);  // Name "n", one key "k" with "v"
  EXPECT_EQ(edct_DctItClose(first), 0u);
  EXPECT_EQ(Add(dictionary, u"l", "w"), kIteratorOpen);
  EXPECT_EQ(edct_DctItClose(second), 0u);
  EXPECT_EQ(Add(dictionary, u"l", "w"), 0u);
  // A read-only dictionary cannot be closed under its iterators either.
  SafeHandle view, iterator;
  ASSERT_EQ(Open(kWorkedExample, EDCT_OPEN_READONLY, &view), 0u);
  ASSERT_EQ(edct_DctItOpen(g_vqNullHandle, view, &iterator), 0u);
  EXPECT_EQ(edct_DctClose(view), kIteratorOpen);
  EXPECT_EQ(edct_DctItClose(iterator), 0u);
  EXPECT_EQ(edct_DctClose(view), 0u);
}

TEST(Iterator, ReadOnlyKeysPointIntoTheImageOrAreDecoded) {
  SafeHandle view, iterator;
  ASSERT_EQ(Open(kWorkedExample, EDCT_OPEN_READONLY, &view), 0u);
  ASSERT_EQ(edct_DctItOpen(g_vqNullHandle, view, &iterator), 0u);
  const char16_t *key = nullptr;
  const EDCT_ENTRY *entries = nullptr;
  uint32_t count = 0;
  ASSERT_EQ(edct_DctItIncrement(iterator), 0u);
  ASSERT_EQ(edct_DctItCurrent(iterator, &key, &entries, &count, nullptr), 0u);
  EXPECT_EQ(std::u16string(key), u"b");  // decoded from UTF-8
  ASSERT_EQ(count, 2u);
  EXPECT_EQ(entries[0].Data, kWorkedExample + 118);
  EXPECT_EQ(entries[1].Data, kWorkedExample + 122);
  EXPECT_EQ(edct_DctItClose(iterator), 0u);
  EXPECT_EQ(edct_DctClose(view), 0u);

  Writable dictionary;
  ASSERT_EQ(Add(dictionary, u"\u4e00", "cjk"), 0u);
  const Image image = Archive(dictionary);
  ASSERT_EQ(Open(image.data(), EDCT_OPEN_READONLY, &view), 0u);
  ASSERT_EQ(edct_DctItOpen(g_vqNullHandle, view, &iterator), 0u);
  ASSERT_EQ(edct_DctItCurrent(iterator, &key, nullptr, nullptr, nullptr), 0u);
  // In place: after the 32 bytes before the section, its header and the key table.
  EXPECT_EQ(reinterpret_cast<const unsigned char *>(key), image.data() + 32 + 48 + 8);
  EXPECT_EQ(edct_DctItClose(iterator), 0u);
  EXPECT_EQ(edct_DctClose(view), 0u);
}

TEST(Iterator, OutOfMemoryLeavesThePosition) {
  Writable dictionary;
  Entry entry;
  entry.language = "de";
  entry.data = "d";
  ASSERT_EQ(Add(dictionary, u"k", {entry, entry}), 0u);
  SafeHandle iterator{};
  FailEachAllocation([&] { return edct_DctItOpen(g_vqNullHandle, dictionary, &iterator); },
                     [&] {
                       EXPECT_EQ(iterator.pointer, nullptr);
                       EXPECT_EQ(Add(dictionary, u"l", "x"), 0u);  // nothing still counted
                       EXPECT_EQ(edct_DctRemoveEntry(dictionary, u"l"), 0u);
                     },
                     kAnyOutOfMemory);
  const char16_t *key = nullptr;
  const EDCT_ENTRY *entries = nullptr;
  uint32_t count = 0;
  FailEachAllocation([&] { return edct_DctItCurrent(iterator, &key, &entries, &count, nullptr); },
                     [&] {
                       EXPECT_EQ(key, nullptr);
                       EXPECT_EQ(entries, nullptr);
                       EXPECT_EQ(count, 0u);
                     });
  EXPECT_EQ(std::u16string(key), u"k");
  EXPECT_EQ(count, 2u);
  EXPECT_STREQ(entries[1].Language, "de");
  EXPECT_EQ(edct_DctItClose(iterator), 0u);
}

}  // namespace
