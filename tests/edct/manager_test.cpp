#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "core/edctspi/dictionary.h"
#include "edct_test_util.h"
#include "foundation/alloc.h"
#include "speechcommon.h"

namespace {

using namespace edct_test;

constexpr uint32_t kStillRegistered = 0x801E0006u;
constexpr uint32_t kAlreadyRegistered = 0x801E0007u;
constexpr uint32_t kNotRegistered = 0x801E0008u;

class Manager {
 public:
  Manager() { EXPECT_EQ(edct_DctMgrOpen(g_vqNullHandle, &handle_), 0u); }
  ~Manager() {
    if (handle_.pointer) {
      EXPECT_EQ(edct_DctMgrClose(handle_), 0u);
    }
  }
  operator SafeHandle() const { return handle_; }
  void Close() {
    EXPECT_EQ(edct_DctMgrClose(handle_), 0u);
    handle_ = SafeHandle{};
  }

 private:
  SafeHandle handle_{};
};

// Who answers a key through the manager, and with what.
struct Answer {
  void *dictionary = nullptr;
  std::vector<std::string> data;
};

Answer Ask(SafeHandle manager, const std::u16string &key, const EDCT_FILTER *filter = nullptr) {
  EDCT_ENTRY *entries = nullptr;
  uint32_t count = 0;
  SafeHandle from{};
  Answer answer;
  const uint32_t result =
      edct_DctMgrGetEntryData(manager, key.c_str(), filter, &entries, &count, &from);
  if (result) {
    EXPECT_EQ(result, kNotFound);
    EXPECT_EQ(from.pointer, nullptr);
    EXPECT_EQ(from.check, 0u);
    EXPECT_EQ(entries, nullptr);
    return answer;
  }
  EXPECT_EQ(from.check, EDCT_DCT_TAG);
  answer.dictionary = from.pointer;
  for (uint32_t i = 0; i < count; ++i)
    answer.data.emplace_back(static_cast<const char *>(entries[i].Data), entries[i].DataSize);
  EXPECT_EQ(edct_DctFreeEntryData(from, entries, count), 0u);
  return answer;
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

TEST(Manager, PriorityOrderAndPromotion) {
  Writable a, b, c;
  ASSERT_EQ(Add(a, u"both", "from a"), 0u);
  ASSERT_EQ(Add(b, u"both", "from b"), 0u);
  ASSERT_EQ(Add(b, u"only b", "b"), 0u);
  Manager manager;
  EXPECT_EQ(Ask(manager, u"both").dictionary, nullptr);  // empty manager
  ASSERT_EQ(edct_DctMgrRegisterDct(manager, a, 0), 0u);
  ASSERT_EQ(edct_DctMgrRegisterDct(manager, b, 0), 0u);
  EXPECT_EQ(Registered(manager), (std::vector<void *>{a.handle().pointer, b.handle().pointer}));
  EXPECT_EQ(Ask(manager, u"both").data, std::vector<std::string>{"from a"});
  EXPECT_EQ(Ask(manager, u"only b").dictionary, b.handle().pointer);
  EXPECT_EQ(Ask(manager, u"none").dictionary, nullptr);
  ASSERT_EQ(edct_DctMgrPromoteDct(manager, b), 0u);
  EXPECT_EQ(Ask(manager, u"both").data, std::vector<std::string>{"from b"});
  ASSERT_EQ(edct_DctMgrPromoteDct(manager, b), 0u);  // already first
  ASSERT_EQ(edct_DctMgrRegisterDct(manager, c, 1), 0u);
  EXPECT_EQ(Registered(manager),
            (std::vector<void *>{c.handle().pointer, b.handle().pointer, a.handle().pointer}));
  EXPECT_EQ(edct_DctMgrRegisterDct(manager, a, 1), kAlreadyRegistered);
  ASSERT_EQ(edct_DctMgrUnregisterDct(manager, b), 0u);
  EXPECT_EQ(Registered(manager), (std::vector<void *>{c.handle().pointer, a.handle().pointer}));
  EXPECT_EQ(edct_DctMgrUnregisterDct(manager, b), kNotRegistered);
  EXPECT_EQ(edct_DctMgrPromoteDct(manager, b), kNotRegistered);
  EXPECT_EQ(Ask(manager, u"both").data, std::vector<std::string>{"from a"});
  EXPECT_EQ(edct_DctClose(a), kStillRegistered);
  EXPECT_EQ(Add(a, u"still", "usable"), 0u);
  manager.Close();
}

TEST(Manager, FiltersLetALowerDictionaryAnswer) {
  Writable a, b;
  Entry german, french;
  german.language = "de";
  german.data = "de";
  french.language = "fr";
  french.data = "fr";
  ASSERT_EQ(Add(a, u"k", {german}), 0u);
  ASSERT_EQ(Add(b, u"k", {french}), 0u);
  Manager manager;
  ASSERT_EQ(edct_DctMgrRegisterDct(manager, a, 0), 0u);
  ASSERT_EQ(edct_DctMgrRegisterDct(manager, b, 0), 0u);
  EDCT_FILTER filter = AnyFilter();
  filter.Language = "fr";
  const Answer answer = Ask(manager, u"k", &filter);
  EXPECT_EQ(answer.dictionary, b.handle().pointer);
  EXPECT_EQ(answer.data, std::vector<std::string>{"fr"});
  filter.Language = "it";
  EXPECT_EQ(Ask(manager, u"k", &filter).dictionary, nullptr);
}

TEST(Manager, TwoManagersAndTheirCloses) {
  SafeHandle a;
  ASSERT_EQ(Open(nullptr, EDCT_OPEN_WRITABLE, &a), 0u);
  Manager first, second;
  ASSERT_EQ(edct_DctMgrRegisterDct(first, a, 0), 0u);
  ASSERT_EQ(edct_DctMgrRegisterDct(second, a, 0), 0u);
  EXPECT_EQ(edct_DctClose(a), kStillRegistered);
  ASSERT_EQ(edct_DctMgrUnregisterDct(first, a), 0u);
  EXPECT_EQ(edct_DctClose(a), kStillRegistered);
  second.Close();  // closing a manager unregisters what it held
  EXPECT_EQ(edct_DctClose(a), 0u);
  EXPECT_EQ(edct_DctMgrRegisterDct(first, a, 0), 0x80010189u);  // a stale dictionary
}

TEST(Manager, ArgumentsAndArrays) {
  Writable a, b;
  Manager manager;
  ASSERT_EQ(edct_DctMgrRegisterDct(manager, a, 0), 0u);
  ASSERT_EQ(edct_DctMgrRegisterDct(manager, b, 0), 0u);
  SafeHandle handles[2] = {};
  uint32_t count = 1;
  EXPECT_EQ(edct_DctMgrGetRegisteredDcts(manager, handles, &count), 0x801E0085u);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(handles[0].pointer, nullptr);
  EXPECT_EQ(edct_DctMgrGetRegisteredDcts(manager, handles, nullptr), kNullPointer);
  count = 2;
  EXPECT_EQ(edct_DctMgrGetRegisteredDcts(manager, handles, &count), 0u);
  EXPECT_EQ(handles[1].pointer, b.handle().pointer);
  EDCT_ENTRY *entries;
  SafeHandle from;
  EXPECT_EQ(edct_DctMgrGetEntryData(manager, nullptr, nullptr, &entries, &count, &from),
            kNullPointer);
  EXPECT_EQ(edct_DctMgrGetEntryData(manager, u"k", nullptr, &entries, &count, nullptr),
            kNullPointer);
  EXPECT_EQ(edct_DctMgrOpen(g_vqNullHandle, nullptr), kNullPointer);
  EXPECT_EQ(edct_DctMgrRegisterDct(a, b, 0), 0x80170189u);  // a dictionary is no manager
  Writable c;
  const int64_t live = sc::testing::LiveBlocks();
  SafeHandle other{};
  FailEachAllocation([&] { return edct_DctMgrOpen(g_vqNullHandle, &other); },
                     [&] { EXPECT_EQ(other.pointer, nullptr); }, kAnyOutOfMemory);
  FailEachAllocation([&] { return edct_DctMgrRegisterDct(other, c, 0); },
                     [&] { EXPECT_TRUE(Registered(other).empty()); });
  EXPECT_EQ(edct_DctMgrClose(other), 0u);
  EXPECT_EQ(sc::testing::LiveBlocks(), live);
}

TEST(Manager, BrokenRegisterCountsAreReported) {
  Writable a;
  auto *dictionary = static_cast<sc::edct::Dictionary *>(a.handle().pointer);
  {
    Manager manager;
    ASSERT_EQ(edct_DctMgrRegisterDct(manager, a, 0), 0u);
    dictionary->registerCount = 0;  // broken behind the manager's back
    EXPECT_EQ(edct_DctMgrClose(manager), 0x801E000Au);
    EXPECT_EQ(Registered(manager).size(), 1u);  // the manager still works
    EXPECT_EQ(edct_DctMgrUnregisterDct(manager, a), 0x801E000Au);
    dictionary->registerCount = -1;
    EXPECT_EQ(edct_DctClose(a), 0x801E000Au);
    dictionary->registerCount = 1;
  }
  EXPECT_EQ(dictionary->registerCount, 0);
}

TEST(Manager, LookupsWhileAnotherThreadRegistersAndPromotes) {
  constexpr int kDictionaries = 4;
  std::vector<SafeHandle> dictionaries(kDictionaries);
  for (int i = 0; i < kDictionaries; ++i) {
    ASSERT_EQ(Open(nullptr, EDCT_OPEN_WRITABLE, &dictionaries[i]), 0u);
    ASSERT_EQ(Add(dictionaries[i], u"shared", std::to_string(i)), 0u);
    ASSERT_EQ(Add(dictionaries[i], u"own" + std::u16string(1, char16_t(u'0' + i)), "x"), 0u);
  }
  Manager manager;
  ASSERT_EQ(edct_DctMgrRegisterDct(manager, dictionaries[0], 0), 0u);
  std::atomic<bool> stop{false};
  std::atomic<int> wrong{0};
  std::vector<std::thread> readers;
  for (int t = 0; t < 3; ++t) {
    readers.emplace_back([&] {
      while (!stop) {
        const Answer answer = Ask(manager, u"shared");
        // Always some registered dictionary, and the data is that dictionary's own.
        int index = -1;
        for (int i = 0; i < kDictionaries; ++i)
          if (answer.dictionary == dictionaries[i].pointer) index = i;
        if (index < 0 || answer.data != std::vector<std::string>{std::to_string(index)}) ++wrong;
      }
    });
  }
  for (int round = 0; round < 300; ++round) {
    const SafeHandle dictionary = dictionaries[1 + round % (kDictionaries - 1)];
    EXPECT_EQ(edct_DctMgrRegisterDct(manager, dictionary, round % 2), 0u);
    EXPECT_EQ(edct_DctMgrPromoteDct(manager, dictionary), 0u);
    EXPECT_EQ(edct_DctMgrUnregisterDct(manager, dictionary), 0u);
  }
  stop = true;
  for (std::thread &reader : readers)
    reader.join();
  EXPECT_EQ(wrong.load(), 0);
  manager.Close();
  for (SafeHandle dictionary : dictionaries)
    EXPECT_EQ(edct_DctClose(dictionary), 0u);
}

}  // namespace
