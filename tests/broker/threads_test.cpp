// Several threads working on one class at once: opening and closing objects on one engine,
// querying and releasing interfaces, mapping data, resolving while others rescan.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "fixtures.h"

namespace {

using namespace brktest;

thread_local int t_retries = 0;
int RescanOnce(const char *, uint32_t, const char **) {
  return t_retries++ == 0 ? 1 : 0;
}

using BrokerThreads = Installed;

TEST_F(BrokerThreads, ObjectsInterfacesAndDataOnOneClass) {
  Class cls(root_, RescanOnce);
  std::atomic<int> failures{0};
  const auto check = [&](bool ok) { failures += !ok; };
  std::vector<std::thread> threads;
  for (int t = 0; t < 6; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < 40; ++round) {
        BrkObject *object = nullptr;
        check(brk_ObjOpen(&object, t % 3 ? "test/engine" : nullptr, "en", cls, nullptr) == 0);
        SafeHandle instance{};
        void *interface = nullptr;
        if (t % 3) {
          check(brk_InterfaceQuery(object, t % 3 == 1 ? "test/addon" : "test/sibling", 5, &instance,
                                   &interface) == 0);
          check(brk_InterfaceRelease(object, interface) == 0);
        }
        BrkData *block = nullptr;
        check(brk_DataOpen(object, "shared/blocks:big", &block) == 0);
        for (uint32_t k = 0; k < 10; ++k) {
          const void *address = nullptr;
          const uint32_t offset = (round * 997 + t * 131 + k * 7) % 3000;
          check(brk_DataMap(object, block, offset, 900, &address) == 0);
          check(address && static_cast<const char *>(address)[899] == 'q');
          brk_DataUnmap(object, block, address);
        }
        check(brk_DataClose(object, block) == 0);
        check(InfoOf(object, "voice/def") == "voice/h");
        // Not installed: the class callback has the directories read again, under the lock,
        // while other threads walk the lists.
        t_retries = 0;
        check(TagOf(object, "missing/one", "NAME") == Error(BRK_E_BROKER_STRING_NOT_FOUND));
        check(Listed(object, "VOICE").size() == (t % 3 ? 18u : 17u));
        // The last object on the engine may meet another thread's module or data.
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        VQRESULT closed;
        while ((closed = brk_ObjClose(object)) == BRK_E_STILL_IN_USE &&
               std::chrono::steady_clock::now() < deadline)
          std::this_thread::yield();
        check(closed == 0);
      }
    });
  }
  for (std::thread &thread : threads)
    thread.join();
  EXPECT_EQ(failures.load(), 0);
}

// Queries that walk the engine's add-ons without the class lock run on an object while another
// thread closes it, the last object on its engine, which drops those add-ons, and opens the
// next. A query on a closed object is refused; none may read freed memory: what the close
// dropped stays until the query has left.
TEST_F(BrokerThreads, QueriesWhileTheLastObjectOnTheEngineCloses) {
  Class cls(root_);
  BrkObject *first = nullptr;
  ASSERT_EQ(brk_ObjOpen(&first, "test/engine", "en", cls, nullptr), 0u);
  std::atomic<BrkObject *> current{first};
  std::atomic<bool> stop{false};
  std::atomic<int> unexpected{0}, answered{0};
  std::thread reader([&] {
    while (!stop) {
      const char16_t *value = nullptr;
      const VQRESULT found = brk_TagQuery(current.load(), "test/data", "LANGUAGE", &value);
      answered += found == 0;
      // Closed before the query began, or while it ran (the add-ons were dropped under it).
      unexpected +=
          found != 0 && found != BRK_E_INVALID_ARGUMENT && found != BRK_E_BROKER_STRING_NOT_FOUND;
    }
  });
  for (int round = 0; round < 100; ++round) {
    // The close comes while the reader is busy with the open object.
    const int seen = answered;
    for (int spins = 0; answered < seen + 3 && spins < 1000000; ++spins)
      std::this_thread::yield();
    EXPECT_EQ(brk_ObjClose(current.load()), 0u);
    BrkObject *next = nullptr;
    EXPECT_EQ(brk_ObjOpen(&next, "test/engine", "en", cls, nullptr), 0u);
    current = next;
  }
  stop = true;
  reader.join();
  EXPECT_EQ(brk_ObjClose(current.load()), 0u);
  EXPECT_EQ(unexpected.load(), 0);
}

}  // namespace
