#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "edct_test_util.h"
#include "foundation/alloc.h"
#include "speechcommon.h"

namespace {

using namespace edct_test;

using Position = std::tuple<std::u16string, Data, uint32_t>;  // key, entries, new section

// Walks the whole dictionary with a fresh iterator.
std::vector<Position> Walk(SafeHandle dictionary) {
  SafeHandle iterator;
  EXPECT_EQ(edct_DctItOpen(g_vqNullHandle, dictionary, &iterator), 0u);
  std::vector<Position> walk;
  for (uint32_t ended = 2; edct_DctItHasEnded(iterator, &ended) == 0 && !ended;) {
    const char16_t *key = nullptr;
    const EDCT_ENTRY *entries = nullptr;
    uint32_t count = 0, newSection = 2;
    EXPECT_EQ(edct_DctItCurrent(iterator, &key, &entries, &count, &newSection), 0u);
    Data data;
    for (uint32_t i = 0; i < count; ++i)
      data.emplace_back(static_cast<const char *>(entries[i].Data), entries[i].DataSize);
    walk.emplace_back(key, data, newSection);
    EXPECT_EQ(edct_DctItIncrement(iterator), 0u);
    if (walk.size() > 10000) break;
  }
  EXPECT_EQ(edct_DctItIncrement(iterator), EDCT_E_ITERATOR_ENDED);
  EXPECT_EQ(edct_DctItClose(iterator), 0u);
  return walk;
}

// SubDictionary by SubDictionary, keys ascending, a SubDictionary without keys skipped; the
// read-only view of the image walks the same way. Empty dictionaries have ended at once.
TEST(Iterator, WalksSubDictionariesThenKeys) {
  Writable dictionary, none;
  Entry german{.language = "de", .data = "A"}, gone{.engine = "none"}, last{.engine = "x"};
  for (const auto &[key, data] :
       {std::pair(u"b", "b"), std::pair(u"a", "a1"), std::pair(u"a", "a2")})
    ASSERT_EQ(Add(dictionary, key, data), 0u);
  ASSERT_EQ(Add(dictionary, u"a", {german}), 0u);
  ASSERT_EQ(Add(dictionary, u"gone", {gone}), 0u);
  ASSERT_EQ(edct_DctRemoveEntry(dictionary, u"gone"), 0u);
  ASSERT_EQ(Add(dictionary, u"c", {german, last}), 0u);
  const std::vector<Position> expected = {{u"a", {"a2", "a1"}, 1},
                                          {u"b", {"b"}, 0},
                                          {u"a", {"A"}, 1},
                                          {u"c", {"A"}, 0},
                                          {u"c", {""}, 1}};
  EXPECT_EQ(Walk(dictionary), expected);
  const Image image = Archive(dictionary);
  Opened view(image.data(), EDCT_OPEN_READONLY);
  EXPECT_EQ(Walk(view), expected);
  ASSERT_EQ(Add(none, u"k", "v"), 0u);
  ASSERT_EQ(edct_DctRemoveEntry(none, u"k"), 0u);
  EXPECT_EQ(Walk(none), std::vector<Position>{});
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
  EXPECT_EQ(std::tuple(count, newSection, sc::testing::LiveBlocks()), std::tuple(3u, 1u, live));
  // Built already: the key and entries asked for now stay null.
  const char16_t *key = u"x", *again = nullptr;
  const EDCT_ENTRY *entries = nullptr;
  ASSERT_EQ(edct_DctItCurrent(iterator, &key, &entries, &count, &newSection), 0u);
  EXPECT_EQ(std::tuple(key, entries, newSection), std::tuple(nullptr, nullptr, 0u));
  ASSERT_EQ(edct_DctItIncrement(iterator), 0u);
  ASSERT_EQ(edct_DctItCurrent(iterator, &key, &entries, &count, nullptr), 0u);
  ASSERT_EQ(edct_DctItCurrent(iterator, &again, nullptr, nullptr, nullptr), 0u);
  EXPECT_EQ(std::tuple(again, std::u16string(key)), std::tuple(key, u"l"));  // the same pointers
  ASSERT_EQ(edct_DctItIncrement(iterator), 0u);
  count = 9;
  EXPECT_EQ(edct_DctItCurrent(iterator, &key, nullptr, &count, nullptr), EDCT_E_ITERATOR_ENDED);
  EXPECT_EQ(std::tuple(key, count), std::tuple(nullptr, 0u));
  ASSERT_EQ(edct_DctItReset(iterator), 0u);
  ASSERT_EQ(edct_DctItCurrent(iterator, &key, nullptr, nullptr, &newSection), 0u);
  EXPECT_EQ(std::tuple(std::u16string(key), newSection), std::tuple(u"k", 1u));
  EXPECT_EQ(edct_DctItClose(iterator), 0u);
}

TEST(Iterator, OpenIteratorsFreezeTheDictionary) {
  Writable dictionary;
  ASSERT_EQ(Add(dictionary, u"k", "v"), 0u);
  SafeHandle first, second;
  ASSERT_EQ(edct_DctItOpen(g_vqNullHandle, dictionary, &first), 0u);
  ASSERT_EQ(edct_DctItOpen(g_vqNullHandle, dictionary, &second), 0u);
  for (uint32_t refused : {Add(dictionary, u"l", "w"), edct_DctRemoveEntry(dictionary, u"k"),
                           edct_DctClose(dictionary)})
    EXPECT_EQ(refused, EDCT_E_ITERATOR_OPEN);
  // Reading and info go on.
  EXPECT_EQ(Lookup(dictionary, u"k"), Data{"v"});
  const EDCT_INFO info{u"n", nullptr, 0, 0};
  EXPECT_EQ(edct_DctSetInfo(dictionary, &info), 0u);
  EXPECT_EQ(edct_DctItClose(first), 0u);
  EXPECT_EQ(Add(dictionary, u"l", "w"), EDCT_E_ITERATOR_OPEN);
  EXPECT_EQ(edct_DctItClose(second), 0u);
  EXPECT_EQ(Add(dictionary, u"l", "w"), 0u);
  // A read-only dictionary cannot be closed under its iterators either. Its whole UTF-16
  // keys are handed out where they stand: after the 32 bytes before the section, its header
  // and the key table.
  Writable wide;
  ASSERT_EQ(Add(wide, u"\u4e00", "cjk"), 0u);
  const Image image = Archive(wide);
  SafeHandle view, iterator;
  const char16_t *key = nullptr;
  ASSERT_EQ(Open(image.data(), EDCT_OPEN_READONLY, &view), 0u);
  ASSERT_EQ(edct_DctItOpen(g_vqNullHandle, view, &iterator), 0u);
  EXPECT_EQ(edct_DctClose(view), EDCT_E_ITERATOR_OPEN);
  ASSERT_EQ(edct_DctItCurrent(iterator, &key, nullptr, nullptr, nullptr), 0u);
  EXPECT_EQ(reinterpret_cast<const unsigned char *>(key), image.data() + 32 + 48 + 8);
  EXPECT_EQ(edct_DctItClose(iterator), 0u);
  EXPECT_EQ(edct_DctClose(view), 0u);
}

}  // namespace
