// Component modules loaded for real: entry points, initialisers and finalisers, interfaces
// counted on the module and on the engine whose library an add-on shares, every way a module
// can fail to load, the module paths that info queries give; then every operation running
// out of memory, and system calls that refuse.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>

#include "fixtures.h"
#include "platform/syscalls.h"

namespace {

using namespace brktest;

class BrokerModules : public Installed {
 protected:
  // Queries and returns the interface, or null.
  void *Query(BrkObject *object, const char *brokerString, uint8_t id) {
    void *interface = nullptr;
    EXPECT_EQ(brk_InterfaceQuery(object, brokerString, id, &instance_, &interface), 0u)
        << brokerString;
    return interface;
  }
  SafeHandle instance_{};
};

TEST_F(BrokerModules, EngineAndAddonModulesAreCountedAndUnloadedWithTheirLastInterface) {
  Class cls(root_);
  BrkObject *object = cls.Open("test/engine");
  void *first = Query(object, "TEST/Engine", 1);
  EXPECT_STREQ(static_cast<const char *>(first), "EngineGetInterface 1");
  EXPECT_EQ(instance_.check, 0xE1u);
  // The initialiser comes back into the broker, which holds its lock meanwhile.
  EXPECT_EQ(TakeEvents(),
            (Strings{"engine: load", "engine: EngineGetInterface 0", "engine: init e1",
                     "engine: reenter size 50", "engine: EngineGetInterface 1"}));
  // The same id again is the same interface, not asked for again, and counts again.
  EXPECT_EQ(Query(object, "test/engine", 1), first);
  void *second = Query(object, "test/engine", 2);
  EXPECT_EQ(TakeEvents(), Strings{"engine: EngineGetInterface 2"});
  for (void *interface : {first, second})
    EXPECT_EQ(brk_InterfaceRelease(object, interface), 0u);
  EXPECT_EQ(brk_ObjClose(object), BRK_E_STILL_IN_USE);
  EXPECT_EQ(brk_InterfaceRelease(object, first), 0u);
  EXPECT_EQ(TakeEvents(), (Strings{"engine: fini e1", "engine: unload"}));
  EXPECT_EQ(brk_InterfaceRelease(object, first), BRK_E_INTERFACE_NOT_FOUND);  // its module is gone

  // An add-on in a module of its own; id 0 is asked for anew every time.
  void *table = Query(object, "test/addon", 0);
  EXPECT_EQ(Query(object, "test/addon", 0), table);
  EXPECT_NE(static_cast<BrkModuleTable *>(table)->initialize, nullptr);
  EXPECT_EQ(Count(TakeEvents(), "addon: AddonGetInterface 0"), 3);
  EXPECT_EQ(brk_InterfaceRelease(object, table), 0u);
  EXPECT_TRUE(TakeEvents().empty());
  EXPECT_EQ(brk_InterfaceRelease(object, table), 0u);
  EXPECT_EQ(TakeEvents(), (Strings{"addon: fini ad", "addon: unload"}));
}

TEST_F(BrokerModules, AddonsInTheEnginesLibraryCountOnBothModules) {
  Class cls(root_);
  BrkObject *object = cls.Open("test/engine");
  void *part = Query(object, "test/sibling", 5);
  EXPECT_STREQ(static_cast<const char *>(part), "PartGetInterface 5");
  EXPECT_EQ(instance_.check, 0xA5u);
  EXPECT_EQ(Count(TakeEvents(), "engine: load"), 1);  // one library, both initialisers
  EXPECT_EQ(brk_InterfaceRelease(object, part), 0u);
  EXPECT_EQ(TakeEvents(), (Strings{"engine: fini a5", "engine: fini e1", "engine: unload"}));
  // An engine interface still held keeps the engine's module after the add-on's goes, and
  // the add-on still held keeps the library after the engine's interface goes.
  void *engine = Query(object, "test/engine", 2);
  part = Query(object, "test/inline", 5);
  TakeEvents();
  EXPECT_EQ(brk_InterfaceRelease(object, part), 0u);
  EXPECT_EQ(TakeEvents(), Strings{"engine: fini a5"});
  part = Query(object, "test/inline", 5);
  EXPECT_EQ(brk_InterfaceRelease(object, engine), 0u);
  // Even released once too often, the engine's module stays while the add-on runs from it.
  EXPECT_EQ(brk_InterfaceRelease(object, engine), 0u);
  EXPECT_EQ(Count(TakeEvents(), "engine: unload"), 0);
  EXPECT_EQ(brk_InterfaceRelease(object, part), 0u);
  EXPECT_EQ(Count(TakeEvents(), "engine: unload"), 1);
  // Through an object without engine there is no engine library to live in.
  BrkObject *none = cls.Open();
  void *interface = &interface;
  EXPECT_EQ(brk_InterfaceQuery(none, "shared/inengine", 5, &instance_, &interface),
            BRK_E_INVALID_ARGUMENT);
  EXPECT_EQ(interface, nullptr);
}

TEST_F(BrokerModules, ModulesThatCannotServeLeaveNothingLoaded) {
  Class cls(root_);
  BrkObject *object = cls.Open("test/engine");
  const std::pair<const char *, VQRESULT> cases[] = {
      {"test/refuse", BRK_E_CANNOT_LOAD_MODULE},  {"test/badinit", BRK_E_CANNOT_LOAD_MODULE},
      {"test/noentry", BRK_E_CANNOT_LOAD_MODULE}, {"test/missing", BRK_E_CANNOT_LOAD_MODULE},
      {"test/data", BRK_E_TAG_NOT_FOUND},         {"test/nogetinterface", BRK_E_TAG_NOT_FOUND},
      {"test/addon", BRK_E_INTERFACE_NOT_FOUND},  {"nothing/here", BRK_E_BROKER_STRING_NOT_FOUND},
      {"test/null", BRK_E_NOT_PRESENT},           {"test/nullpart", BRK_E_NOT_PRESENT},
      {nullptr, BRK_E_INVALID_ARGUMENT}};
  for (const auto &[brokerString, expected] : cases) {
    void *interface = &interface;
    EXPECT_EQ(brk_InterfaceQuery(object, brokerString, 7, &instance_, &interface), expected)
        << (brokerString ? brokerString : "null");
    EXPECT_EQ(interface, nullptr);
  }
  // Every load that failed (four) or gave no interface unloaded again, the engine's library
  // loaded for an add-on living there too; the finaliser ran only after an initialiser that
  // succeeded.
  const Strings events = TakeEvents();
  const std::pair<const char *, int> counts[] = {{"addon: unload", 6},   {"addon: init bd", 1},
                                                 {"addon: fini ad", 1},  {"addon: fini bd", 0},
                                                 {"engine: fini a5", 1}, {"engine: unload", 1}};
  for (const auto &[event, count] : counts)
    EXPECT_EQ(Count(events, event), count) << event;

  // A refused id while another interface is held leaves the module loaded, and a null one
  // counts nothing on the engine it shares; a pointer no module gave out changes no count.
  void *held = Query(object, "test/addon", 3);
  void *engine = Query(object, "test/engine", 1);
  void *interface = nullptr;
  EXPECT_EQ(brk_InterfaceQuery(object, "test/addon", 7, &instance_, &interface),
            BRK_E_INTERFACE_NOT_FOUND);
  EXPECT_EQ(brk_InterfaceQuery(object, "test/nullpart", 5, &instance_, &interface),
            BRK_E_NOT_PRESENT);
  EXPECT_EQ(brk_InterfaceRelease(object, &interface), BRK_E_INTERFACE_NOT_FOUND);
  const Strings whileHeld = TakeEvents();
  EXPECT_EQ(Count(whileHeld, "addon: unload") + Count(whileHeld, "engine: unload"), 0);
  EXPECT_EQ(brk_InterfaceRelease(object, held), 0u);
  EXPECT_EQ(brk_InterfaceRelease(object, engine), 0u);
  const Strings released = TakeEvents();
  EXPECT_EQ(Count(released, "addon: unload") + Count(released, "engine: unload"), 2);
}

TEST_F(BrokerModules, ModulesAreSharedByTheObjectsOfTheClassAndFoundByInfo) {
  Class cls(root_);
  BrkObject *onEngine = cls.Open("test/engine");
  BrkObject *other = cls.Open("other/engine");
  void *a = Query(onEngine, "shared/addon", 4);
  EXPECT_EQ(Query(other, "shared/addon", 4), a);
  // An engine's broker string reaches the engine only through objects on that engine; its
  // module path, through any.
  void *interface = nullptr;
  EXPECT_EQ(brk_InterfaceQuery(other, "test/engine", 1, &instance_, &interface),
            BRK_E_BROKER_STRING_NOT_FOUND);
  const std::string engine = root_.Path("eng/libengine.so");
  EXPECT_EQ(InfoOf(other, "TEST/ENGINE"), engine);
  EXPECT_EQ(InfoOf(onEngine, "test/addon"), root_.Path("eng/parts/libaddon.so"));
  EXPECT_EQ(InfoOf(onEngine, "test/sibling"), engine);
  EXPECT_EQ(InfoOf(onEngine, "voice/def"), "voice/e");  // a default form: the one selected
  EXPECT_EQ(InfoOf(onEngine, "test/data"), Error(BRK_E_TAG_NOT_FOUND));
  EXPECT_EQ(InfoOf(other, "test/addon"), Error(BRK_E_BROKER_STRING_NOT_FOUND));
  EXPECT_EQ(brk_InfoRelease(other, nullptr), BRK_E_INVALID_ARGUMENT);
  // A shared add-on's module keeps the class open, not the objects.
  EXPECT_EQ(brk_ObjClose(other), 0u);
  EXPECT_EQ(brk_InterfaceRelease(onEngine, a), 0u);
  EXPECT_EQ(brk_ObjClose(onEngine), 0u);
  EXPECT_EQ(brk_ClassClose(cls), BRK_E_STILL_IN_USE);
  EXPECT_EQ(brk_InterfaceRelease(cls.Open(), a), 0u);
  const Strings events = TakeEvents();
  EXPECT_EQ(std::pair(Count(events, "addon: load"), Count(events, "addon: unload")),
            std::pair(1, 1));
}

// Resolves "alias" to the add-on test/data.
int ReplaceAlias(const char *brokerString, uint32_t, const char **replacement) {
  *replacement = std::string(brokerString) == "alias" ? "test/data" : nullptr;
  return *replacement != nullptr;
}

// Every component an object reaches, by type, sorted: a rescan appends at the tail what a
// first scan would have read in between.
Strings Reachable(BrkObject *object) {
  Strings all;
  for (const char *type : {"ADDON", "PART", "VOICE", "DATA"})
    for (const std::string &brokerString : Listed(object, type))
      all.push_back(type + (" " + brokerString));
  std::sort(all.begin(), all.end());
  return all;
}

TEST_F(BrokerModules, EveryOperationRunsOutOfMemory) {
  // Opening a class: a scan cut short still gives a class.
  ForEachFailingAllocation(
      {BRK_E_OUT_OF_MEMORY, BRK_E_UNEXPECTED},
      [&] {
        BrkClass *cls = nullptr;
        const VQRESULT result =
            brk_ClassOpenEx(&cls, root_.Path().c_str(), g_vqNullHandle, nullptr);
        EXPECT_EQ(result ? 0u : brk_ClassClose(cls), 0u);
        return result;
      },
      [](VQRESULT) {});

  // Opening an object on an idle engine, which reads the engine's add-ons, and on an engine in
  // use, which reads them again and finds the late ones. Memory running out anywhere fails the
  // open and leaves the class as it was: the engine's list unchanged, and the class closes, so
  // no count or list stayed behind. An open that succeeds reaches every add-on.
  const char *const late[] = {"eng/parts/late.hdr", "eng/late/a/late.dat", "eng/late/b/late.hdr"};
  const auto install = [&] {
    for (const char *file : late)
      root_.Header(file, Component(u"ADDON", Wide(file)));
  };
  install();
  const Strings complete = Reachable(Class(root_).Open("test/engine"));
  for (const bool inUse : {false, true}) {
    SCOPED_TRACE(inUse ? "engine in use" : "idle engine");
    BrkClass *cls = nullptr;
    BrkObject *first = nullptr;
    Strings before;
    const auto setUp = [&] {
      for (const char *file : late)
        std::filesystem::remove(root_.Path(file));
      ASSERT_EQ(brk_ClassOpenEx(&cls, root_.Path().c_str(), g_vqNullHandle, nullptr), 0u);
      if (inUse) {
        ASSERT_EQ(brk_ObjOpen(&first, "test/engine", nullptr, cls, nullptr), 0u);
        before = Reachable(first);
      }
      install();
    };
    const auto tearDown = [&] {
      EXPECT_EQ(first ? brk_ObjClose(first) : 0u, 0u);
      EXPECT_EQ(brk_ClassClose(cls), 0u);
    };
    setUp();
    BrkObject *object = nullptr;
    ForEachFailingAllocation(
        {BRK_E_OUT_OF_MEMORY, BRK_E_UNEXPECTED},
        [&] { return brk_ObjOpen(&object, "test/engine", "en", cls, nullptr); },
        [&](VQRESULT result) {
          if (!result) {
            EXPECT_EQ(Reachable(object), complete);
            EXPECT_EQ(brk_ObjClose(object), 0u);
          } else if (inUse) {
            EXPECT_EQ(Reachable(first), before);
          }
          tearDown();
          setUp();
        });
    tearDown();
  }

  // Every other operation, each paired with the release of what a success gives. Loading the
  // add-on that lives in the engine's library loads the engine first.
  Class open(root_, ReplaceAlias);
  BrkObject *object = open.Open("test/engine", "en");
  void *interface = nullptr;
  char *answer = nullptr;
  BrkComponentList *list = nullptr;
  const char16_t *value = nullptr;
  const auto mapped = [&] {  // a mapping's window lives as long as its block
    BrkData *data = nullptr;
    VQRESULT result = brk_DataOpen(object, "test/data:idx", &data);
    const void *address = nullptr;
    if (!result) result = brk_DataMap(object, data, 1, 2, &address);
    if (address && std::string(static_cast<const char *>(address), 2) != "BC")
      result = BRK_E_UNEXPECTED;
    brk_DataUnmap(object, data, address);
    if (data && brk_DataClose(object, data)) result = BRK_E_UNEXPECTED;
    return result;
  };
  const auto giveAnswer = [&] { EXPECT_EQ(brk_InfoRelease(object, answer), 0u); };
  const std::pair<std::function<VQRESULT()>, std::function<void()>> operations[] = {
      {[&] { return brk_InterfaceQuery(object, "test/sibling", 5, &instance_, &interface); },
       [&] { EXPECT_EQ(brk_InterfaceRelease(object, interface), 0u); }},
      {mapped, [] {}},
      {[&] { return brk_TagQuery(object, "alias:idx", "SIZE", &value); },
       [&] { EXPECT_EQ(hdrtest::Ascii(value), "50"); }},
      {[&] { return brk_ComponentListQuery(object, "VOICE", &list); },
       [&] { EXPECT_EQ(brk_ComponentListRelease(object, list), 0u); }},
      {[&] { return brk_InfoQuery(object, "test/addon", &answer); }, giveAnswer},
      {[&] { return brk_BrokerStringQuery(object, "TTSENGINE", "Engine", &answer); }, giveAnswer},
  };
  for (size_t i = 0; i < std::size(operations); ++i) {
    SCOPED_TRACE("operation " + std::to_string(i));
    ForEachFailingAllocation({BRK_E_OUT_OF_MEMORY, BRK_E_UNEXPECTED, HDRPARS_E_OUT_OF_MEMORY},
                             operations[i].first, [&](VQRESULT result) {
                               if (!result) operations[i].second();
                               ExpectNothingLoaded();
                             });
  }
}

}  // namespace

// The hook through which the component modules report; they resolve it when loaded.
extern "C" __attribute__((visibility("default"))) void brktest_Event(const char *component,
                                                                     const char *event) {
  std::lock_guard<std::mutex> hold(brktest::g_eventsMutex);
  brktest::g_events.push_back(std::string(component) + ": " + event);
}
