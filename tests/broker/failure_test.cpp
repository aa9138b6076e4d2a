// Running out of memory at every allocation of each operation, and system calls that refuse:
// the documented code, nothing left allocated or loaded, and a class that stays usable.
#include <gtest/gtest.h>

#include "fixtures.h"
#include "platform/syscalls.h"

namespace {

using namespace brktest;

constexpr VQRESULT kHdrNoMemory = 0x80220186;

// Resolves "alias" to the add-on data/e.
int ReplaceAlias(const char *brokerString, uint32_t, const char **replacement) {
  *replacement = std::string(brokerString) == "alias" ? "data/e" : nullptr;
  return *replacement != nullptr;
}

class BrokerFailures : public ::testing::Test {
 protected:
  void SetUp() override {
    TakeEvents();
    root_.Install(Module::kEngine, "eng/libengine.so");
    root_.Header("eng/e.hdr",
                 Component(u"TTSENGINE", u"eng",
                           Code(u"libengine.so", u"EngineGetInterface") + u"<ADDON>" +
                               Component(u"ADDON", u"inline", Code(u"", u"PartGetInterface")) +
                               u"</ADDON>"));
    root_.Install(Module::kAddon, "eng/sub/libaddon.so");
    root_.Header("eng/sub/a.hdr",
                 Component(u"ADDON", u"addon", Code(u"libaddon.so", u"AddonGetInterface")));
    root_.Header("eng/sub/p.hdr",
                 Component(u"ADDON", u"part", Code(u"ENGINE", u"PartGetInterface")));
    const DataPart data = Blocks({{u"data", "0123456789"}, {u"more", "abc"}});
    root_.Header("eng/sub/deeper/d.dat",
                 Component(u"ADDON", u"data/e", data.elements + T(u"LANGUAGE", u"en")), data.tail);
    for (int i = 0; i < 10; ++i)
      root_.Header("shared/s" + std::to_string(i) + "/s.hdr",
                   Component(u"ADDON", u"data/s" + std::u16string(1, char16_t(u'0' + i)),
                             T(u"PRIORITY", u"1") + T(u"VERSION", u"v")));
  }
  void TearDown() override { ExpectNothingLoaded(); }
  Root root_;
};

TEST_F(BrokerFailures, EveryOperationRunsOutOfMemory) {
  // Opening a class and an object on its engine. A scan cut short still gives a class, with
  // what it found so far; add-ons read before a failed object open stay listed, and keep the
  // class from closing, until an object on the engine closes.
  int leftovers = 0;
  ForEachFailingAllocation(
      {kNoMemory, kUnexpected, kNoEngine},
      [&] {
        BrkClass *cls = nullptr;
        VQRESULT result = brk_ClassOpenEx(&cls, root_.Path().c_str(), g_vqNullHandle, nullptr);
        if (result) return result;
        BrkObject *object = nullptr;
        result = brk_ObjOpen(&object, "eng", "en", cls, nullptr);
        if (result == kNoMemory || result == kUnexpected) {
          const VQRESULT refused = brk_ClassClose(cls);
          if (refused == 0) return result;
          EXPECT_EQ(refused, kStillInUse);
          ++leftovers;
          EXPECT_EQ(brk_ObjOpen(&object, "eng", "en", cls, nullptr), 0u);
        }
        EXPECT_EQ(brk_ObjClose(object), 0u);
        EXPECT_EQ(brk_ClassClose(cls), 0u);
        return result;
      },
      [](VQRESULT) {});
  EXPECT_GT(leftovers, 0);
  Class open(root_, ReplaceAlias);
  BrkObject *object = nullptr;
  object = open.Open("eng", "en");
  SafeHandle instance{};
  void *interface = nullptr;
  for (const auto &query : {std::pair{"addon", 3}, {"part", 5}, {"inline", 5}, {"eng", 1}}) {
    const char *target = query.first;
    const uint8_t id = static_cast<uint8_t>(query.second);
    SCOPED_TRACE(target);
    ForEachFailingAllocation(
        {kNoMemory, kUnexpected},
        [&] { return brk_InterfaceQuery(object, target, id, &instance, &interface); },
        [&](VQRESULT result) {
          if (!result) {
            EXPECT_EQ(brk_InterfaceRelease(object, interface), 0u);
          }
          ExpectNothingLoaded();
        });
  }
  // Opening and mapping together: a mapping's window lives as long as its block.
  ForEachFailingAllocation(
      {kNoMemory, kUnexpected, kHdrNoMemory},
      [&] {
        BrkData *data = nullptr;
        VQRESULT result = brk_DataOpen(object, "data/e:more", &data);
        const void *address = nullptr;
        if (!result) result = brk_DataMap(object, data, 1, 2, &address);
        if (address) {
          EXPECT_EQ(std::string(static_cast<const char *>(address), 2), "bc");
        }
        brk_DataUnmap(object, data, address);
        if (data) {
          EXPECT_EQ(brk_DataClose(object, data), 0u);
        }
        return result;
      },
      [](VQRESULT) {});
  const char16_t *value = nullptr;
  for (const char *wanted : {"data/e:more", "alias:more"}) {
    ForEachFailingAllocation(
        {kNoMemory, kUnexpected}, [&] { return brk_TagQuery(object, wanted, "SIZE", &value); },
        [](VQRESULT) {});
    EXPECT_EQ(hdrtest::Ascii(value), "3");
  }
  BrkComponentList *list = nullptr;
  ForEachFailingAllocation(
      {kNoMemory, kUnexpected}, [&] { return brk_ComponentListQuery(object, "ADDON", &list); },
      [&](VQRESULT result) {
        if (result) return;
        EXPECT_EQ(list->count, 14u);
        EXPECT_EQ(brk_ComponentListRelease(object, list), 0u);
      });
  char *answer = nullptr;
  for (const char *query : {"data/def", "addon", "eng"}) {
    ForEachFailingAllocation(
        {kNoMemory, kUnexpected}, [&] { return brk_InfoQuery(object, query, &answer); },
        [&](VQRESULT result) {
          if (!result) {
            EXPECT_EQ(brk_InfoRelease(object, answer), 0u);
          }
        });
  }
  ForEachFailingAllocation(
      {kNoMemory, kUnexpected},
      [&] { return brk_BrokerStringQuery(object, "TTSENGINE", "n", &answer); },
      [&](VQRESULT result) {
        if (!result) {
          EXPECT_EQ(brk_BrokerStringRelease(object, answer), 0u);
        }
      });
  EXPECT_EQ(brk_ObjClose(object), 0u);
}

TEST_F(BrokerFailures, SystemCallsThatRefuse) {
  hdrtest::FaultySyscalls faulty;
  sc::plat::Syscalls &table = faulty.Table();
  const sc::plat::Syscalls real = sc::plat::DefaultSyscalls();
  const auto engines = [&] {
    Class cls(root_);
    BrkObject *none = cls.Open();
    const size_t count = Listed(none, "TTSENGINE").size();
    EXPECT_EQ(brk_ObjClose(none), 0u);
    return count;
  };
  // Directories that cannot be listed and headers that cannot be opened contribute nothing.
  table.opendir = [](const char *) -> sc::plat::Directory * { return nullptr; };
  EXPECT_EQ(engines(), 0u);
  table = real;
  table.readdir = [](sc::plat::Directory *, sc::plat::EntryKind *) -> const char * {
    return nullptr;
  };
  EXPECT_EQ(engines(), 0u);
  table = real;
  table.open = [](const char *, const char *) -> sc::plat::File * { return nullptr; };
  EXPECT_EQ(engines(), 0u);
  table = real;
  // Engine directories reached through links are asked about with stat.
  std::filesystem::create_directory_symlink(root_.Path("eng"), root_.Path("linked"));
  EXPECT_EQ(engines(), 2u);
  table.stat = [](const char *, sc::plat::EntryKind *) { return -1; };
  EXPECT_EQ(engines(), 1u);
  table = real;

  // Modules that cannot be loaded or lack their entry point leave nothing loaded; a block
  // whose file cannot be opened gives the reader's code.
  Class cls(root_);
  BrkObject *object = cls.Open("eng");
  SafeHandle instance{};
  void *interface = nullptr;
  table.dlopen = [](const char *) -> sc::plat::Library * { return nullptr; };
  EXPECT_EQ(brk_InterfaceQuery(object, "addon", 3, &instance, &interface), kCannotLoad);
  table = real;
  table.dlsym = [](sc::plat::Library *, const char *) -> void * { return nullptr; };
  EXPECT_EQ(brk_InterfaceQuery(object, "part", 5, &instance, &interface), kCannotLoad);
  table = real;
  table.open = [](const char *, const char *) -> sc::plat::File * { return nullptr; };
  BrkData *data = nullptr;
  EXPECT_EQ(brk_DataOpen(object, "data/e", &data), 0x8022018Bu);
  table = real;
  const std::vector<std::string> events = TakeEvents();
  EXPECT_EQ(Count(events, "engine: load"), 1);
  EXPECT_EQ(Count(events, "engine: unload"), 1);
  EXPECT_EQ(brk_ObjClose(object), 0u);
}

}  // namespace
