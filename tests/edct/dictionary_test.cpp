#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "core/edctspi/dictionary.h"
#include "edct_test_util.h"
#include "foundation/alloc.h"
#include "foundation/resource.h"
#include "speechcommon.h"

namespace {

using namespace edct_test;

struct Recorder {
  struct Call {
    uint32_t action;
    std::u16string key;
    bool withEntry;
  };
  std::vector<Call> calls;
  uint32_t answer = 0;
  SafeHandle seen{};

  static uint32_t Callback(SafeHandle dictionary, uint32_t action, const char16_t *key,
                           const EDCT_ENTRY *entry, void *user) {
    auto *self = static_cast<Recorder *>(user);
    self->seen = dictionary;
    self->calls.push_back({action, key, entry != nullptr});
    return self->answer;
  }
  std::vector<uint32_t> Actions() const {
    std::vector<uint32_t> actions;
    for (const Call &call : calls)
      actions.push_back(call.action);
    return actions;
  }
};

EDCT_INFO Info(SafeHandle dictionary) {
  EDCT_INFO info{};
  EXPECT_EQ(edct_DctGetInfo(dictionary, &info), 0u);
  return info;
}

uint32_t SubDictionaries(SafeHandle dictionary) {
  return sc::edct::CountSubDictionaries(static_cast<sc::edct::Dictionary *>(dictionary.pointer));
}

TEST(Dictionary, EntriesGroupBySixAttributes) {
  Recorder recorder;
  Writable dictionary(Recorder::Callback, &recorder);
  Entry a, b;
  a.engine = "a";
  a.data = "first";
  b.engine = "b";
  b.data = "second";
  ASSERT_EQ(Add(dictionary, u"key", {a, b}), 0u);
  EXPECT_EQ(SubDictionaries(dictionary), 2u);
  EXPECT_EQ(Info(dictionary).NbrKeys, 1u);
  EXPECT_EQ(Info(dictionary).NbrEntries, 2u);
  EXPECT_EQ(recorder.Actions(), (std::vector<uint32_t>{EDCT_NOTIFY_NEWKEY, EDCT_NOTIFY_ADDED}));
  EXPECT_EQ(recorder.seen.pointer, dictionary.handle().pointer);
  EXPECT_EQ(recorder.seen.check, EDCT_DCT_TAG);
  EXPECT_TRUE(recorder.calls[0].withEntry);
  EDCT_FILTER filter = AnyFilter();
  filter.Engine = "b";
  EXPECT_EQ(Lookup(dictionary, u"key", &filter), std::vector<std::string>{"second"});
  // SubDictionaries in creation order.
  EXPECT_EQ(Lookup(dictionary, u"key"), (std::vector<std::string>{"first", "second"}));

  // Every one of the six attributes makes a group of its own; equal ones share one.
  const std::string model1 = ModelBlock("m1"), model2 = ModelBlock("m1 ");
  std::vector<Entry> variants(7);
  variants[1].content = EDCT_CONTENT_USERWORDS;
  variants[2].representation = EDCT_REPR_BINARY;
  variants[3].pos = 4;
  variants[4].language = "de";
  variants[5].model = model1.c_str();
  variants[6].model = model2.c_str();
  for (size_t i = 0; i < variants.size(); ++i)
    variants[i].data = std::to_string(i);
  ASSERT_EQ(Add(dictionary, u"other", variants), 0u);
  EXPECT_EQ(SubDictionaries(dictionary), 2u + 7u);
  Entry again = variants[5];
  const std::string sameModel = model1;  // another copy of the same 128 bytes
  again.model = sameModel.c_str();
  again.data = "again";
  ASSERT_EQ(Add(dictionary, u"other", {again}), 0u);
  EXPECT_EQ(SubDictionaries(dictionary), 9u);
  filter = AnyFilter();
  filter.Model = model1.c_str();
  // A filter's Model selects the SubDictionary with that Model and those without one.
  EXPECT_EQ(Lookup(dictionary, u"other", &filter),
            (std::vector<std::string>{"0", "1", "2", "3", "4", "again", "5"}));
}

TEST(Dictionary, RemoveCountsEverySubDictionary) {
  Recorder recorder;
  Writable dictionary(Recorder::Callback, &recorder);
  Entry plain, german;
  german.language = "de";
  ASSERT_EQ(Add(dictionary, u"both", {plain, plain, german}), 0u);
  ASSERT_EQ(Add(dictionary, u"keep", {german}), 0u);
  ASSERT_EQ(Add(dictionary, u"lone", {plain}), 0u);
  EXPECT_EQ(Info(dictionary).NbrKeys, 3u);
  EXPECT_EQ(Info(dictionary).NbrEntries, 5u);
  recorder.calls.clear();
  EXPECT_EQ(edct_DctRemoveEntry(dictionary, u"both"), 0u);
  EXPECT_EQ(Info(dictionary).NbrKeys, 2u);
  EXPECT_EQ(Info(dictionary).NbrEntries, 2u);
  ASSERT_EQ(recorder.calls.size(), 1u);
  EXPECT_EQ(recorder.calls[0].action, EDCT_NOTIFY_REMOVED);
  EXPECT_EQ(recorder.calls[0].key, u"both");
  EXPECT_FALSE(recorder.calls[0].withEntry);
  EXPECT_EQ(edct_DctRemoveEntry(dictionary, u"both"), kNotFound);
  EXPECT_EQ(recorder.calls.size(), 1u);  // nothing notified for an absent key
  // A SubDictionary that lost its last key stays in the list.
  EXPECT_EQ(edct_DctRemoveEntry(dictionary, u"lone"), 0u);
  EXPECT_EQ(SubDictionaries(dictionary), 2u);
  // Removed and added again: only the new entry is there.
  ASSERT_EQ(Add(dictionary, u"both", "new"), 0u);
  EXPECT_EQ(Lookup(dictionary, u"both"), std::vector<std::string>{"new"});
}

TEST(Dictionary, CallbackErrorsStopAndAreKept) {
  Recorder recorder;
  recorder.answer = 5;
  Writable dictionary(Recorder::Callback, &recorder);
  EXPECT_EQ(Add(dictionary, u"k", {Entry{}, Entry{}}), 0x801E000Cu);
  EXPECT_EQ(recorder.calls.size(), 1u);
  EXPECT_EQ(Info(dictionary).NbrEntries, 1u);  // the entry before the failure stays
  uint32_t error = 0;
  EXPECT_EQ(edct_DctGetCallbackError(dictionary, &error), 0u);
  EXPECT_EQ(error, 5u);
  EXPECT_STREQ(edct_ErrorGetString(0x801E000Cu), "Unknown Error");
  // A failing callback after a removal leaves the removal done.
  EXPECT_EQ(edct_DctRemoveEntry(dictionary, u"k"), 0x801E000Cu);
  EXPECT_TRUE(Lookup(dictionary, u"k").empty());
  EXPECT_EQ(Info(dictionary).NbrKeys, 0u);
  recorder.answer = 0;
  EXPECT_EQ(Add(dictionary, u"k", "ok"), 0u);
  EXPECT_EQ(edct_DctGetCallbackError(dictionary, &error), 0u);
  EXPECT_EQ(error, 0u);
}

TEST(Dictionary, WritableFiltersPassMissingAttributes) {
  Writable dictionary;
  Entry bare, german, french;
  bare.data = "bare";
  german.language = "de";
  german.pos = 3;
  german.data = "de";
  french.language = "fr";
  french.content = EDCT_CONTENT_USERWORDS;
  french.data = "fr";
  ASSERT_EQ(Add(dictionary, u"k", {bare, german, french}), 0u);
  EDCT_FILTER filter = AnyFilter();
  filter.Language = "de";
  EXPECT_EQ(Lookup(dictionary, u"k", &filter), (std::vector<std::string>{"bare", "de"}));
  filter = AnyFilter();
  filter.Content = EDCT_CONTENT_USERWORDS;
  EXPECT_EQ(Lookup(dictionary, u"k", &filter), std::vector<std::string>{"fr"});
  filter = AnyFilter();
  filter.POS = 3;
  EXPECT_EQ(Lookup(dictionary, u"k", &filter), std::vector<std::string>{"de"});
  filter.Language = "fr";
  EXPECT_TRUE(Lookup(dictionary, u"k", &filter).empty());
  // A read-only view of the same entries passes a filter's attribute only to a SubDictionary
  // that has it.
  const Image image = Archive(dictionary);
  SafeHandle view;
  ASSERT_EQ(Open(image.data(), EDCT_OPEN_READONLY, &view), 0u);
  filter = AnyFilter();
  filter.Language = "de";
  EXPECT_EQ(Lookup(view, u"k", &filter), std::vector<std::string>{"de"});
  filter.Language = nullptr;
  filter.POS = 3;
  EXPECT_EQ(Lookup(view, u"k", &filter), std::vector<std::string>{"de"});
  filter = AnyFilter();
  filter.Content = EDCT_CONTENT_USERWORDS;
  EXPECT_EQ(Lookup(view, u"k", &filter), std::vector<std::string>{"fr"});
  filter.Engine = "e";
  EXPECT_TRUE(Lookup(view, u"k", &filter).empty());
  EXPECT_EQ(edct_DctClose(view), 0u);
}

TEST(Dictionary, ReturnedEntriesAreIndependentCopies) {
  Writable dictionary;
  const std::string model = ModelBlock("model");
  Entry entry;
  entry.language = "en-US";
  entry.model = model.c_str();
  entry.engine = "eng";
  entry.data = std::string("d\0ta", 4);
  ASSERT_EQ(Add(dictionary, u"k", {entry}), 0u);
  EDCT_ENTRY *entries = nullptr;
  uint32_t count = 0;
  ASSERT_EQ(edct_DctGetEntryData(dictionary, u"k", nullptr, &entries, &count), 0u);
  ASSERT_EQ(count, 1u);
  EXPECT_STREQ(entries[0].Language, "en-US");
  EXPECT_NE(entries[0].Language, entry.language);
  EXPECT_EQ(std::string(entries[0].Model, 128), model);
  // Language, Model and Engine share one copy, in that order.
  EXPECT_EQ(entries[0].Model, entries[0].Language + 6);
  EXPECT_EQ(entries[0].Engine, entries[0].Model + 128);
  EXPECT_STREQ(entries[0].Engine, "eng");
  EXPECT_EQ(std::string(static_cast<const char *>(entries[0].Data), entries[0].DataSize),
            entry.data);
  // The copies outlive changes of the dictionary.
  ASSERT_EQ(edct_DctRemoveEntry(dictionary, u"k"), 0u);
  EXPECT_STREQ(entries[0].Engine, "eng");
  EXPECT_EQ(edct_DctFreeEntryData(dictionary, entries, count), 0u);
  EXPECT_EQ(edct_DctFreeEntryData(dictionary, nullptr, 0), 0u);
}

TEST(Dictionary, InfoIsCopiedBothWays) {
  Writable dictionary;
  EDCT_INFO info = Info(dictionary);  // new: nothing in it
  EXPECT_EQ(info.Name, nullptr);
  EXPECT_EQ(info.Description, nullptr);
  EXPECT_EQ(info.NbrKeys + info.NbrEntries, 0u);
  std::u16string name = u"Name", description = u"Description";
  EDCT_INFO given{name.c_str(), description.c_str(), 99, 99};
  ASSERT_EQ(edct_DctSetInfo(dictionary, &given), 0u);
  name[0] = u'X';  // the dictionary holds its own copy
  info = Info(dictionary);
  EXPECT_EQ(std::u16string(info.Name), u"Name");
  EXPECT_EQ(std::u16string(info.Description), u"Description");
  EXPECT_EQ(info.NbrKeys, 0u);  // the counts given are not looked at
  EDCT_INFO second = Info(dictionary);
  EXPECT_NE(second.Name, info.Name);  // each call hands out new copies
  EXPECT_EQ(edct_DctFreeInfo(dictionary, &info), 0u);
  EXPECT_EQ(edct_DctFreeInfo(dictionary, &second), 0u);
  const EDCT_INFO cleared{nullptr, nullptr, 0, 0};
  ASSERT_EQ(edct_DctSetInfo(dictionary, &cleared), 0u);
  ASSERT_EQ(Add(dictionary, u"k", "v"), 0u);
  info = Info(dictionary);
  EXPECT_EQ(info.Name, nullptr);
  EXPECT_EQ(info.Description, nullptr);
  EXPECT_EQ(info.NbrKeys, 1u);
  EXPECT_EQ(info.NbrEntries, 1u);
  EXPECT_EQ(edct_DctFreeInfo(dictionary, &info), 0u);
}

TEST(Dictionary, BadArgumentsAndHandles) {
  Writable dictionary;
  EDCT_ENTRY *entries = nullptr;
  uint32_t count = 0;
  const EDCT_ENTRY entry = Entry{}.Get();
  EXPECT_EQ(edct_DctAddEntry(dictionary, nullptr, &entry, 1), kNullPointer);
  EXPECT_EQ(edct_DctAddEntry(dictionary, u"k", nullptr, 1), kNullPointer);
  EDCT_ENTRY noData = entry;
  noData.Data = nullptr;
  noData.DataSize = 3;
  EXPECT_EQ(edct_DctAddEntry(dictionary, u"k", &noData, 1), kNullPointer);
  EXPECT_EQ(edct_DctRemoveEntry(dictionary, nullptr), kNullPointer);
  EXPECT_EQ(edct_DctGetEntryData(dictionary, nullptr, nullptr, &entries, &count), kNullPointer);
  EXPECT_EQ(edct_DctGetEntryData(dictionary, u"k", nullptr, nullptr, &count), kNullPointer);
  EXPECT_EQ(edct_DctGetEntryData(dictionary, u"k", nullptr, &entries, nullptr), kNullPointer);
  EXPECT_EQ(edct_DctFreeEntryData(dictionary, nullptr, 1), kNullPointer);
  EXPECT_EQ(edct_DctGetInfo(dictionary, nullptr), kNullPointer);
  EXPECT_EQ(edct_DctFreeInfo(dictionary, nullptr), kNullPointer);
  EXPECT_EQ(edct_DctSetInfo(dictionary, nullptr), kNullPointer);
  EXPECT_EQ(edct_DctGetCallbackError(dictionary, nullptr), kNullPointer);
  const EDCT_ENTRY none{};
  EXPECT_EQ(edct_DctAddEntry(dictionary, u"n", &none, 0), 0u);  // count 0 adds nothing
  EXPECT_EQ(Info(dictionary).NbrEntries, 0u);

  SafeHandle wrong = dictionary.handle();
  wrong.check = EDCT_DCTMGR_TAG;
  EXPECT_EQ(edct_DctRemoveEntry(wrong, u"k"), 0x80170189u);
  EXPECT_EQ(edct_DctClose(g_vqNullHandle), 0x80170189u);
  // Memory that is not a dictionary, though readable and writable.
  alignas(16) static unsigned char fake[512] = {};
  EXPECT_EQ(edct_DctClose(SafeHandle{fake, EDCT_DCT_TAG}), 0x80010189u);

  SafeHandle out{fake, 1};
  EXPECT_EQ(edct_DctOpen(g_vqNullHandle, nullptr, EDCT_OPEN_WRITABLE, nullptr, nullptr, nullptr),
            kNullPointer);
  EXPECT_EQ(edct_DctOpen(g_vqNullHandle, nullptr, EDCT_OPEN_READONLY, nullptr, nullptr, &out),
            kReadOnly);
  EXPECT_EQ(out.pointer, nullptr);
  EXPECT_EQ(out.check, 0u);
  EXPECT_EQ(edct_DctOpen(SafeHandle{fake, 7777}, nullptr, 0, nullptr, nullptr, &out), 0x80160101u);

  // Any mode but read-only is writable; once closed, the handle is refused.
  SafeHandle stale;
  ASSERT_EQ(edct_DctOpen(g_vqNullHandle, nullptr, 5, nullptr, nullptr, &stale), 0u);
  ASSERT_EQ(Add(stale, u"k", "v"), 0u);
  ASSERT_EQ(edct_DctClose(stale), 0u);
  EXPECT_EQ(edct_DctClose(stale), 0x80010189u);
  EXPECT_EQ(Add(stale, u"k", "v"), 0x80010189u);
  entries = reinterpret_cast<EDCT_ENTRY *>(&out);
  count = 9;
  EXPECT_EQ(edct_DctGetEntryData(dictionary, u"a", nullptr, &entries, &count), kNotFound);
  EXPECT_EQ(entries, nullptr);
  EXPECT_EQ(count, 0u);
}

TEST(Dictionary, DeadResourceIsRefused) {
  ResourceHandle resource;
  ASSERT_EQ(rsrc_Open(0, 0, 0, 0, &resource), 0u);
  SafeHandle handle;
  ASSERT_EQ(edct_DctOpen(resource, nullptr, EDCT_OPEN_WRITABLE, nullptr, nullptr, &handle), 0u);
  ASSERT_EQ(Add(handle, u"k", "v"), 0u);
  ASSERT_EQ(rsrc_Close(resource), 0u);
  EXPECT_EQ(Add(handle, u"k", "v"), 0x801E000Bu);
  EXPECT_EQ(edct_DctClose(handle), 0x801E000Bu);
  // The client broke the order; hand the objects the default resource to release them.
  auto *dictionary = static_cast<sc::edct::Dictionary *>(handle.pointer);
  dictionary->resource = sc::DefaultResource();
  dictionary->guard.resource = sc::DefaultResource();
  for (auto *sub = dictionary->first; sub; sub = sub->next) {
    sub->store.resource = sc::DefaultResource();
    sub->store.arena.resource = sc::DefaultResource();
    sub->store.pool->resource = sc::DefaultResource();
  }
  EXPECT_EQ(edct_DctClose(handle), 0u);
}

TEST(Dictionary, OutOfMemoryChangesNothing) {
  const int64_t start = sc::testing::LiveBlocks();
  SafeHandle handle{};
  FailEachAllocation(
      [&] { return edct_DctOpen(g_vqNullHandle, nullptr, 0, nullptr, nullptr, &handle); },
      [&] { EXPECT_EQ(handle.pointer, nullptr); }, kAnyOutOfMemory);
  ASSERT_NE(handle.pointer, nullptr);
  const std::string model = ModelBlock("m");
  Entry rich;
  rich.language = "de";
  rich.model = model.c_str();
  rich.engine = "e";
  rich.data = "rich";
  // A new SubDictionary, then a new key in an existing one, then a chained entry.
  for (const char16_t *key : {u"k", u"l", u"k"}) {
    const EDCT_INFO before = Info(handle);
    const uint32_t subs = SubDictionaries(handle);
    FailEachAllocation([&] { return Add(handle, key, {rich}); },
                       [&] {
                         EXPECT_EQ(Info(handle).NbrEntries, before.NbrEntries);
                         EXPECT_EQ(Info(handle).NbrKeys, before.NbrKeys);
                         EXPECT_EQ(SubDictionaries(handle), subs);
                       });
  }
  EXPECT_EQ(Lookup(handle, u"k"), (std::vector<std::string>{"rich", "rich"}));
  FailEachAllocation(
      [&] {
        EDCT_ENTRY *entries = nullptr;
        uint32_t count = 0;
        const uint32_t result = edct_DctGetEntryData(handle, u"k", nullptr, &entries, &count);
        if (result == 0) edct_DctFreeEntryData(handle, entries, count);
        return result;
      },
      [] {});
  const EDCT_INFO named{u"name", u"description", 0, 0};
  FailEachAllocation([&] { return edct_DctSetInfo(handle, &named); },
                     [&] {
                       EDCT_INFO info = Info(handle);
                       EXPECT_EQ(info.Name, nullptr);
                       edct_DctFreeInfo(handle, &info);
                     });
  EDCT_INFO info{};
  FailEachAllocation([&] { return edct_DctGetInfo(handle, &info); },
                     [&] { EXPECT_EQ(info.Name, nullptr); });
  EXPECT_EQ(std::u16string(info.Name), u"name");
  EXPECT_EQ(edct_DctFreeInfo(handle, &info), 0u);
  EXPECT_EQ(edct_DctClose(handle), 0u);
  EXPECT_EQ(sc::testing::LiveBlocks(), start);
}

TEST(Dictionary, ConcurrentAddsAndLookups) {
  Writable dictionary;
  constexpr int kThreads = 4, kKeys = 2000;
  std::atomic<int> misses{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kKeys; ++i) {
        const std::u16string key =
            u"t" + std::u16string(1, char16_t(u'a' + t)) + std::u16string(1, char16_t(0x100 + i));
        Entry entry;
        entry.language = t % 2 ? "de" : nullptr;
        entry.data = std::to_string(i);
        if (Add(dictionary, key, {entry}) != 0) ++misses;
        if (Lookup(dictionary, key) != std::vector<std::string>{std::to_string(i)}) ++misses;
        // Keys of the other threads are either absent or whole.
        const std::u16string other = u"t" + std::u16string(1, char16_t(u'a' + (t + 1) % kThreads)) +
                                     std::u16string(1, char16_t(0x100 + i));
        const auto seen = Lookup(dictionary, other);
        if (!seen.empty() && seen != std::vector<std::string>{std::to_string(i)}) ++misses;
      }
    });
  }
  for (std::thread &thread : threads)
    thread.join();
  EXPECT_EQ(misses.load(), 0);
  EXPECT_EQ(Info(dictionary).NbrKeys, uint32_t{kThreads * kKeys});
  EXPECT_EQ(Info(dictionary).NbrEntries, uint32_t{kThreads * kKeys});
}

}  // namespace
