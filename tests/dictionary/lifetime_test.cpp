// Handles against closes: a close while other threads use the handle, a callback that closes
// its own dictionary, and handles kept after a close while new objects open; and out pointers
// that cannot be written.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <set>
#include <thread>
#include <vector>

#include "edct_test_util.h"

namespace {

using namespace edct_test;

SafeHandle OpenWritable() {
  SafeHandle handle{};
  EXPECT_EQ(edct_DctOpen(g_vqNullHandle, nullptr, EDCT_OPEN_WRITABLE, nullptr, nullptr, &handle),
            0u);
  return handle;
}

// Four threads add, look up and free entries through whatever dictionary handle is current,
// while a fifth replaces it by a new dictionary and closes the old one, again and again. A
// call on a closed dictionary is refused with the invalid-handle code; none may crash or touch
// freed memory, and nothing may leak.
TEST(HandleLifetimeThreads, CloseWhileOtherThreadsUseTheHandle) {
  const int64_t before = sc::testing::LiveBlocks();
  std::atomic<void *> current{OpenWritable().pointer};
  std::atomic<bool> stop{false};
  std::atomic<int> unexpected{0};
  const auto expect = [&](VQRESULT code, VQRESULT allowed) {
    if (code != 0 && code != allowed && code != SRVSPI_E_SEC_INVALID_HANDLE) ++unexpected;
  };
  std::vector<std::thread> users;
  for (int t = 0; t < 4; ++t) {
    users.emplace_back([&, t] {
      const Entry entry{.data = "v"};
      const EDCT_ENTRY raw = entry.Get();
      const char16_t key[] = {u'k', char16_t(u'0' + t), 0};
      while (!stop) {
        const SafeHandle dictionary{current.load(), EDCT_DCT_TAG};
        expect(edct_DctAddEntry(dictionary, key, &raw, 1), 0);
        EDCT_ENTRY *entries = nullptr;
        uint32_t count = 0;
        const VQRESULT got = edct_DctGetEntryData(dictionary, key, nullptr, &entries, &count);
        expect(got, EDCT_E_NOT_FOUND);
        if (got != 0) continue;
        const VQRESULT freed = edct_DctFreeEntryData(dictionary, entries, count);
        expect(freed, 0);
        // Closed meanwhile: the array is the client's, from the default resource's heap.
        if (freed) heap_Free(0, entries);
      }
    });
  }
  for (int round = 0; round < 100; ++round) {
    void *old = current.exchange(OpenWritable().pointer);
    EXPECT_EQ(edct_DctClose(SafeHandle{old, EDCT_DCT_TAG}), 0u);
    std::this_thread::yield();
  }
  stop = true;
  for (std::thread &user : users)
    user.join();
  EXPECT_EQ(edct_DctClose(SafeHandle{current.load(), EDCT_DCT_TAG}), 0u);
  EXPECT_EQ(unexpected.load(), 0);
  EXPECT_EQ(sc::testing::LiveBlocks(), before);
}

// The Notify callback closes its own dictionary in the middle of an add. The add finishes on
// what the close left; every later call is refused; the dictionary goes once the add is done.
TEST(HandleLifetime, ACallbackClosesItsOwnDictionary) {
  const int64_t before = sc::testing::LiveBlocks();
  struct Seen {
    int calls = 0;
    VQRESULT closed = 1;
  } seen;
  const EDCT_NOTIFY_FN closeOnFirst = [](SafeHandle dictionary, uint32_t, const char16_t *,
                                         const EDCT_ENTRY *, void *user) -> uint32_t {
    auto *state = static_cast<Seen *>(user);
    if (state->calls++ == 0) state->closed = edct_DctClose(dictionary);
    return 0;
  };
  SafeHandle dictionary{};
  ASSERT_EQ(
      edct_DctOpen(g_vqNullHandle, nullptr, EDCT_OPEN_WRITABLE, closeOnFirst, &seen, &dictionary),
      0u);
  const Entry entry{.data = "v"};
  const EDCT_ENTRY raw[3] = {entry.Get(), entry.Get(), entry.Get()};
  EXPECT_EQ(edct_DctAddEntry(dictionary, u"k", raw, 3), 0u);
  EXPECT_EQ(std::tuple(seen.closed, seen.calls), std::tuple(0u, 3));
  EXPECT_EQ(edct_DctClose(dictionary), SRVSPI_E_SEC_INVALID_HANDLE);
  EXPECT_EQ(sc::testing::LiveBlocks(), before);
}

// Closed handles of every family are refused, and their addresses are not handed to the
// objects opened after them, of any kind, for the next thousand openings.
TEST(HandleLifetime, ClosedHandlesNeverReachNewObjects) {
  std::vector<SafeHandle> closed(40), dictionaries(40), managers(40);
  std::set<void *> closedAddresses;
  for (SafeHandle &dictionary : closed) {
    dictionary = OpenWritable();
    closedAddresses.insert(dictionary.pointer);
  }
  ResourceHandle closedResource{};
  ASSERT_EQ(rsrc_Open(0, 0, 0, 0, &closedResource), 0u);
  closedAddresses.insert(closedResource.pointer);
  for (SafeHandle dictionary : closed)
    ASSERT_EQ(edct_DctClose(dictionary), 0u);
  ASSERT_EQ(rsrc_Close(closedResource), 0u);

  // 40 dictionaries, 40 managers and 900 resources: fewer than a thousand openings.
  std::vector<ResourceHandle> resources(900);
  for (size_t i = 0; i < dictionaries.size(); ++i) {
    dictionaries[i] = OpenWritable();
    ASSERT_EQ(edct_DctMgrOpen(g_vqNullHandle, &managers[i]), 0u);
  }
  for (ResourceHandle &resource : resources)
    ASSERT_EQ(rsrc_Open(0, 0, 0, 0, &resource), 0u);
  for (const auto *opened : {&dictionaries, &managers, &resources})
    for (SafeHandle handle : *opened)
      EXPECT_EQ(closedAddresses.count(handle.pointer), 0u);
  for (SafeHandle dictionary : closed)
    EXPECT_EQ(Add(dictionary, u"stranger", "s"), SRVSPI_E_SEC_INVALID_HANDLE);
  EXPECT_EQ(rsrc_Close(closedResource), RSRC_E_INVALID_RESOURCE);
  for (size_t i = 0; i < dictionaries.size(); ++i) {
    EXPECT_EQ(Summary(dictionaries[i]), "-|-|0|0");  // untouched by the stale handles
    EXPECT_EQ(edct_DctClose(dictionaries[i]), 0u);
    EXPECT_EQ(edct_DctMgrClose(managers[i]), 0u);
  }
  for (ResourceHandle resource : resources)
    EXPECT_EQ(rsrc_Close(resource), 0u);
}

// Out pointers that cannot be written are refused with the probe's code before anything is
// done: no object opened, no count changed, nothing leaked.
TEST(PointerChecks, OutPointersThatCannotBeWritten) {
  const int64_t before = sc::testing::LiveBlocks();
  const long pageSize = sysconf(_SC_PAGESIZE);
  void *page = mmap(nullptr, pageSize, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(page, MAP_FAILED);
  const auto bad = [page](auto *typed) { return static_cast<decltype(typed)>(page); };
  {
    Writable dictionary;
    ASSERT_EQ(Add(dictionary, u"k", "v"), 0u);
    SafeHandle manager{}, iterator{};
    ASSERT_EQ(edct_DctMgrOpen(g_vqNullHandle, &manager), 0u);
    ASSERT_EQ(edct_DctMgrRegisterDct(manager, dictionary, 0), 0u);
    ASSERT_EQ(edct_DctItOpen(g_vqNullHandle, dictionary, &iterator), 0u);
    SafeHandle *handle = nullptr;
    EDCT_ENTRY **entries = nullptr;
    EDCT_ENTRY *found = nullptr;
    uint32_t count = 0, size = 64;
    const char16_t **key = nullptr;
    const VQRESULT refused[] = {
        edct_DctOpen(g_vqNullHandle, nullptr, EDCT_OPEN_WRITABLE, nullptr, nullptr, bad(handle)),
        edct_DctGetEntryData(dictionary, u"k", nullptr, bad(entries), &count),
        edct_DctGetInfo(dictionary, static_cast<EDCT_INFO *>(page)),
        edct_DctArchive(dictionary, page, &size, 0),
        edct_DctItOpen(g_vqNullHandle, dictionary, bad(handle)),
        edct_DctItCurrent(iterator, bad(key), nullptr, &count, nullptr),
        edct_DctMgrGetRegisteredDcts(manager, bad(handle), &size),
        edct_DctMgrGetEntryData(manager, u"k", nullptr, &found, &count, bad(handle)),
    };
    for (size_t i = 0; i < std::size(refused); ++i)
      EXPECT_EQ(refused[i], OSSPI_E_INVALID_WRITE_POINTER) << "call " << i;
    EXPECT_EQ(std::tuple(found, size), std::tuple(nullptr, 64u));
    EXPECT_EQ(edct_DctItClose(iterator), 0u);
    EXPECT_EQ(edct_DctMgrClose(manager), 0u);
  }
  munmap(page, pageSize);
  EXPECT_EQ(sc::testing::LiveBlocks(), before);
}

}  // namespace
