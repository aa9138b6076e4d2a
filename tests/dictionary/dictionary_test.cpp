#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "dictionary/dictionary.h"
#include "edct_test_util.h"
#include "foundation/alloc.h"
#include "foundation/resource.h"
#include "speechcommon.h"

namespace {

using namespace edct_test;
using Call = std::tuple<uint32_t, std::u16string, bool>;  // action, key, entry given

struct Recorder {
  std::vector<Call> calls;
  uint32_t answer = 0;
  SafeHandle seen{};

  static uint32_t Callback(SafeHandle dictionary, uint32_t action, const char16_t *key,
                           const EDCT_ENTRY *entry, void *user) {
    auto *self = static_cast<Recorder *>(user);
    self->seen = dictionary;
    self->calls.emplace_back(action, key, entry != nullptr);
    return self->answer;
  }
};

// The summary with the number of SubDictionaries.
std::string Describe(SafeHandle dictionary) {
  const auto *object = static_cast<sc::edct::Dictionary *>(dictionary.pointer);
  return Summary(dictionary) + "|" + std::to_string(sc::edct::CountSubDictionaries(object));
}

// The result code of a lookup in a dictionary or through a manager; what it found is freed.
uint32_t Get(SafeHandle handle, const char16_t *key) {
  EDCT_ENTRY *entries = nullptr;
  uint32_t count = 0;
  SafeHandle from = handle;
  const uint32_t result =
      handle.check == EDCT_DCTMGR_TAG
          ? edct_DctMgrGetEntryData(handle, key, nullptr, &entries, &count, &from)
          : edct_DctGetEntryData(handle, key, nullptr, &entries, &count);
  if (result == 0) edct_DctFreeEntryData(from, entries, count);
  return result;
}

// Every one of the six attributes makes a SubDictionary of its own and equal ones share one,
// a Model by its 128 bytes; lookups go through them in creation order, newest first in each.
// A writable dictionary's filter passes a SubDictionary that lacks the attribute; a read-only
// view of the same entries passes only one that has it.
TEST(Dictionary, EntriesGroupBySixAttributesFilterAndNotify) {
  Recorder recorder;
  Writable dictionary(Recorder::Callback, &recorder);
  const std::string model1 = ModelBlock("m1"), model2 = ModelBlock("m1 "), sameModel = model1;
  const std::vector<Entry> variants = {{.data = "0"},
                                       {.content = 1, .data = "1"},
                                       {.representation = 1, .data = "2"},
                                       {.pos = 4, .data = "3"},
                                       {.language = "de", .data = "4"},
                                       {.engine = "e", .data = "5"},
                                       {.model = model1.c_str(), .data = "6"},
                                       {.model = model2.c_str(), .data = "7"},
                                       {.model = sameModel.c_str(), .data = "again"}};
  ASSERT_EQ(Add(dictionary, u"key", variants), 0u);
  ASSERT_EQ(Add(dictionary, u"other", {variants[0], variants[4]}), 0u);
  EXPECT_EQ(Describe(dictionary), "-|-|2|11|8");
  ASSERT_EQ(recorder.calls.size(), 11u);
  EXPECT_EQ(
      std::tuple(recorder.calls[0], recorder.calls[8], recorder.calls[9]),
      std::tuple(Call(EDCT_NOTIFY_NEWKEY, u"key", true), Call(EDCT_NOTIFY_ADDED, u"key", true),
                 Call(EDCT_NOTIFY_NEWKEY, u"other", true)));
  EXPECT_EQ(std::tuple(recorder.seen.pointer, recorder.seen.check),
            std::tuple(dictionary.handle().pointer, EDCT_DCT_TAG));

  const Data all = {"0", "1", "2", "3", "4", "5", "again", "6", "7"};
  EXPECT_EQ(Lookup(dictionary, u"key"), all);
  const Image image = Archive(dictionary);
  Opened view(image.data(), EDCT_OPEN_READONLY);
  struct Row {
    EDCT_FILTER filter;
    Data writable, readOnly;
  };
  const uint32_t any = 0xFFFFFFFFu;
  const Row rows[] = {
      {{EDCT_CONTENT_USERWORDS, any, nullptr, nullptr, nullptr}, {"1"}, {"1"}},
      {{any, 4, nullptr, nullptr, nullptr}, {"3"}, {"3"}},
      {{any, any, "de", nullptr, nullptr}, all, {"4"}},
      {{any, any, nullptr, nullptr, "x"}, {"0", "1", "2", "3", "4", "again", "6", "7"}, {}},
      {{any, any, nullptr, model1.c_str(), nullptr},
       {"0", "1", "2", "3", "4", "5", "again", "6"},
       {"again", "6"}},
      {{2, any, "fr", nullptr, nullptr}, {"0", "2", "3", "5", "again", "6", "7"}, {}},
  };
  for (const Row &row : rows) {
    EXPECT_EQ(Lookup(dictionary, u"key", &row.filter), row.writable) << &row - rows;
    EXPECT_EQ(Lookup(view, u"key", &row.filter), row.readOnly) << &row - rows;
  }

  // A removal takes the key from every SubDictionary, which stay; only it is notified.
  recorder.calls.clear();
  EXPECT_EQ(edct_DctRemoveEntry(dictionary, u"key"), 0u);
  EXPECT_EQ(edct_DctRemoveEntry(dictionary, u"key"), EDCT_E_NOT_FOUND);
  EXPECT_EQ(recorder.calls, std::vector<Call>{Call(EDCT_NOTIFY_REMOVED, u"key", false)});
  EXPECT_EQ(Describe(dictionary), "-|-|1|2|8");
  // A failing callback stops the additions after the entry it was told of, and its value is
  // kept; after a removal the removal stays done.
  recorder.answer = 5;
  EXPECT_EQ(Add(dictionary, u"key", {Entry{.data = "new"}, Entry{}}), EDCT_E_NOTIFY_FAILED);
  EXPECT_EQ(Lookup(dictionary, u"key"), Data{"new"});
  uint32_t error = 0;
  EXPECT_EQ(edct_DctGetCallbackError(dictionary, &error), 0u);
  EXPECT_EQ(error, 5u);
  EXPECT_EQ(edct_DctRemoveEntry(dictionary, u"other"), EDCT_E_NOTIFY_FAILED);
  EXPECT_EQ(Describe(dictionary), "-|-|1|1|8");
}

TEST(Dictionary, EntriesAndInfoAreIndependentCopies) {
  Writable dictionary;
  std::string model = ModelBlock("model"), language = "en-US", engine = "eng";
  const Entry entry{2, 2, 0, language.c_str(), model.c_str(), engine.c_str(), {"d\0ta", 4}};
  ASSERT_EQ(Add(dictionary, u"k", {entry}), 0u);
  language = "xx", model[0] = 'X', engine = "yyy";
  EDCT_ENTRY *entries = nullptr;
  uint32_t count = 0;
  ASSERT_EQ(edct_DctGetEntryData(dictionary, u"k", nullptr, &entries, &count), 0u);
  ASSERT_EQ(count, 1u);
  ASSERT_EQ(edct_DctRemoveEntry(dictionary, u"k"), 0u);  // the copies outlive changes
  EXPECT_EQ(
      std::tuple(std::string(entries[0].Language), std::string(entries[0].Model, 128),
                 std::string(entries[0].Engine),
                 std::string(static_cast<const char *>(entries[0].Data), entries[0].DataSize)),
      std::tuple("en-US", ModelBlock("model"), "eng", entry.data));
  EXPECT_EQ(edct_DctFreeEntryData(dictionary, entries, count), 0u);

  std::u16string name = u"Name";
  const EDCT_INFO given{name.c_str(), u"Description", 99, 99};
  ASSERT_EQ(edct_DctSetInfo(dictionary, &given), 0u);
  name[0] = u'X';
  EXPECT_EQ(Describe(dictionary), "Name|Description|0|0|1");  // the counts given are ignored
  const EDCT_INFO cleared{nullptr, nullptr, 0, 0};
  ASSERT_EQ(edct_DctSetInfo(dictionary, &cleared), 0u);
  EXPECT_EQ(Describe(dictionary), "-|-|0|0|1");
}

TEST(Dictionary, BadArgumentsAndHandles) {
  Writable dictionary, walked;  // an open iterator would refuse changes before their checks
  SafeHandle iterator, manager, out;
  ASSERT_EQ(edct_DctItOpen(g_vqNullHandle, walked, &iterator), 0u);
  ASSERT_EQ(edct_DctMgrOpen(g_vqNullHandle, &manager), 0u);
  EDCT_ENTRY *entries = nullptr;
  uint32_t count = 0;
  const EDCT_ENTRY entry = Entry{}.Get(), noData = {2, 2, 0, nullptr, nullptr, nullptr, nullptr, 3};
  const uint32_t nulls[] = {
      edct_DctAddEntry(dictionary, nullptr, &entry, 1),
      edct_DctAddEntry(dictionary, u"k", &noData, 1),
      edct_DctGetEntryData(dictionary, u"k", nullptr, nullptr, &count),
      edct_DctFreeEntryData(dictionary, nullptr, 1),
      edct_DctArchive(dictionary, nullptr, nullptr, 0),
      edct_DctOpen(g_vqNullHandle, nullptr, EDCT_OPEN_WRITABLE, nullptr, nullptr, nullptr),
      edct_DctItOpen(g_vqNullHandle, dictionary, nullptr),
      edct_DctItHasEnded(iterator, nullptr),
      edct_DctMgrOpen(g_vqNullHandle, nullptr),
      edct_DctMgrGetRegisteredDcts(manager, nullptr, nullptr),
      edct_DctMgrGetEntryData(manager, u"k", nullptr, &entries, &count, nullptr)};
  for (size_t i = 0; i < std::size(nulls); ++i)
    EXPECT_EQ(nulls[i], EDCT_E_NULL_POINTER) << i;
  EXPECT_EQ(edct_DctItClose(iterator), 0u);
  EXPECT_EQ(edct_DctMgrClose(manager), 0u);
  EXPECT_EQ(edct_DctAddEntry(dictionary, u"n", &entry, 0), 0u);  // count 0 adds nothing
  EXPECT_EQ(Describe(dictionary), "-|-|0|0|0");

  // Handles of another kind, of no open object, and opens refused before they start.
  SafeHandle wrong = dictionary.handle();
  wrong.check = EDCT_DCTMGR_TAG;
  alignas(16) static unsigned char fake[512] = {};
  out = SafeHandle{fake, 1};
  const std::pair<uint32_t, uint32_t> refused[] = {
      {edct_DctRemoveEntry(wrong, u"k"), SAFEH_E_INVALID_HANDLE},
      {edct_DctMgrRegisterDct(dictionary, dictionary, 0), SAFEH_E_INVALID_HANDLE},
      {edct_DctClose(g_vqNullHandle), SAFEH_E_INVALID_HANDLE},
      {edct_DctClose(SafeHandle{fake, EDCT_DCT_TAG}), SRVSPI_E_SEC_INVALID_HANDLE},
      {edct_DctItClose(iterator), SRVSPI_E_SEC_INVALID_HANDLE},
      {edct_DctOpen(SafeHandle{fake, 7777}, nullptr, 0, nullptr, nullptr, &out),
       RSRC_E_INVALID_RESOURCE},
      {Open(nullptr, EDCT_OPEN_READONLY, &out), EDCT_E_READ_ONLY}};
  for (size_t i = 0; i < std::size(refused); ++i)
    EXPECT_EQ(refused[i].first, refused[i].second) << i;
  EXPECT_EQ(std::tuple(out.pointer, out.check), std::tuple(nullptr, 0u));

  // Any mode but read-only is writable. A lookup that finds nothing clears what it hands out.
  ASSERT_EQ(Open(nullptr, 5, &out), 0u);
  ASSERT_EQ(edct_DctClose(out), 0u);
  entries = reinterpret_cast<EDCT_ENTRY *>(&out);
  count = 9;
  EXPECT_EQ(edct_DctGetEntryData(dictionary, u"a", nullptr, &entries, &count), EDCT_E_NOT_FOUND);
  EXPECT_EQ(std::tuple(entries, count), std::tuple(nullptr, 0u));
}

TEST(Dictionary, DeadResourceIsRefused) {
  ResourceHandle resource;
  ASSERT_EQ(rsrc_Open(0, 0, 0, 0, &resource), 0u);
  SafeHandle handle;
  ASSERT_EQ(edct_DctOpen(resource, nullptr, EDCT_OPEN_WRITABLE, nullptr, nullptr, &handle), 0u);
  ASSERT_EQ(Add(handle, u"k", "v"), 0u);
  ASSERT_EQ(rsrc_Close(resource), 0u);
  EXPECT_EQ(Add(handle, u"k", "v"), EDCT_E_INVALID_RESOURCE);
  EXPECT_EQ(edct_DctClose(handle), EDCT_E_INVALID_RESOURCE);
  // The client broke the order; hand the objects the default resource to release them.
  auto *dictionary = static_cast<sc::edct::Dictionary *>(handle.pointer);
  dictionary->resource = dictionary->guard.resource = sc::DefaultResource();
  for (auto *sub = dictionary->first; sub; sub = sub->next)
    sub->store.resource = sub->store.arena.resource = sub->store.pool->resource =
        sc::DefaultResource();
  EXPECT_EQ(edct_DctClose(handle), 0u);
}

// Every allocation of every operation may fail: the operation then gives the out-of-memory
// code, leaks nothing and changes nothing.
TEST(Dictionary, OutOfMemoryChangesNothing) {
  const int64_t start = sc::testing::LiveBlocks();
  SafeHandle dictionary{}, view{}, loaded{}, iterator{}, manager{};
  const auto stays = [](const SafeHandle &handle) {
    return [&handle] { EXPECT_EQ(handle.pointer, nullptr); };
  };
  FailEachAllocation([&] { return Open(nullptr, 0, &dictionary); }, stays(dictionary),
                     kAnyOutOfMemory);
  const std::string model = ModelBlock("m");
  const Entry rich{2, 2, 0xFFFFFFFFu, "de", model.c_str(), "e", "rich"};
  const Entry big{.engine = "big", .data = std::string(60000, 'b')};  // beyond the arena's step
  // A new SubDictionary, then a new key in an existing one, a chained entry, and a new
  // SubDictionary whose store must grow at once.
  for (const auto &step : {std::pair(u"k", &rich), std::pair(u"l", &rich), std::pair(u"k", &rich),
                           std::pair(u"big", &big)}) {
    const std::string before = Describe(dictionary);
    FailEachAllocation([&] { return Add(dictionary, step.first, {*step.second}); },
                       [&] { EXPECT_EQ(Describe(dictionary), before); });
  }
  FailEachAllocation([&] { return Get(dictionary, u"k"); }, [] {});
  const EDCT_INFO named{u"name", u"description", 0, 0};
  FailEachAllocation([&] { return edct_DctSetInfo(dictionary, &named); },
                     [&] { EXPECT_EQ(Describe(dictionary), "-|-|3|4|2"); });
  EDCT_INFO info{};
  FailEachAllocation([&] { return edct_DctGetInfo(dictionary, &info); },
                     [&] { EXPECT_EQ(info.Name, nullptr); });
  EXPECT_EQ(std::u16string(info.Name), u"name");
  EXPECT_EQ(edct_DctFreeInfo(dictionary, &info), 0u);

  const Image image = Archive(dictionary);
  FailEachAllocation([&] { return Open(image.data(), 0, &loaded); }, stays(loaded),
                     kAnyOutOfMemory);
  FailEachAllocation([&] { return Open(image.data(), 1, &view); }, stays(view), kAnyOutOfMemory);
  // A view's first lookup makes its key index; without memory for it the view bisects, with
  // the same answers, and later lookups fail only for their own allocation.
  const Data expected = Lookup(dictionary, u"k");
  sc::testing::FailNthAllocation(1);
  EXPECT_EQ(Lookup(view, u"k"), expected);
  EXPECT_TRUE(sc::testing::AllocationFailed());
  sc::testing::FailNthAllocation(0);
  FailEachAllocation([&] { return Get(view, u"k"); }, [] {});
  EXPECT_EQ(Lookup(loaded, u"k"), (Data{"rich", "rich"}));

  // A failed iterator open leaves nothing counted, so the dictionary still takes changes.
  FailEachAllocation([&] { return edct_DctItOpen(g_vqNullHandle, dictionary, &iterator); },
                     [&] {
                       EXPECT_EQ(iterator.pointer, nullptr);
                       EXPECT_EQ(Add(dictionary, u"m", {rich}), 0u);
                       EXPECT_EQ(edct_DctRemoveEntry(dictionary, u"m"), 0u);
                     },
                     kAnyOutOfMemory);
  const char16_t *key = nullptr;
  const EDCT_ENTRY *entries = nullptr;
  uint32_t count = 0;
  FailEachAllocation(
      [&] { return edct_DctItCurrent(iterator, &key, &entries, &count, nullptr); },
      [&] { EXPECT_EQ(std::tuple(key, entries, count), std::tuple(nullptr, nullptr, 0u)); });
  EXPECT_EQ(std::tuple(std::u16string(key), count), std::tuple(u"k", 2u));
  EXPECT_STREQ(entries[1].Language, "de");

  FailEachAllocation([&] { return edct_DctMgrOpen(g_vqNullHandle, &manager); }, stays(manager),
                     kAnyOutOfMemory);
  FailEachAllocation([&] { return edct_DctMgrRegisterDct(manager, view, 0); },
                     [&] {
                       EXPECT_EQ(edct_DctMgrGetRegisteredDcts(manager, nullptr, &count), 0u);
                       EXPECT_EQ(count, 0u);
                     });
  // A failure in a registered dictionary is handed on, not taken for a key not found.
  FailEachAllocation([&] { return Get(manager, u"k"); }, [] {});
  for (uint32_t closed : {edct_DctItClose(iterator), edct_DctMgrClose(manager), edct_DctClose(view),
                          edct_DctClose(loaded), edct_DctClose(dictionary)})
    EXPECT_EQ(closed, 0u);
  EXPECT_EQ(sc::testing::LiveBlocks(), start);
}

// Each thread adds its own keys and looks them up; keys of another thread are absent or whole.
TEST(DictionaryThreads, ConcurrentAddsAndLookups) {
  Writable dictionary;
  constexpr int kThreads = 4, kKeys = 2000;
  std::atomic<int> misses{0};
  std::vector<std::thread> threads;
  const auto key = [](int thread, int i) {
    return std::u16string{u't', char16_t(u'a' + thread % kThreads), char16_t(0x100 + i)};
  };
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kKeys; ++i) {
        const Entry entry{.language = t % 2 ? "de" : nullptr, .data = std::to_string(i)};
        if (Add(dictionary, key(t, i), {entry}) != 0) ++misses;
        if (Lookup(dictionary, key(t, i)) != Data{entry.data}) ++misses;
        const Data seen = Lookup(dictionary, key(t + 1, i));
        if (!seen.empty() && seen != Data{entry.data}) ++misses;
      }
    });
  }
  for (std::thread &thread : threads)
    thread.join();
  EXPECT_EQ(misses.load(), 0);
  EXPECT_EQ(Describe(dictionary), "-|-|8000|8000|2");
  // A view's first lookups race to make its key index; one makes it, all answer alike.
  const Image image = Archive(dictionary);
  Opened view(image.data(), EDCT_OPEN_READONLY);
  threads.clear();
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kKeys; i += 7)
        if (Lookup(view, key(t, i)) != Data{std::to_string(i)}) ++misses;
    });
  }
  for (std::thread &thread : threads)
    thread.join();
  EXPECT_EQ(misses.load(), 0);
}

}  // namespace
