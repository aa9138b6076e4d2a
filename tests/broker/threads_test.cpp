// Several threads working on one class at once: opening and closing objects on one engine,
// querying and releasing interfaces, mapping data, resolving while others rescan.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

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
              Component(u"TTSENGINE", u"eng",
                        T(u"DLL", u"libengine.so") + T(u"GETINTERFACE", u"EngineGetInterface")));
  root.Install(Module::kAddon, "eng/sub/libaddon.so");
  root.Header("eng/sub/a.hdr",
              Component(u"ADDON", u"addon",
                        T(u"DLL", u"libaddon.so") + T(u"GETINTERFACE", u"AddonGetInterface")));
  root.Header(
      "eng/sub/p.hdr",
      Component(u"ADDON", u"part", T(u"DLL", u"ENGINE") + T(u"GETINTERFACE", u"PartGetInterface")));
  const std::string bytes(4000, 'q');
  const DataPart data = Blocks({{u"data", bytes}});
  root.Header("shared/d/d.hdr", Component(u"DATA", u"data/one", data.elements), data.tail);
  for (int i = 0; i < 8; ++i)
    root.Header("shared/v" + std::to_string(i) + "/v.hdr",
                Component(u"VOICE", u"voice/" + std::u16string(1, char16_t(u'a' + i)),
                          T(u"PRIORITY", std::u16string(1, char16_t(u'0' + i)))));
  Class cls(root, RescanOnce);

  constexpr int kThreads = 6;
  constexpr int kRounds = 40;
  std::atomic<int> failures{0};
  const auto check = [&](bool ok) {
    if (!ok) failures.fetch_add(1);
  };
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < kRounds; ++round) {
        BrkObject *object = nullptr;
        check(brk_ObjOpen(&object, t % 3 ? "eng" : nullptr, "en", cls, nullptr) == 0);
        if (!object) return;
        SafeHandle instance{};
        void *interface = nullptr;
        const char *target = t % 3 == 1 ? "addon" : t % 3 == 2 ? "part" : nullptr;
        if (target) {
          check(brk_InterfaceQuery(object, target, 5, &instance, &interface) == 0);
          check(interface && brk_InterfaceRelease(object, interface) == 0);
        }
        BrkData *block = nullptr;
        check(brk_DataOpen(object, "data/one", &block) == 0);
        const void *address = nullptr;
        const uint32_t offset = static_cast<uint32_t>((round * 997 + t * 131) % 3000);
        check(brk_DataMap(object, block, offset, 900, &address) == 0);
        check(address && static_cast<const char *>(address)[899] == 'q');
        brk_DataUnmap(object, block, address);
        check(brk_DataClose(object, block) == 0);
        char *selected = nullptr;
        check(brk_InfoQuery(object, "voice/def", &selected) == 0);
        check(selected && std::string(selected) == "voice/h");
        brk_InfoRelease(object, selected);
        // Not installed: the class callback has the directories read again, under the lock,
        // while other threads walk the lists.
        t_retries = 0;
        const char16_t *value = nullptr;
        check(brk_TagQuery(object, "missing/one", "NAME", &value) == kNotFound);
        BrkComponentList *list = nullptr;
        check(brk_ComponentListQuery(object, "VOICE", &list) == 0 && list->count == 8);
        brk_ComponentListRelease(object, list);
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
  const std::vector<std::string> events = TakeEvents();
  EXPECT_EQ(Count(events, "engine: load"), Count(events, "engine: unload"));
  EXPECT_EQ(Count(events, "addon: load"), Count(events, "addon: unload"));
  EXPECT_EQ(Count(events, "engine: init"), Count(events, "engine: fini e1"));
}

}  // namespace
