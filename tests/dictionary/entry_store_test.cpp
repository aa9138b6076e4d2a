#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "dictionary/entry_store.h"
#include "dictionary/key_tree.h"
#include "foundation/resource.h"
#include "sc_edct.h"
#include "test_util.h"

namespace sc::edct {
namespace {

using Data = std::vector<std::string>;

// A store with the given growth steps, destroyed with the test.
struct Store : EntryStore {
  Store(uint32_t treeGrowth, uint32_t arenaGrowth) : EntryStore{} {
    EXPECT_EQ(EntryStoreInit(this, DefaultResource(), treeGrowth, arenaGrowth), 0u);
  }
  ~Store() { EntryStoreDestroy(this); }
  uint32_t Add(const std::u16string &key, const std::string &data) {
    return EntryStoreAdd(this, key.c_str(), data.data(), static_cast<uint32_t>(data.size()));
  }
  // All records of a key, newest first, each prefixed by its more flag. Only the first call
  // names the key: while a chain is pending the key is not looked at.
  Data Get(const std::u16string &key) {
    Data out;
    pendingLink = kNoLink;
    EntryRecord record{};
    for (const char16_t *asked = key.c_str(); EntryStoreGet(this, asked, &record) == 0;) {
      EXPECT_EQ(std::u16string(record.key), key);
      out.push_back(std::to_string(record.more) +
                    std::string(reinterpret_cast<const char *>(record.data), record.size));
      if (!record.more) break;
      asked = u"\uffff absent";
    }
    EXPECT_EQ(pendingLink, kNoLink);
    return out;
  }
};

// Checks that every key of the subtree lies between the bounds (arena offsets of keys, 0 for
// none), the balance factors and the heights; returns the subtree height.
int CheckSubtree(const Store &store, uint32_t index, uint32_t low, uint32_t high, size_t *count) {
  if (!index) return 0;
  const Node &node = store.pool->At(index);
  const KeyOrder order{store.arena.data};
  EXPECT_TRUE(!low || order.Values(low, node.value) < 0) << "node " << index;
  EXPECT_TRUE(!high || order.Values(node.value, high) < 0) << "node " << index;
  ++*count;
  const int left = CheckSubtree(store, node.left, low, node.value, count);
  const int right = CheckSubtree(store, node.right, node.value, high, count);
  EXPECT_EQ(node.balance, left - right) << "node " << index;
  EXPECT_LE(std::abs(left - right), 1) << "node " << index;
  return 1 + std::max(left, right);
}

void CheckTree(const Store &store, size_t expectedKeys) {
  size_t count = 0;
  const int height = CheckSubtree(store, store.pool->root, 0, 0, &count);
  EXPECT_EQ(count, expectedKeys);
  EXPECT_EQ(KeyTreeHeight(store.pool, store.pool->root), static_cast<uint32_t>(height));
}

TEST(EntryStore, ChainsStandNewestFirstAndRemoveWhole) {
  Store store(2, 8);
  uint32_t count = 0;
  EXPECT_EQ(store.Add(u"key", "one"), kStoreNewKey);
  EXPECT_EQ(store.Add(u"other", "o"), kStoreNewKey);
  // The pool is full: even a key already present takes a node before the search, and the
  // pool moves as it grows.
  EXPECT_EQ(store.Add(u"key", "two"), kStoreChained);
  EXPECT_EQ(store.pool->capacity, 4u);
  EXPECT_EQ(store.Add(u"key", "three!"), kStoreChained);
  EXPECT_EQ(store.Get(u"key"), (Data{"1three!", "1two", "0one"}));
  EXPECT_EQ(EntryStoreRemove(&store, u"key", &count), 0u);
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(store.Get(u"key"), Data{});
  EXPECT_EQ(store.Get(u"other"), Data{"0o"});
  // Empty records, which cannot carry their link in the sign of their length.
  EXPECT_EQ(store.Add(u"e", ""), kStoreNewKey);
  for (const char *data : {"x", "", ""})
    EXPECT_EQ(store.Add(u"e", data), kStoreChained);
  EXPECT_EQ(store.Get(u"e"), (Data{"1", "1", "1x", "0"}));
  EXPECT_EQ(EntryStoreRemove(&store, u"e", &count), 0u);
  EXPECT_EQ(count, 4u);
}

// Ascending keys first (rotations one way only), then random additions and removals over an
// alphabet of capitals, small letters and wide units, ordered as code units, with runs of
// ascending keys and removals of the largest among them.
TEST(EntryStore, InsertionsAndRemovalsKeepTheTreeValidAndOrdered) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  Store store(64, 256);  // small steps, so the pool and the arena grow many times
  std::set<std::u16string> held;
  for (char16_t unit = 0x100; unit < 0x100 + 511; ++unit) {
    ASSERT_EQ(store.Add(std::u16string(1, unit), ""), kStoreNewKey);
    held.insert(std::u16string(1, unit));
  }
  CheckTree(store, 511);
  EXPECT_EQ(KeyTreeHeight(store.pool, store.pool->root), 9u);
  // The arena and the pool grew in whole steps.
  EXPECT_EQ(std::tuple(store.arena.capacity % 256, store.pool->capacity % 64), std::tuple(0u, 0u));
  const char16_t alphabet[] = {u'a', u'b', u'c', u'A', u'B', u'Z', 0xe9, 0x4e00, 0xffff};
  for (int step = 0; step < 4000; ++step) {
    std::u16string key;
    for (int n = random() % 4; n > 0; --n)
      key += alphabet[random() % std::size(alphabet)];
    const bool remove = random() % 3 == 0;
    // Runs of keys beyond every other, some of them removed again, between the random ones.
    if (!remove && step % 400 < 40)
      key = u"\uffff\uffff\uffff" + std::u16string(1, static_cast<char16_t>(0x100 + step));
    if (remove && random() % 4 == 0 && !held.empty()) key = *held.rbegin();
    const uint32_t expected = remove ? (held.erase(key) ? 0u : kStoreAbsent)
                                     : (held.insert(key).second ? kStoreNewKey : kStoreChained);
    uint32_t count = 0;
    ASSERT_EQ(remove ? EntryStoreRemove(&store, key.c_str(), &count) : store.Add(key, "d"),
              expected);
    CheckTree(store, held.size());
    if (HasFailure()) FAIL() << "step " << step;
  }
}

TEST(EntryStore, GrowthFailuresLeaveTheStoreAsItWas) {
  Store store(2, 8);
  const sctest::AllocationFailureGuard guard;
  int refused = 0;
  for (int i = 0; i < 40; ++i) {
    const std::u16string key = u"key" + std::u16string(1, static_cast<char16_t>(u'a' + i % 20));
    const Data before = store.Get(key);
    const uint32_t bytes = store.arena.count;
    refused += sctest::ForEachAllocationFailure(
        [&] {
          const uint32_t added = store.Add(key, std::string(i, 'x'));
          return added == (before.empty() ? kStoreNewKey : kStoreChained) ? 0 : added;
        },
        EDCT_E_OUT_OF_MEMORY,
        [&] {
          EXPECT_EQ(store.arena.count, bytes);
          EXPECT_EQ(store.Get(key), before);
        });
  }
  EXPECT_GT(refused, 10);  // failures of both the arena and the pool
  CheckTree(store, 20);
}

}  // namespace
}  // namespace sc::edct
