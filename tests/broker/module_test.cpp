// Component modules loaded for real: entry points, initialisers and finalisers, interfaces
// handed out and counted on the module and on the engine whose library an add-on shares, and
// every way a module can fail to load, each leaving nothing loaded.
#include <gtest/gtest.h>

#include <string>

#include "fixtures.h"

namespace {

using namespace brktest;

std::u16string Code(std::u16string_view dll, std::u16string_view entry) {
  return (dll.empty() ? u"" : T(u"DLL", dll)) + (entry.empty() ? u"" : T(u"GETINTERFACE", entry));
}

// An engine with code, add-ons of every kind below it, two in the shared directory, and an
// engine without code beside it.
void LayOut(const Root &root, std::u16string_view extraEngineTags = u"") {
  root.Install(Module::kEngine, "eng/libengine.so");
  root.Header("eng/engine.hdr", Component(u"TTSENGINE", u"test/engine",
                                          Code(u"libengine.so", u"EngineGetInterface") +
                                              u"<ADDON>" + Component(u"PART", u"test/inline") +
                                              T(u"GETINTERFACE", u"PartGetInterface") +
                                              u"</ADDON>\r\n" + std::u16string(extraEngineTags)));
  root.Header("eng/parts/sibling.hdr",
              Component(u"PART", u"test/sibling", Code(u"ENGINE", u"PartGetInterface")));
  root.Install(Module::kAddon, "eng/parts/libaddon.so");
  root.Header("eng/parts/addon.hdr",
              Component(u"ADDON", u"test/addon", Code(u"libaddon.so", u"AddonGetInterface")));
  root.Header("eng/parts/bare.hdr",
              Component(u"ADDON", u"test/bare", Code(u"libaddon.so", u"BareGetInterface")));
  root.Header("eng/parts/nogi.hdr",
              Component(u"ADDON", u"test/nogetinterface", Code(u"libaddon.so", u"")));
  root.Header("eng/parts/nosym.hdr",
              Component(u"ADDON", u"test/nosymbol", Code(u"libaddon.so", u"Absent")));
  root.Install(Module::kRefuse, "eng/parts/librefuse.so");
  root.Header("eng/parts/refuse.hdr",
              Component(u"ADDON", u"test/refuse", Code(u"librefuse.so", u"RefuseGetInterface")));
  root.Install(Module::kBadInit, "eng/parts/libbadinit.so");
  root.Header("eng/parts/badinit.hdr",
              Component(u"ADDON", u"test/badinit", Code(u"libbadinit.so", u"BadInitGetInterface")));
  root.Install(Module::kNoEntry, "eng/parts/libnoentry.so");
  root.Header("eng/parts/noentry.hdr",
              Component(u"ADDON", u"test/noentry", Code(u"libnoentry.so", u"NoEntryGetInterface")));
  root.Header("eng/parts/missing.hdr",
              Component(u"ADDON", u"test/missing", Code(u"absent.so", u"AddonGetInterface")));
  root.Write("eng/parts/notalib.so", "this is not a shared library\n");
  root.Header("eng/parts/notalib.hdr",
              Component(u"ADDON", u"test/notalib", Code(u"notalib.so", u"AddonGetInterface")));
  const DataPart data = Blocks({{u"blk", "0123456789"}});
  root.Header("eng/parts/data.hdr", Component(u"DATA", u"test/data", data.elements), data.tail);
  root.Install(Module::kAddon, "shared/s/libaddon.so");
  root.Header("shared/s/addon.hdr",
              Component(u"ADDON", u"shared/addon", Code(u"libaddon.so", u"AddonGetInterface")));
  root.Header("shared/s/inengine.hdr",
              Component(u"PART", u"shared/inengine", Code(u"ENGINE", u"PartGetInterface")));
  root.Header("other/engine.hdr", Component(u"TTSENGINE", u"other/engine"));
}

class BrokerModules : public ::testing::Test {
 protected:
  void SetUp() override {
    TakeEvents();
    LayOut(root_);
  }
  void TearDown() override {
    const std::vector<std::string> events = TakeEvents();
    // Whatever a test loaded has been unloaded again.
    for (const char *module : {"engine", "addon", "refuse", "badinit", "noentry"})
      EXPECT_EQ(Count(events, std::string(module) + ": load"),
                Count(events, std::string(module) + ": unload"))
          << module;
  }
  Root root_;
};

TEST_F(BrokerModules, EngineInterfacesAreCountedAndTheModuleUnloadedWithTheLast) {
  Class cls(root_);
  BrkObject *object = cls.Open("test/engine");
  SafeHandle instance{};
  void *first = nullptr;
  ASSERT_EQ(brk_InterfaceQuery(object, "TEST/Engine", 1, &instance, &first), 0u);
  EXPECT_STREQ(static_cast<const char *>(first), "engine interface 1");
  EXPECT_EQ(instance.check, 0xE1u);
  EXPECT_NE(instance.pointer, nullptr);
  EXPECT_EQ(TakeEvents(), (std::vector<std::string>{"engine: load", "engine: entry 0",
                                                    "engine: init", "engine: entry 1"}));
  // The same id again is the same interface, not asked for again; it counts again.
  void *again = nullptr;
  void *second = nullptr;
  ASSERT_EQ(brk_InterfaceQuery(object, "test/engine", 1, &instance, &again), 0u);
  ASSERT_EQ(brk_InterfaceQuery(object, "test/engine", 2, &instance, &second), 0u);
  EXPECT_EQ(again, first);
  EXPECT_STREQ(static_cast<const char *>(second), "engine interface 2");
  EXPECT_EQ(TakeEvents(), std::vector<std::string>{"engine: entry 2"});

  EXPECT_EQ(brk_ObjClose(object), kStillInUse);
  EXPECT_EQ(brk_InterfaceRelease(object, first), 0u);
  EXPECT_EQ(brk_InterfaceRelease(object, second), 0u);
  EXPECT_TRUE(TakeEvents().empty());
  EXPECT_EQ(brk_ObjClose(object), kStillInUse);
  EXPECT_EQ(brk_InterfaceRelease(object, first), 0u);
  EXPECT_EQ(TakeEvents(), (std::vector<std::string>{"engine: fini e1", "engine: unload"}));
  // Given back: a further release finds no module that gave it out.
  EXPECT_EQ(brk_InterfaceRelease(object, first), kNoInterface);
  EXPECT_EQ(brk_ObjClose(object), 0u);
}

TEST_F(BrokerModules, AddonInItsOwnModule) {
  Class cls(root_);
  BrkObject *object = cls.Open("test/engine");
  SafeHandle instance{};
  void *five = nullptr;
  void *fiveAgain = nullptr;
  ASSERT_EQ(brk_InterfaceQuery(object, "test/addon", 5, &instance, &five), 0u);
  ASSERT_EQ(brk_InterfaceQuery(object, "test/addon", 5, &instance, &fiveAgain), 0u);
  EXPECT_EQ(five, fiveAgain);
  EXPECT_EQ(instance.check, 0xADu);
  EXPECT_EQ(brk_InterfaceRelease(object, five), 0u);
  std::vector<std::string> events = TakeEvents();
  EXPECT_EQ(Count(events, "addon: init"), 1);
  EXPECT_EQ(Count(events, "addon: unload"), 0);
  EXPECT_EQ(Count(events, "engine: load"), 0);  // the engine's own module is not needed
  EXPECT_EQ(brk_InterfaceRelease(object, five), 0u);
  EXPECT_EQ(TakeEvents(), (std::vector<std::string>{"addon: fini ad", "addon: unload"}));

  // A module without initialiser and finaliser loads all the same, with the null instance.
  instance = SafeHandle{&instance, 1};
  ASSERT_EQ(brk_InterfaceQuery(object, "test/bare", 9, &instance, &five), 0u);
  EXPECT_EQ(instance.pointer, nullptr);
  EXPECT_EQ(instance.check, 0u);
  EXPECT_EQ(brk_InterfaceRelease(object, five), 0u);
  EXPECT_EQ(brk_ObjClose(object), 0u);
}

TEST_F(BrokerModules, AddonsInTheEnginesLibraryCountOnBothModules) {
  Class cls(root_);
  BrkObject *object = cls.Open("test/engine");
  SafeHandle instance{};
  void *part = nullptr;
  ASSERT_EQ(brk_InterfaceQuery(object, "test/sibling", 5, &instance, &part), 0u);
  EXPECT_STREQ(static_cast<const char *>(part), "part interface 5");
  EXPECT_EQ(instance.check, 0xA5u);
  std::vector<std::string> events = TakeEvents();
  // The library is loaded once; both initialisers run.
  EXPECT_EQ(Count(events, "engine: load"), 1);
  EXPECT_EQ(Count(events, "engine: init"), 1);
  EXPECT_EQ(Count(events, "engine: part init"), 1);
  // Releasing the add-on's interface unloads both modules.
  EXPECT_EQ(brk_ObjClose(object), kStillInUse);
  EXPECT_EQ(brk_InterfaceRelease(object, part), 0u);
  EXPECT_EQ(TakeEvents(), (std::vector<std::string>{"engine: part fini a5", "engine: fini e1",
                                                    "engine: unload"}));

  // With an engine interface held the engine's module stays after the inline add-on's goes.
  void *engineInterface = nullptr;
  ASSERT_EQ(brk_InterfaceQuery(object, "test/inline", 5, &instance, &part), 0u);
  ASSERT_EQ(brk_InterfaceQuery(object, "test/engine", 2, &instance, &engineInterface), 0u);
  TakeEvents();
  EXPECT_EQ(brk_InterfaceRelease(object, part), 0u);
  EXPECT_EQ(TakeEvents(), std::vector<std::string>{"engine: part fini a5"});
  EXPECT_EQ(brk_InterfaceRelease(object, engineInterface), 0u);
  EXPECT_EQ(TakeEvents(), (std::vector<std::string>{"engine: fini e1", "engine: unload"}));

  // Releasing the engine's interface first keeps the library for the add-on still held.
  ASSERT_EQ(brk_InterfaceQuery(object, "test/engine", 2, &instance, &engineInterface), 0u);
  ASSERT_EQ(brk_InterfaceQuery(object, "test/inline", 5, &instance, &part), 0u);
  EXPECT_EQ(brk_InterfaceRelease(object, engineInterface), 0u);
  EXPECT_EQ(Count(TakeEvents(), "engine: unload"), 0);
  EXPECT_EQ(brk_InterfaceRelease(object, part), 0u);
  EXPECT_EQ(Count(TakeEvents(), "engine: unload"), 1);

  // Through an object without engine there is no engine library to live in.
  BrkObject *none = cls.Open();
  EXPECT_EQ(brk_InterfaceQuery(none, "shared/inengine", 5, &instance, &part), kMissing);
  EXPECT_EQ(part, nullptr);
  EXPECT_EQ(brk_ObjClose(none), 0u);
  EXPECT_EQ(brk_ObjClose(object), 0u);
}

TEST_F(BrokerModules, ModulesThatCannotServeLeaveNothingLoaded) {
  Class cls(root_);
  BrkObject *object = cls.Open("test/engine");
  SafeHandle instance{};
  void *interface = &instance;
  const struct {
    const char *brokerString;
    VQRESULT expected;
  } cases[] = {
      {"test/refuse", kCannotLoad},  {"test/badinit", kCannotLoad},
      {"test/noentry", kCannotLoad}, {"test/nosymbol", kCannotLoad},
      {"test/missing", kCannotLoad}, {"test/notalib", kCannotLoad},
      {"test/data", kNoTag},         {"test/nogetinterface", kNoTag},
      {"test/addon", kNoInterface},  {"nothing/here", kNotFound},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(brk_InterfaceQuery(object, c.brokerString, 7, &instance, &interface), c.expected)
        << c.brokerString;
    EXPECT_EQ(interface, nullptr);
    interface = &instance;
  }
  const std::vector<std::string> events = TakeEvents();
  EXPECT_EQ(Count(events, "badinit: init"), 1);
  EXPECT_EQ(Count(events, "badinit: fini"), 0);
  EXPECT_EQ(Count(events, "refuse: entry 0"), 1);
  // Of the three loads of the add-on module only the one refusing id 7 got to its initialiser.
  EXPECT_EQ(Count(events, "addon: init"), 1);
  EXPECT_EQ(Count(events, "addon: fini ad"), 1);
  for (const char *module : {"refuse", "badinit", "noentry", "addon"})
    EXPECT_EQ(Count(events, std::string(module) + ": unload"),
              module == std::string("addon") ? 3 : 1)
        << module;

  // A refused id while another interface is held leaves the module loaded.
  void *held = nullptr;
  ASSERT_EQ(brk_InterfaceQuery(object, "test/addon", 3, &instance, &held), 0u);
  EXPECT_EQ(brk_InterfaceQuery(object, "test/addon", 7, &instance, &interface), kNoInterface);
  EXPECT_EQ(Count(TakeEvents(), "addon: unload"), 0);
  // A pointer no module gave out changes no count.
  static const char never[] = "never";
  EXPECT_EQ(brk_InterfaceRelease(object, const_cast<char *>(never)), kNoInterface);
  EXPECT_EQ(brk_InterfaceRelease(object, nullptr), kNoInterface);
  EXPECT_EQ(brk_InterfaceRelease(nullptr, held), kNoInterface);
  EXPECT_EQ(brk_InterfaceQuery(nullptr, "test/addon", 3, &instance, &interface), kMissing);
  EXPECT_EQ(brk_InterfaceQuery(object, nullptr, 3, &instance, &interface), kMissing);
  EXPECT_EQ(brk_InterfaceRelease(object, held), 0u);
  EXPECT_EQ(Count(TakeEvents(), "addon: unload"), 1);
  EXPECT_EQ(brk_ObjClose(object), 0u);
}

TEST_F(BrokerModules, IdZeroIsAskedForEveryTime) {
  Class cls(root_);
  BrkObject *object = cls.Open("test/engine");
  SafeHandle instance{};
  void *table = nullptr;
  void *tableAgain = nullptr;
  ASSERT_EQ(brk_InterfaceQuery(object, "test/addon", 0, &instance, &table), 0u);
  ASSERT_EQ(brk_InterfaceQuery(object, "test/addon", 0, &instance, &tableAgain), 0u);
  EXPECT_EQ(table, tableAgain);
  EXPECT_NE(static_cast<BrkModuleTable *>(table)->initialize, nullptr);
  EXPECT_EQ(Count(TakeEvents(), "addon: entry 0"), 3);  // the load's, then one per query
  EXPECT_EQ(brk_InterfaceRelease(object, table), 0u);
  EXPECT_EQ(Count(TakeEvents(), "addon: unload"), 0);
  EXPECT_EQ(brk_InterfaceRelease(object, table), 0u);
  EXPECT_EQ(Count(TakeEvents(), "addon: unload"), 1);
  EXPECT_EQ(brk_ObjClose(object), 0u);
}

TEST_F(BrokerModules, ModulesAreSharedByTheObjectsOfTheClass) {
  Class cls(root_);
  BrkObject *first = cls.Open("test/engine");
  BrkObject *second = cls.Open("test/engine");
  BrkObject *other = cls.Open("other/engine");
  SafeHandle instance{};
  void *a = nullptr;
  void *b = nullptr;
  ASSERT_EQ(brk_InterfaceQuery(first, "shared/addon", 4, &instance, &a), 0u);
  ASSERT_EQ(brk_InterfaceQuery(other, "shared/addon", 4, &instance, &b), 0u);
  EXPECT_EQ(a, b);
  EXPECT_EQ(Count(TakeEvents(), "addon: load"), 1);
  // The engine's broker string reaches the engine only through objects on that engine.
  EXPECT_EQ(brk_InterfaceQuery(other, "test/engine", 1, &instance, &b), kNotFound);
  // The shared add-on's module keeps the class from closing, not the objects.
  EXPECT_EQ(brk_ObjClose(other), 0u);
  EXPECT_EQ(brk_InterfaceRelease(second, a), 0u);
  EXPECT_EQ(brk_ObjClose(second), 0u);
  EXPECT_EQ(brk_ObjClose(first), 0u);
  EXPECT_EQ(brk_ClassClose(cls), kStillInUse);
  BrkObject *late = cls.Open();
  EXPECT_EQ(brk_InterfaceRelease(late, a), 0u);
  EXPECT_EQ(Count(TakeEvents(), "addon: unload"), 1);
  EXPECT_EQ(brk_ObjClose(late), 0u);
}

TEST_F(BrokerModules, InitialiserMayComeBackIntoTheBroker) {
  Root root;
  TakeEvents();
  LayOut(root, T(u"REENTER", u"test/data:blk"));
  Class cls(root);
  BrkObject *object = cls.Open("test/engine");
  SafeHandle instance{};
  void *interface = nullptr;
  ASSERT_EQ(brk_InterfaceQuery(object, "test/engine", 1, &instance, &interface), 0u);
  EXPECT_EQ(brk_InterfaceRelease(object, interface), 0u);
  EXPECT_EQ(brk_ObjClose(object), 0u);
  const std::vector<std::string> events = TakeEvents();
  EXPECT_EQ(Count(events, "engine: reenter size 10"), 1);
  EXPECT_EQ(Count(events, "engine: unload"), 1);
}

}  // namespace
