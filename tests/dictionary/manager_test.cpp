#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "dictionary/dictionary.h"
#include "edct_test_util.h"
#include "speechcommon.h"

namespace {

using namespace edct_test;

struct Manager {
  SafeHandle handle{};
  Manager() { EXPECT_EQ(edct_DctMgrOpen(g_vqNullHandle, &handle), 0u); }
  ~Manager() { EXPECT_EQ(handle.pointer ? edct_DctMgrClose(handle) : 0u, 0u); }
  operator SafeHandle() const { return handle; }
  void Close() { EXPECT_EQ(edct_DctMgrClose(std::exchange(handle, SafeHandle{})), 0u); }
};

// Who answers a key through the manager (null: nobody), and with what.
using Answer = std::pair<void *, Data>;

Answer Ask(SafeHandle manager, const std::u16string &key, const EDCT_FILTER *filter = nullptr) {
  EDCT_ENTRY *entries = nullptr;
  uint32_t count = 0;
  SafeHandle from{};
  const uint32_t result =
      edct_DctMgrGetEntryData(manager, key.c_str(), filter, &entries, &count, &from);
  EXPECT_EQ(std::tuple(result, from.check),
            from.pointer ? std::tuple(0u, EDCT_DCT_TAG) : std::tuple(EDCT_E_NOT_FOUND, 0u));
  Data data;
  for (uint32_t i = 0; i < count; ++i)
    data.emplace_back(static_cast<const char *>(entries[i].Data), entries[i].DataSize);
  EXPECT_EQ(edct_DctFreeEntryData(from, entries, count), 0u);
  return {from.pointer, data};
}

std::vector<void *> Registered(SafeHandle manager) {
  uint32_t count = 0;
  EXPECT_EQ(edct_DctMgrGetRegisteredDcts(manager, nullptr, &count), 0u);
  std::vector<SafeHandle> handles(count);
  EXPECT_EQ(edct_DctMgrGetRegisteredDcts(manager, handles.data(), &count), 0u);
  std::vector<void *> pointers;
  for (const SafeHandle &handle : handles)
    pointers.push_back(handle.pointer);
  return pointers;
}

TEST(Manager, PriorityOrderPromotionAndFilters) {
  Writable a, b, c;
  Entry german{.language = "de", .data = "from a"}, french{.language = "fr", .data = "fr"};
  ASSERT_EQ(Add(a, u"both", {german}), 0u);
  ASSERT_EQ(Add(b, u"both", {french}), 0u);
  ASSERT_EQ(Add(b, u"only b", "b"), 0u);
  Manager manager;
  EXPECT_EQ(Ask(manager, u"both"), Answer());  // empty manager
  ASSERT_EQ(edct_DctMgrRegisterDct(manager, a, 0), 0u);
  ASSERT_EQ(edct_DctMgrRegisterDct(manager, b, 0), 0u);
  void *const pa = a.handle().pointer, *const pb = b.handle().pointer,
              *const pc = c.handle().pointer;
  EXPECT_EQ(Registered(manager), (std::vector<void *>{pa, pb}));
  EXPECT_EQ(Ask(manager, u"both"), Answer(pa, {"from a"}));
  EXPECT_EQ(Ask(manager, u"only b"), Answer(pb, {"b"}));
  // A filter lets a lower dictionary answer.
  EDCT_FILTER filter{0xFFFFFFFFu, 0xFFFFFFFFu, "fr", nullptr, nullptr};
  EXPECT_EQ(Ask(manager, u"both", &filter), Answer(pb, {"fr"}));
  ASSERT_EQ(edct_DctMgrPromoteDct(manager, b), 0u);
  EXPECT_EQ(Ask(manager, u"both"), Answer(pb, {"fr"}));
  ASSERT_EQ(edct_DctMgrRegisterDct(manager, c, 1), 0u);
  EXPECT_EQ(Registered(manager), (std::vector<void *>{pc, pb, pa}));
  SafeHandle handles[3] = {};
  uint32_t count = 2;  // too small an array is left alone
  EXPECT_EQ(edct_DctMgrGetRegisteredDcts(manager, handles, &count), EDCT_E_BUFFER_TOO_SMALL);
  EXPECT_EQ(std::tuple(count, handles[0].pointer), std::tuple(2u, nullptr));
  EXPECT_EQ(edct_DctMgrRegisterDct(manager, a, 1), EDCT_E_ALREADY_REGISTERED);
  ASSERT_EQ(edct_DctMgrUnregisterDct(manager, b), 0u);
  EXPECT_EQ(Registered(manager), (std::vector<void *>{pc, pa}));
  for (uint32_t refused : {edct_DctMgrUnregisterDct(manager, b), edct_DctMgrPromoteDct(manager, b)})
    EXPECT_EQ(refused, EDCT_E_NOT_REGISTERED);
  EXPECT_EQ(edct_DctClose(a), EDCT_E_STILL_REGISTERED);
  EXPECT_EQ(Add(a, u"still", "usable"), 0u);
  // Each manager counts; closing one unregisters what it held.
  Manager second;
  ASSERT_EQ(edct_DctMgrRegisterDct(second, a, 0), 0u);
  manager.Close();
  EXPECT_EQ(edct_DctClose(a), EDCT_E_STILL_REGISTERED);
  second.Close();
}

TEST(Manager, BrokenRegisterCountsAreReported) {
  Writable a;
  auto *dictionary = static_cast<sc::edct::Dictionary *>(a.handle().pointer);
  {
    Manager manager;
    ASSERT_EQ(edct_DctMgrRegisterDct(manager, a, 0), 0u);
    dictionary->registerCount = 0;  // broken behind the manager's back
    EXPECT_EQ(edct_DctMgrClose(manager), EDCT_E_BAD_REGISTER_COUNT);
    EXPECT_EQ(edct_DctMgrUnregisterDct(manager, a), EDCT_E_BAD_REGISTER_COUNT);
    dictionary->registerCount = -1;
    EXPECT_EQ(edct_DctClose(a), EDCT_E_BAD_REGISTER_COUNT);
    dictionary->registerCount = 1;
  }
  EXPECT_EQ(dictionary->registerCount, 0);
}

// Readers always get an answer from some registered dictionary, with that dictionary's own
// data (its address), while the list changes under them; each dictionary promoted is read
// before it goes.
TEST(ManagerThreads, LookupsWhileAnotherThreadRegistersAndPromotes) {
  Writable dictionaries[4];
  for (const Writable &dictionary : dictionaries)
    ASSERT_EQ(Add(dictionary, u"shared", std::to_string(uintptr_t(dictionary.handle().pointer))),
              0u);
  Manager manager;
  ASSERT_EQ(edct_DctMgrRegisterDct(manager, dictionaries[0], 0), 0u);
  std::atomic<bool> stop{false};
  std::atomic<int> wrong{0};
  std::atomic<void *> answered{nullptr};
  std::vector<std::thread> readers;
  for (int t = 0; t < 3; ++t) {
    readers.emplace_back([&] {
      while (!stop) {
        const auto [from, data] = Ask(manager, u"shared");
        if (!from || data != Data{std::to_string(uintptr_t(from))}) ++wrong;
        answered = from;
      }
    });
  }
  for (int round = 0; round < 90; ++round) {
    const SafeHandle dictionary = dictionaries[1 + round % 3];
    EXPECT_EQ(edct_DctMgrRegisterDct(manager, dictionary, round % 2), 0u);
    EXPECT_EQ(edct_DctClose(dictionary), EDCT_E_STILL_REGISTERED);  // refused, leaving it unlocked
    EXPECT_EQ(edct_DctMgrPromoteDct(manager, dictionary), 0u);
    while (answered != dictionary.pointer)  // a reader has looked into it
      std::this_thread::yield();
    EXPECT_EQ(edct_DctMgrUnregisterDct(manager, dictionary), 0u);
  }
  stop = true;
  for (std::thread &reader : readers)
    reader.join();
  EXPECT_EQ(wrong.load(), 0);
}

}  // namespace
