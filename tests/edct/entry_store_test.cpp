#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "core/edctspi/codes.h"
#include "core/edctspi/entry_store.h"
#include "foundation/alloc.h"
#include "foundation/resource.h"

namespace sc::edct {
namespace {

// A store with the given growth steps, destroyed with the test.
class Store {
 public:
  explicit Store(uint32_t treeGrowth = 10000, uint32_t arenaGrowth = 50000) {
    EXPECT_EQ(EntryStoreInit(&store_, DefaultResource(), treeGrowth, arenaGrowth), 0u);
  }
  ~Store() { EntryStoreDestroy(&store_); }
  EntryStore *operator->() { return &store_; }
  EntryStore *get() { return &store_; }

  uint32_t Add(const std::u16string &key, const std::string &data) {
    return EntryStoreAdd(&store_, key.c_str(), data.data(), static_cast<uint32_t>(data.size()));
  }
  // All records of a key, newest first; empty when the key is absent.
  std::vector<std::string> Get(const std::u16string &key) {
    std::vector<std::string> out;
    store_.pendingLink = kNoLink;
    EntryRecord record{};
    do {
      if (EntryStoreGet(&store_, key.c_str(), &record) != 0) return out;
      EXPECT_EQ(std::u16string(record.key), key);
      out.emplace_back(reinterpret_cast<const char *>(record.data), record.size);
    } while (record.more);
    return out;
  }
  // Every key in cursor order.
  std::vector<std::u16string> Keys() {
    std::vector<std::u16string> keys;
    StoreCursor cursor;
    for (StoreCursorOpen(&cursor, &store_); !StoreCursorEnded(&cursor);
         StoreCursorAdvance(&cursor)) {
      EntryRecord record;
      StoreCursorCurrent(&cursor, &record);
      keys.emplace_back(record.key);
      while (record.more)
        StoreCursorCurrent(&cursor, &record);
    }
    return keys;
  }

 private:
  EntryStore store_{};
};

// Checks order, balance factors and heights of the whole tree; returns the subtree height.
int CheckSubtree(const NodePool *pool, const KeyOrder &order, uint32_t index, uint32_t *count) {
  if (!index) return 0;
  const Node &node = pool->At(index);
  ++*count;
  if (node.left) {
    EXPECT_LT(order.Values(pool->At(node.left).value, node.value), 0);
  }
  if (node.right) {
    EXPECT_GT(order.Values(pool->At(node.right).value, node.value), 0);
  }
  const int left = CheckSubtree(pool, order, node.left, count);
  const int right = CheckSubtree(pool, order, node.right, count);
  EXPECT_EQ(node.balance, left - right) << "node " << index;
  EXPECT_LE(std::abs(left - right), 1) << "node " << index;
  return 1 + std::max(left, right);
}

void CheckTree(EntryStore *store, size_t expectedKeys) {
  uint32_t count = 0;
  const int height =
      CheckSubtree(store->pool, KeyOrder{store->arena.data}, store->pool->root, &count);
  EXPECT_EQ(count, expectedKeys);
  EXPECT_EQ(KeyTreeHeight(store->pool, store->pool->root), static_cast<uint32_t>(height));
}

TEST(EntryStore, KeysWalkInCodeUnitOrder) {
  Store store;
  for (const char16_t *key : {u"a", u"B", u"b", u"A", u"\u00e9", u"ab", u""})
    EXPECT_EQ(store.Add(key, "x"), kStoreNewKey);
  const std::vector<std::u16string> expected = {u"", u"A", u"B", u"a", u"ab", u"b", u"\u00e9"};
  EXPECT_EQ(store.Keys(), expected);
}

TEST(EntryStore, ChainsStandNewestFirstAndRemoveWhole) {
  Store store;
  EntryRecord record;
  uint32_t count = 7;
  EXPECT_EQ(EntryStoreGet(store.get(), u"key", &record), kStoreAbsent);
  EXPECT_EQ(EntryStoreRemove(store.get(), u"key", &count), kStoreAbsent);
  EXPECT_EQ(count, 0u);
  EXPECT_TRUE(store.Keys().empty());
  EXPECT_EQ(store.Add(u"key", "one"), kStoreNewKey);
  EXPECT_EQ(store.Add(u"other", "o"), kStoreNewKey);
  EXPECT_EQ(store.Add(u"key", "two"), kStoreChained);
  EXPECT_EQ(store.Add(u"key", "three!"), kStoreChained);
  EXPECT_EQ(store.Get(u"key"), (std::vector<std::string>{"three!", "two", "one"}));

  // The more flags, and that the key argument is not looked at while a chain is pending.
  store->pendingLink = kNoLink;
  std::vector<uint32_t> more;
  ASSERT_EQ(EntryStoreGet(store.get(), u"key", &record), 0u);
  more.push_back(record.more);
  while (record.more) {
    ASSERT_EQ(EntryStoreGet(store.get(), u"absent", &record), 0u);
    more.push_back(record.more);
  }
  EXPECT_EQ(more, (std::vector<uint32_t>{1, 1, 0}));
  EXPECT_EQ(store->pendingLink, kNoLink);

  EXPECT_EQ(EntryStoreRemove(store.get(), u"key", &count), 0u);
  EXPECT_EQ(count, 3u);
  EXPECT_TRUE(store.Get(u"key").empty());
  EXPECT_EQ(store.Get(u"other"), std::vector<std::string>{"o"});

  // Added again, the key starts a new chain; the old records are out of reach.
  EXPECT_EQ(store.Add(u"key", "four"), kStoreNewKey);
  EXPECT_EQ(store.Get(u"key"), std::vector<std::string>{"four"});
  EXPECT_EQ(EntryStoreRemove(store.get(), u"key", &count), 0u);
  EXPECT_EQ(count, 1u);
}

TEST(EntryStore, EmptyRecordsKeepTheirChain) {
  Store store;
  EXPECT_EQ(store.Add(u"e", ""), kStoreNewKey);
  EXPECT_EQ(store.Get(u"e"), std::vector<std::string>{""});
  EXPECT_EQ(store.Add(u"e", "x"), kStoreChained);
  EXPECT_EQ(store.Add(u"e", ""), kStoreChained);
  EXPECT_EQ(store.Add(u"e", ""), kStoreChained);
  EXPECT_EQ(store.Get(u"e"), (std::vector<std::string>{"", "", "x", ""}));
  uint32_t count = 0;
  EXPECT_EQ(EntryStoreRemove(store.get(), u"e", &count), 0u);
  EXPECT_EQ(count, 4u);
}

TEST(EntryStore, AscendingInsertionsStayBalanced) {
  Store store;
  for (int i = 0; i < 1023; ++i) {
    char16_t key[3] = {static_cast<char16_t>(0x100 + i / 64), static_cast<char16_t>(i % 64 + 1), 0};
    ASSERT_EQ(store.Add(key, ""), kStoreNewKey);
  }
  CheckTree(store.get(), 1023);
  EXPECT_EQ(KeyTreeHeight(store->pool, store->pool->root), 10u);
}

TEST(EntryStore, RandomInsertionsAndRemovalsKeepTheTreeValid) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  Store store(64, 256);  // small steps, so the pool and the arena grow many times
  std::set<std::u16string> held;
  auto randomKey = [&] {
    std::u16string key;
    for (int n = 1 + random() % 3; n > 0; --n)
      key += static_cast<char16_t>(u'a' + random() % 12);
    return key;
  };
  for (int step = 0; step < 4000; ++step) {
    const std::u16string key = randomKey();
    if (random() % 3 == 0) {
      uint32_t count = 0;
      const uint32_t removed = EntryStoreRemove(store.get(), key.c_str(), &count);
      ASSERT_EQ(removed, held.erase(key) ? 0u : kStoreAbsent) << "step " << step;
    } else {
      const uint32_t added = store.Add(key, "d");
      ASSERT_EQ(added, held.insert(key).second ? kStoreNewKey : kStoreChained) << "step " << step;
    }
    CheckTree(store.get(), held.size());
    if (HasFailure()) FAIL() << "step " << step;
  }
  EXPECT_EQ(store.Keys(), std::vector<std::u16string>(held.begin(), held.end()));
}

TEST(EntryStore, PoolGrowthKeepsIndices) {
  Store store;
  EXPECT_EQ(store->pool->capacity, 10000u);
  for (int i = 0; i < 10000; ++i)
    ASSERT_EQ(store.Add(u"k" + std::u16string(1, static_cast<char16_t>(0x1000 + i)), "v"),
              kStoreNewKey);
  EXPECT_EQ(store->pool->freeHead, 0u);
  const uint32_t root = store->pool->root;
  const uint32_t rootValue = store->pool->At(root).value;
  // Even a key already present takes a node before the search, so the pool grows.
  EXPECT_EQ(store.Add(u"k\u1000", "w"), kStoreChained);
  EXPECT_EQ(store->pool->capacity, 20000u);
  EXPECT_EQ(store->pool->root, root);
  EXPECT_EQ(store->pool->At(root).value, rootValue);
  EXPECT_EQ(store.Get(u"k\u1000"), (std::vector<std::string>{"w", "v"}));
  EXPECT_EQ(store.Get(u"k\u3710"), std::vector<std::string>{});
  EXPECT_EQ(store.Get(u"k\u370f"), std::vector<std::string>{"v"});
  CheckTree(store.get(), 10000);
}

TEST(EntryStore, GrowthFailuresLeaveTheStoreAsItWas) {
  Store store(2, 8);
  int attempt = 0;
  for (int i = 0; i < 40; ++i) {
    const std::u16string key = u"key" + std::u16string(1, static_cast<char16_t>(u'a' + i % 20));
    const std::string data(i, 'x');
    const std::vector<std::string> before = store.Get(key);
    const uint32_t count = store->arena.count;
    for (uint64_t nth = 1;; ++nth) {
      testing::FailNthAllocation(nth);
      const uint32_t added = store.Add(key, data);
      testing::FailNthAllocation(0);
      if (added != code::kNoMemory) {
        ASSERT_EQ(added, before.empty() ? kStoreNewKey : kStoreChained);
        break;
      }
      ++attempt;
      ASSERT_EQ(store->arena.count, count);
      ASSERT_EQ(store.Get(key), before);
    }
  }
  EXPECT_GT(attempt, 10);  // the loop did meet failures of both the arena and the pool
  CheckTree(store.get(), 20);
}

}  // namespace
}  // namespace sc::edct
