// Component modules loaded for real: entry points, initialisers and finalisers, interfaces
// counted on the module and on the engine whose library an add-on shares, and every way a
// module can fail to load, each leaving nothing loaded.
#include <gtest/gtest.h>

#include "fixtures.h"

namespace {

using namespace brktest;

// An engine with code and an inline add-on, add-ons of every kind below it, two shared ones,
// and an engine without code beside it.
void LayOut(const Root &root, std::u16string_view extraEngineTags = u"") {
  root.Install(Module::kEngine, "eng/libengine.so");
  root.Header("eng/engine.hdr",
              Component(u"TTSENGINE", u"test/engine",
                        Code(u"libengine.so", u"EngineGetInterface") + u"<ADDON>" +
                            Component(u"PART", u"test/inline", Code(u"", u"PartGetInterface")) +
                            u"</ADDON>" + std::u16string(extraEngineTags)));
  const auto addon = [&](const char *file, std::u16string_view brokerString,
                         std::u16string_view dll, std::u16string_view entry) {
    root.Header(std::string("eng/parts/") + file,
                Component(u"ADDON", brokerString, Code(dll, entry)));
  };
  root.Install(Module::kAddon, "eng/parts/libaddon.so");
  root.Install(Module::kRefuse, "eng/parts/librefuse.so");
  root.Install(Module::kBadInit, "eng/parts/libbadinit.so");
  root.Install(Module::kNoEntry, "eng/parts/libnoentry.so");
  root.Write("eng/parts/notalib.so", "this is not a shared library\n");
  addon("sibling.hdr", u"test/sibling", u"ENGINE", u"PartGetInterface");
  addon("addon.hdr", u"test/addon", u"libaddon.so", u"AddonGetInterface");
  addon("bare.hdr", u"test/bare", u"libaddon.so", u"BareGetInterface");
  addon("nogi.hdr", u"test/nogetinterface", u"libaddon.so", u"");
  addon("nosym.hdr", u"test/nosymbol", u"libaddon.so", u"Absent");
  addon("refuse.hdr", u"test/refuse", u"librefuse.so", u"RefuseGetInterface");
  addon("badinit.hdr", u"test/badinit", u"libbadinit.so", u"BadInitGetInterface");
  addon("noentry.hdr", u"test/noentry", u"libnoentry.so", u"NoEntryGetInterface");
  addon("missing.hdr", u"test/missing", u"absent.so", u"AddonGetInterface");
  addon("notalib.hdr", u"test/notalib", u"notalib.so", u"AddonGetInterface");
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
  void TearDown() override { ExpectNothingLoaded(); }
  // Queries and returns the interface, or null.
  void *Query(BrkObject *object, const char *brokerString, uint8_t id) {
    void *interface = nullptr;
    EXPECT_EQ(brk_InterfaceQuery(object, brokerString, id, &instance_, &interface), 0u)
        << brokerString;
    return interface;
  }
  Root root_;
  SafeHandle instance_{};
};

TEST_F(BrokerModules, EngineAndAddonModulesAreCountedAndUnloadedWithTheirLastInterface) {
  Class cls(root_);
  BrkObject *object = cls.Open("test/engine");
  void *first = Query(object, "TEST/Engine", 1);
  EXPECT_STREQ(static_cast<const char *>(first), "engine interface 1");
  EXPECT_EQ(instance_.check, 0xE1u);
  EXPECT_EQ(TakeEvents(), (std::vector<std::string>{"engine: load", "engine: entry 0",
                                                    "engine: init", "engine: entry 1"}));
  // The same id again is the same interface, not asked for again, and counts again.
  EXPECT_EQ(Query(object, "test/engine", 1), first);
  void *second = Query(object, "test/engine", 2);
  EXPECT_EQ(TakeEvents(), std::vector<std::string>{"engine: entry 2"});
  EXPECT_EQ(brk_InterfaceRelease(object, first), 0u);
  EXPECT_EQ(brk_InterfaceRelease(object, second), 0u);
  EXPECT_EQ(brk_ObjClose(object), kStillInUse);
  EXPECT_TRUE(TakeEvents().empty());
  EXPECT_EQ(brk_InterfaceRelease(object, first), 0u);
  EXPECT_EQ(TakeEvents(), (std::vector<std::string>{"engine: fini e1", "engine: unload"}));
  EXPECT_EQ(brk_InterfaceRelease(object, first), kNoInterface);  // its module is gone

  // An add-on in a module of its own; id 0 is asked for anew every time.
  void *five = Query(object, "test/addon", 5);
  EXPECT_EQ(Query(object, "test/addon", 5), five);
  void *table = Query(object, "test/addon", 0);
  EXPECT_EQ(Query(object, "test/addon", 0), table);
  EXPECT_NE(static_cast<BrkModuleTable *>(table)->initialize, nullptr);
  std::vector<std::string> events = TakeEvents();
  EXPECT_EQ(Count(events, "addon: entry 0"), 3);
  EXPECT_EQ(Count(events, "engine: load"), 0);
  for (void *interface : {five, table, five})
    EXPECT_EQ(brk_InterfaceRelease(object, interface), 0u);
  EXPECT_TRUE(TakeEvents().empty());
  EXPECT_EQ(brk_InterfaceRelease(object, table), 0u);
  EXPECT_EQ(TakeEvents(), (std::vector<std::string>{"addon: fini ad", "addon: unload"}));
  // A module without initialiser and finaliser keeps the null instance.
  instance_ = SafeHandle{&instance_, 1};
  EXPECT_EQ(brk_InterfaceRelease(object, Query(object, "test/bare", 9)), 0u);
  EXPECT_EQ(instance_.pointer, nullptr);
  EXPECT_EQ(brk_ObjClose(object), 0u);
}

TEST_F(BrokerModules, AddonsInTheEnginesLibraryCountOnBothModules) {
  Class cls(root_);
  BrkObject *object = cls.Open("test/engine");
  void *part = Query(object, "test/sibling", 5);
  EXPECT_STREQ(static_cast<const char *>(part), "part interface 5");
  EXPECT_EQ(instance_.check, 0xA5u);
  const std::vector<std::string> events = TakeEvents();
  EXPECT_EQ(Count(events, "engine: load"), 1);  // one library, both initialisers
  EXPECT_EQ(Count(events, "engine: init"), 1);
  EXPECT_EQ(Count(events, "engine: part init"), 1);
  EXPECT_EQ(brk_ObjClose(object), kStillInUse);
  EXPECT_EQ(brk_InterfaceRelease(object, part), 0u);
  EXPECT_EQ(TakeEvents(), (std::vector<std::string>{"engine: part fini a5", "engine: fini e1",
                                                    "engine: unload"}));
  // An engine interface still held keeps the engine's module after the add-on's goes, and
  // the add-on still held keeps the library after the engine's interface goes.
  void *engine = Query(object, "test/engine", 2);
  part = Query(object, "test/inline", 5);
  TakeEvents();
  EXPECT_EQ(brk_InterfaceRelease(object, part), 0u);
  EXPECT_EQ(TakeEvents(), std::vector<std::string>{"engine: part fini a5"});
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
  EXPECT_EQ(brk_InterfaceQuery(none, "shared/inengine", 5, &instance_, &interface), kMissing);
  EXPECT_EQ(interface, nullptr);
  EXPECT_EQ(brk_ObjClose(none), 0u);
  EXPECT_EQ(brk_ObjClose(object), 0u);
}

TEST_F(BrokerModules, ModulesThatCannotServeLeaveNothingLoaded) {
  Class cls(root_);
  BrkObject *object = cls.Open("test/engine");
  const std::pair<const char *, VQRESULT> cases[] = {{"test/refuse", kCannotLoad},
                                                     {"test/badinit", kCannotLoad},
                                                     {"test/noentry", kCannotLoad},
                                                     {"test/nosymbol", kCannotLoad},
                                                     {"test/missing", kCannotLoad},
                                                     {"test/notalib", kCannotLoad},
                                                     {"test/data", kNoTag},
                                                     {"test/nogetinterface", kNoTag},
                                                     {"test/addon", kNoInterface},
                                                     {"nothing/here", kNotFound},
                                                     {nullptr, kMissing}};
  for (const auto &[brokerString, expected] : cases) {
    void *interface = &interface;
    EXPECT_EQ(brk_InterfaceQuery(object, brokerString, 7, &instance_, &interface), expected)
        << (brokerString ? brokerString : "null");
    EXPECT_EQ(interface, nullptr);
  }
  std::vector<std::string> events = TakeEvents();
  EXPECT_EQ(Count(events, "badinit: init"), 1);
  EXPECT_EQ(Count(events, "badinit: fini"), 0);
  EXPECT_EQ(Count(events, "addon: unload"), 3);  // no symbol, no GETINTERFACE, id 7 refused
  EXPECT_EQ(Count(events, "addon: fini ad"), 1);
  for (const char *module : {"refuse", "badinit", "noentry"})
    EXPECT_EQ(Count(events, std::string(module) + ": unload"), 1) << module;

  // A refused id while another interface is held leaves the module loaded; a pointer no
  // module gave out changes no count.
  void *held = Query(object, "test/addon", 3);
  void *interface = nullptr;
  EXPECT_EQ(brk_InterfaceQuery(object, "test/addon", 7, &instance_, &interface), kNoInterface);
  static const char never[] = "never";
  EXPECT_EQ(brk_InterfaceRelease(object, const_cast<char *>(never)), kNoInterface);
  EXPECT_EQ(brk_InterfaceRelease(object, nullptr), kNoInterface);
  EXPECT_EQ(Count(TakeEvents(), "addon: unload"), 0);
  EXPECT_EQ(brk_InterfaceRelease(object, held), 0u);
  EXPECT_EQ(Count(TakeEvents(), "addon: unload"), 1);
  EXPECT_EQ(brk_ObjClose(object), 0u);
}

TEST_F(BrokerModules, ModulesAreSharedByTheObjectsOfTheClass) {
  Class cls(root_);
  BrkObject *onEngine = cls.Open("test/engine");
  BrkObject *other = cls.Open("other/engine");
  void *a = Query(onEngine, "shared/addon", 4);
  EXPECT_EQ(Query(other, "shared/addon", 4), a);
  // An engine's broker string reaches the engine only through objects on that engine.
  void *interface = nullptr;
  EXPECT_EQ(brk_InterfaceQuery(other, "test/engine", 1, &instance_, &interface), kNotFound);
  // A shared add-on's module keeps the class open, not the objects.
  EXPECT_EQ(brk_ObjClose(other), 0u);
  EXPECT_EQ(brk_InterfaceRelease(onEngine, a), 0u);
  EXPECT_EQ(brk_ObjClose(onEngine), 0u);
  EXPECT_EQ(brk_ClassClose(cls), kStillInUse);
  BrkObject *late = cls.Open();
  EXPECT_EQ(brk_InterfaceRelease(late, a), 0u);
  EXPECT_EQ(brk_ObjClose(late), 0u);
  const std::vector<std::string> events = TakeEvents();
  EXPECT_EQ(Count(events, "addon: load"), 1);
  EXPECT_EQ(Count(events, "addon: unload"), 1);
}

TEST_F(BrokerModules, InitialiserMayComeBackIntoTheBroker) {
  Root root;
  LayOut(root, T(u"REENTER", u"test/data:blk"));
  Class cls(root);
  BrkObject *object = cls.Open("test/engine");
  EXPECT_EQ(brk_InterfaceRelease(object, Query(object, "test/engine", 1)), 0u);
  EXPECT_EQ(brk_ObjClose(object), 0u);
  std::vector<std::string> events = TakeEvents();
  EXPECT_EQ(Count(events, "engine: reenter size 10"), 1);
  EXPECT_EQ(Count(events, "engine: unload"), 1);
}

}  // namespace
