// Running out of memory at every allocation of each operation, and system calls that refuse:
// the documented code, nothing left allocated or loaded, and a class that stays usable.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "fixtures.h"
#include "platform/syscalls.h"

namespace {

using namespace brktest;

constexpr VQRESULT kHdrNoMemory = 0x80220186;
constexpr VQRESULT kHdrCannotOpen = 0x8022018B;

std::u16string Code(std::u16string_view dll, std::u16string_view entry) {
  return T(u"DLL", dll) + T(u"GETINTERFACE", entry);
}

class BrokerFailures : public ::testing::Test {
 protected:
  void SetUp() override {
    TakeEvents();
    root_.Install(Module::kEngine, "eng/libengine.so");
    root_.Header("eng/e.hdr",
                 Component(u"TTSENGINE", u"eng",
                           Code(u"libengine.so", u"EngineGetInterface") + T(u"VERSION", u"1") +
                               u"<ADDON>" + Component(u"ADDON", u"inline") +
                               T(u"GETINTERFACE", u"PartGetInterface") + u"</ADDON>"));
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
  void TearDown() override {
    const std::vector<std::string> events = TakeEvents();
    EXPECT_EQ(Count(events, "engine: load"), Count(events, "engine: unload"));
    EXPECT_EQ(Count(events, "addon: load"), Count(events, "addon: unload"));
  }
  Root root_;
};

TEST_F(BrokerFailures, ClassAndObjectOpensRunOutOfMemory) {
  BrkClass *cls = nullptr;
  ForEachFailingAllocation(
      {kNoMemory, kUnexpected},
      [&] { return brk_ClassOpenEx(&cls, root_.Path().c_str(), g_vqNullHandle, nullptr); },
      [&](VQRESULT result) {
        // A scan cut short still gives a class, with what it found so far.
        if (!result) {
          EXPECT_EQ(brk_ClassClose(cls), 0u);
        }
      });
  LockValue lock = 0;
  ASSERT_EQ(critsec_ObjOpen(0, 0, 0, &lock), 0u);
  ForEachFailingAllocation(
      {kNoMemory, kUnexpected},
      [&] { return brk_ClassOpen(&cls, root_.Path().c_str(), 0, lock, nullptr); },
      [&](VQRESULT result) {
        if (!result) {
          EXPECT_EQ(brk_ClassClose(cls), 0u);
        }
      });
  ASSERT_EQ(critsec_ObjClose(lock), 0u);

  Class open(root_);
  BrkObject *object = nullptr;
  ForEachFailingAllocation(
      {kNoMemory, kUnexpected}, [&] { return brk_ObjOpen(&object, "eng", "en", open, nullptr); },
      [&](VQRESULT result) {
        if (!result) {
          EXPECT_EQ(brk_ObjClose(object), 0u);
          return;
        }
        EXPECT_EQ(object, nullptr);
        // Add-ons found before the failure stay listed until an object on the engine
        // closes; until then the class refuses to close.
        BrkObject *retry = open.Open("eng");
        EXPECT_EQ(brk_ObjClose(retry), 0u);
      });
}

TEST_F(BrokerFailures, InterfaceQueriesRunOutOfMemory) {
  Class cls(root_);
  BrkObject *object = cls.Open("eng");
  for (const char *brokerString : {"addon", "part", "inline", "eng"}) {
    SCOPED_TRACE(brokerString);
    SafeHandle instance{};
    void *interface = nullptr;
    const uint8_t id = brokerString == std::string("addon") ? 3
                       : brokerString == std::string("eng") ? 1
                                                            : 5;
    ForEachFailingAllocation(
        {kNoMemory, kUnexpected},
        [&] { return brk_InterfaceQuery(object, brokerString, id, &instance, &interface); },
        [&](VQRESULT result) {
          if (!result) {
            EXPECT_EQ(brk_InterfaceRelease(object, interface), 0u);
          }
          // Nothing stays loaded after a failed query.
          const std::vector<std::string> events = TakeEvents();
          EXPECT_EQ(Count(events, "engine: load"), Count(events, "engine: unload"));
          EXPECT_EQ(Count(events, "addon: load"), Count(events, "addon: unload"));
        });
  }
  EXPECT_EQ(brk_ObjClose(object), 0u);
}

TEST_F(BrokerFailures, DataAndQueriesRunOutOfMemory) {
  Class cls(root_);
  BrkObject *object = cls.Open("eng", "en");
  // Opening and mapping together: the mapping's window lives as long as the block.
  ForEachFailingAllocation(
      {kNoMemory, kUnexpected, kHdrNoMemory},
      [&] {
        BrkData *data = nullptr;
        VQRESULT result = brk_DataOpen(object, "data/e:more", &data);
        if (result) return result;
        const void *address = nullptr;
        result = brk_DataMap(object, data, 1, 2, &address);
        if (!result) {
          EXPECT_EQ(std::string(static_cast<const char *>(address), 2), "bc");
          EXPECT_EQ(brk_DataUnmap(object, data, address), 0u);
        }
        EXPECT_EQ(brk_DataClose(object, data), 0u);
        return result;
      },
      [](VQRESULT) {});

  const char16_t *value = nullptr;
  ForEachFailingAllocation(
      {kNoMemory, kUnexpected}, [&] { return brk_TagQuery(object, "data/e:more", "SIZE", &value); },
      [](VQRESULT) {});
  EXPECT_EQ(Ascii(value), "3");
  BrkComponentList *list = nullptr;
  ForEachFailingAllocation(
      {kNoMemory, kUnexpected}, [&] { return brk_ComponentListQuery(object, "ADDON", &list); },
      [&](VQRESULT result) {
        if (!result) {
          EXPECT_EQ(list->count, 14u);
          EXPECT_EQ(brk_ComponentListRelease(object, list), 0u);
        }
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

int g_asked = 0;
int RetryOnce(const char *brokerString, uint32_t, const char **replacement) {
  if (++g_asked > 1) return 0;
  if (std::string(brokerString) == "alias") *replacement = "data/s3";
  return 1;
}

TEST_F(BrokerFailures, ResolutionRetriesRunOutOfMemory) {
  // A rescan adds records for good, so every round starts from a class of its own and ends
  // with it closed.
  root_.Write("shared/late/x.txt", "");
  for (const char *wanted : {"alias", "late"}) {
    const int64_t baseline = sc::testing::LiveBlocks();
    for (uint64_t nth = 1;; ++nth) {
      BrkClass *cls = nullptr;
      ASSERT_EQ(brk_ClassOpenEx(&cls, root_.Path().c_str(), g_vqNullHandle, RetryOnce), 0u);
      BrkObject *object = nullptr;
      ASSERT_EQ(brk_ObjOpen(&object, "eng", nullptr, cls, nullptr), 0u);
      root_.Header("shared/late/late.hdr", Component(u"ADDON", u"late"));
      g_asked = 0;
      const char16_t *value = nullptr;
      sc::testing::FailNthAllocation(nth);
      const VQRESULT result = brk_TagQuery(object, wanted, "NAME", &value);
      const bool failed = sc::testing::AllocationFailed();
      sc::testing::FailNthAllocation(0);
      std::filesystem::remove(root_.Path("shared/late/late.hdr"));
      EXPECT_EQ(brk_ObjClose(object), 0u);
      EXPECT_EQ(brk_ClassClose(cls), 0u);
      EXPECT_EQ(sc::testing::LiveBlocks(), baseline) << wanted << " allocation " << nth;
      if (!failed) {
        EXPECT_EQ(result, 0u) << wanted;
        break;
      }
      // A header that could not be read only hides its component.
      EXPECT_TRUE(result == kNoMemory || result == kUnexpected || result == kNotFound || !result)
          << wanted << " allocation " << nth << ": " << std::hex << result;
      if (HasFailure()) break;
    }
  }
}

TEST_F(BrokerFailures, SystemCallsThatRefuse) {
  hdrtest::FaultySyscalls faulty;
  sc::plat::Syscalls &table = faulty.Table();
  const sc::plat::Syscalls real = sc::plat::DefaultSyscalls();
  BrkObject *object = nullptr;
  const auto engineFound = [&](BrkClass *cls) {
    const VQRESULT result = brk_ObjOpen(&object, "eng", nullptr, cls, nullptr);
    if (!result) {
      EXPECT_EQ(brk_ObjClose(object), 0u);
    }
    return result == 0;
  };
  // Directories that cannot be listed, and headers that cannot be opened, contribute nothing.
  table.opendir = [](const char *) -> sc::plat::Directory * { return nullptr; };
  {
    Class cls(root_);
    EXPECT_FALSE(engineFound(cls));
  }
  table = real;
  table.readdir = [](sc::plat::Directory *, sc::plat::EntryKind *) -> const char * {
    return nullptr;
  };
  {
    Class cls(root_);
    EXPECT_FALSE(engineFound(cls));
  }
  table = real;
  table.open = [](const char *, const char *) -> sc::plat::File * { return nullptr; };
  {
    Class cls(root_);
    EXPECT_FALSE(engineFound(cls));
  }
  table = real;

  // An engine directory reached through a link is asked about with stat.
  std::filesystem::create_directory_symlink(root_.Path("eng"), root_.Path("linked"));
  std::filesystem::rename(root_.Path("eng"), root_.Path(".eng"));
  std::filesystem::create_directory_symlink(root_.Path(".eng"), root_.Path("eng"));
  {
    Class cls(root_);
    EXPECT_TRUE(engineFound(cls));
    table.stat = [](const char *, sc::plat::EntryKind *) { return -1; };
    Class refused(root_);
    // ".eng" itself is a real directory and still holds the engine.
    BrkComponentList *list = nullptr;
    BrkObject *none = refused.Open();
    ASSERT_EQ(brk_ComponentListQuery(none, "TTSENGINE", &list), 0u);
    EXPECT_EQ(list->count, 1u);
    EXPECT_EQ(brk_ComponentListRelease(none, list), 0u);
    EXPECT_EQ(brk_ObjClose(none), 0u);
    table = real;
  }

  // Modules that cannot be loaded or lack their entry point leave nothing loaded; a data
  // block whose file cannot be opened gives the reader's code.
  Class cls(root_);
  object = cls.Open("eng");
  SafeHandle instance{};
  void *interface = nullptr;
  table.dlopen = [](const char *) -> sc::plat::Library * { return nullptr; };
  EXPECT_EQ(brk_InterfaceQuery(object, "addon", 3, &instance, &interface), kCannotLoad);
  table = real;
  table.dlsym = [](sc::plat::Library *, const char *) -> void * { return nullptr; };
  EXPECT_EQ(brk_InterfaceQuery(object, "addon", 3, &instance, &interface), kCannotLoad);
  EXPECT_EQ(brk_InterfaceQuery(object, "part", 5, &instance, &interface), kCannotLoad);
  table = real;
  table.open = [](const char *, const char *) -> sc::plat::File * { return nullptr; };
  BrkData *data = nullptr;
  EXPECT_EQ(brk_DataOpen(object, "data/e", &data), kHdrCannotOpen);
  table = real;
  const std::vector<std::string> events = TakeEvents();
  EXPECT_EQ(Count(events, "addon: load"), 1);
  EXPECT_EQ(Count(events, "engine: load"), 1);
  ASSERT_EQ(brk_InterfaceQuery(object, "part", 5, &instance, &interface), 0u);
  EXPECT_EQ(brk_InterfaceRelease(object, interface), 0u);
  EXPECT_EQ(brk_ObjClose(object), 0u);
}

}  // namespace
