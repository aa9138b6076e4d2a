// Several threads working on one class at once: opening and closing objects on one engine,
// querying and releasing interfaces, mapping data, resolving while others rescan.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "fixtures.h"

namespace {

using namespace brktest;

thread_local int t_retries = 0;
int RescanOnce(const char *, uint32_t, const char **) {
  return t_retries++ == 0 ? 1 : 0;
}

TEST(BrokerThreads, ObjectsInterfacesAndDataOnOneClass) {
  TakeEvents();
  Root root;
  root.Install(Module::kEngine, "eng/libengine.so");
  root.Header("eng/e.hdr",
              Component(u"TTSENGINE", u"eng", Code(u"libengine.so", u"EngineGetInterface")));
  root.Install(Module::kAddon, "eng/sub/libaddon.so");
  root.Header("eng/sub/a.hdr",
              Component(u"ADDON", u"addon", Code(u"libaddon.so", u"AddonGetInterface")));
  root.Header("eng/sub/p.hdr", Component(u"ADDON", u"part", Code(u"ENGINE", u"PartGetInterface")));
  const DataPart data = Blocks({{u"data", std::string(4000, 'q')}});
  root.Header("shared/d/d.hdr", Component(u"DATA", u"data/one", data.elements), data.tail);
  for (int i = 0; i < 8; ++i)
    root.Header("shared/v" + std::to_string(i) + "/v.hdr",
                Component(u"VOICE", u"voice/" + std::u16string(1, char16_t(u'a' + i)),
                          T(u"PRIORITY", std::u16string(1, char16_t(u'0' + i)))));
  Class cls(root, RescanOnce);

  std::atomic<int> failures{0};
  const auto check = [&](bool ok) { failures += !ok; };
  std::vector<std::thread> threads;
  for (int t = 0; t < 6; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < 40; ++round) {
        BrkObject *object = nullptr;
        check(brk_ObjOpen(&object, t % 3 ? "eng" : nullptr, "en", cls, nullptr) == 0);
        SafeHandle instance{};
        void *interface = nullptr;
        if (t % 3) {
          check(brk_InterfaceQuery(object, t % 3 == 1 ? "addon" : "part", 5, &instance,
                                   &interface) == 0);
          check(brk_InterfaceRelease(object, interface) == 0);
        }
        BrkData *block = nullptr;
        check(brk_DataOpen(object, "data/one", &block) == 0);
        for (uint32_t k = 0; k < 10; ++k) {
          const void *address = nullptr;
          check(brk_DataMap(object, block, (round * 997 + t * 131 + k * 7) % 3000, 900, &address) ==
                0);
          check(address && static_cast<const char *>(address)[899] == 'q');
          brk_DataUnmap(object, block, address);
        }
        check(brk_DataClose(object, block) == 0);
        check(InfoOf(object, "voice/def") == "voice/h");
        // Not installed: the class callback has the directories read again, under the lock,
        // while other threads walk the lists.
        t_retries = 0;
        check(TagOf(object, "missing/one", "NAME") == Error(kNotFound));
        check(Listed(object, "VOICE").size() == 8);
        // The last object on the engine may meet another thread's module or data.
        VQRESULT closed;
        while ((closed = brk_ObjClose(object)) == kStillInUse)
          std::this_thread::yield();
        check(closed == 0);
      }
    });
  }
  for (std::thread &thread : threads)
    thread.join();
  EXPECT_EQ(failures.load(), 0);
  ExpectNothingLoaded();
}

}  // namespace
