// Opening and closing classes and objects, the counts that refuse a close while something
// opened through it is in use, what is installed (lists by type, broker strings by name), data
// blocks opened through shared, counted handles and mapped in ranges, and header values.
#include <gtest/gtest.h>

#include <tuple>

#include "fixtures.h"

namespace {

using namespace brktest;
using BrokerObjects = Installed;

TEST_F(BrokerObjects, CountsRefusalsAndTheEnginesAddons) {
  Class cls(root_);
  BrkObject *object = reinterpret_cast<BrkObject *>(&object);
  EXPECT_EQ(brk_ObjOpen(&object, "test/engine", nullptr, nullptr, nullptr), BRK_E_INVALID_ARGUMENT);
  EXPECT_EQ(object, nullptr);
  ASSERT_EQ(brk_ObjOpenEx(&object, nullptr, nullptr, cls, nullptr), 0u);
  EXPECT_EQ(brk_ClassClose(cls), BRK_E_STILL_IN_USE);  // while an object is open
  EXPECT_EQ(brk_ObjCloseEx(object), 0u);
  // The engine's add-ons are shared by its objects (named in any case) and read again for
  // each; a closed object is refused without being read.
  BrkObject *first = cls.Open("test/engine");
  const size_t before = Listed(first, "ADDON").size();
  root_.Header("eng/parts/late.hdr", Component(u"ADDON", u"late"));
  BrkObject *third = cls.Open("TEST/Engine");
  EXPECT_EQ(brk_ObjClose(first), 0u);
  EXPECT_EQ(Listed(third, "ADDON").size(), before + 1);
  EXPECT_EQ(brk_ObjClose(third), 0u);
  EXPECT_EQ(brk_ObjClose(third), BRK_E_INVALID_ARGUMENT);
  EXPECT_EQ(InfoOf(third, "test/addon"), Error(BRK_E_INVALID_ARGUMENT));
}

TEST_F(BrokerObjects, ClassRootsLocksAndResources) {
  const std::string path = root_.Path();
  const auto usable = [](BrkClass *cls) {
    BrkObject *object = nullptr;
    const VQRESULT opened = brk_ObjOpen(&object, "test/engine", nullptr, cls, nullptr);
    const VQRESULT closed = brk_ObjClose(object);
    EXPECT_EQ(brk_ClassClose(cls), 0u);
    return opened ? opened : closed;
  };
  // A root that does not exist gives a class without engines.
  BrkClass *cls = nullptr;
  ASSERT_EQ(brk_ClassOpen(&cls, root_.Path("absent").c_str(), 0, 0, nullptr), 0u);
  EXPECT_EQ(usable(cls), BRK_E_ENGINE_NOT_FOUND);
  // A lent lock is used, not destroyed.
  LockValue lock = 0;
  ASSERT_EQ(critsec_ObjOpen(0, 0, 0, &lock), 0u);
  ASSERT_EQ(brk_ClassOpen(&cls, path.c_str(), 0, lock, nullptr), 0u);
  EXPECT_EQ(usable(cls), 0u);
  EXPECT_EQ(critsec_ObjClose(lock), 0u);
  // A class from a resource makes its own lock from it; a closed resource is refused and the
  // out parameter left as it was.
  ResourceHandle resource;
  ASSERT_EQ(rsrc_Open(0, 0, 0, 0, &resource), 0u);
  ASSERT_EQ(brk_ClassOpenEx(&cls, path.c_str(), resource, nullptr), 0u);
  EXPECT_EQ(usable(cls), 0u);
  ASSERT_EQ(rsrc_Close(resource), 0u);
  BrkClass *untouched = reinterpret_cast<BrkClass *>(&resource);
  EXPECT_EQ(brk_ClassOpenEx(&untouched, path.c_str(), resource, nullptr), BRK_E_UNEXPECTED);
  EXPECT_EQ(brk_ClassOpen(&untouched, nullptr, 0, 0, nullptr), BRK_E_UNEXPECTED);
  EXPECT_EQ(untouched, reinterpret_cast<BrkClass *>(&resource));
  EXPECT_EQ(brk_ClassClose(cls), BRK_E_INVALID_ARGUMENT);  // closed already
}

using BrokerQueries = Installed;

TEST_F(BrokerQueries, ComponentListsAndBrokerStringsByName) {
  Class cls(root_);
  BrkObject *none = cls.Open();
  BrkObject *onEngine = cls.Open("test/engine");
  // Engines of the type, whatever the object, without language or priority; an add-on of an
  // engine type is listed only when no engine has the type.
  const auto first = [](BrkObject *object, const char *type) {
    BrkComponentList *list = nullptr;
    EXPECT_EQ(brk_ComponentListQuery(object, type, &list), 0u);
    const BrkComponentInfo &info = list->entries[0];
    const std::string text = std::to_string(list->count) + " " + info.brokerString + " " +
                             hdrtest::Ascii(info.name) + " " +
                             (info.language ? info.language : "-") + " " + info.version + " " +
                             std::to_string(info.priority);
    EXPECT_EQ(brk_ComponentListRelease(object, list), 0u);
    return text;
  };
  EXPECT_EQ(first(none, "TTSENGINE"), "1 test/engine Engine - 2.1 0");
  // Other types: the add-ons the object reaches, its engine's first.
  EXPECT_EQ(first(onEngine, "VOICE"), "18 voice/e n de v 4294967294");
  EXPECT_EQ(Listed(none, "VOICE").size(), 17u);
  EXPECT_TRUE(Listed(onEngine, "voice").empty());  // types compare with case
  BrkComponentList *list = nullptr;
  EXPECT_EQ(brk_ComponentListQuery(onEngine, nullptr, &list), BRK_E_INVALID_ARGUMENT);

  const auto byName = [](BrkObject *object, const char *type, const char *name) {
    char *found = reinterpret_cast<char *>(&found);
    const VQRESULT result = brk_BrokerStringQuery(object, type, name, &found);
    EXPECT_EQ(result != 0, found == nullptr);
    const std::string text = result ? Error(result) : found;
    EXPECT_EQ(brk_BrokerStringRelease(object, found), result ? BRK_E_INVALID_ARGUMENT : 0u);
    return text;
  };
  EXPECT_EQ(byName(none, "TTSENGINE", "Engine"), "test/engine");
  // Names keep their case.
  EXPECT_EQ(byName(none, "TTSENGINE", "engine"), Error(BRK_E_MODULE_NOT_FOUND));
  EXPECT_EQ(byName(onEngine, "VOICE", "n"), "voice/e");
}

class BrokerData : public Installed {
 protected:
  // The mapped bytes (size 0: the whole block), or the failure.
  static std::string Map(BrkObject *object, BrkData *data, uint32_t offset, uint32_t size) {
    const void *address = &address;
    const VQRESULT result = brk_DataMap(object, data, offset, size, &address);
    if (result) {
      EXPECT_EQ(address, nullptr);
      return Error(result);
    }
    uint32_t whole = 0;
    EXPECT_EQ(brk_DataSizeQuery(object, data, &whole), 0u);
    const std::string bytes(static_cast<const char *>(address), size ? size : whole);
    EXPECT_EQ(brk_DataUnmap(object, data, address), 0u);
    return bytes;
  }
};

TEST_F(BrokerData, OneCountedHandlePerBlockAndExactRanges) {
  Class cls(root_);
  BrkObject *object = cls.Open("test/engine");
  BrkObject *other = cls.Open("test/engine");
  BrkData *first = nullptr, *second = nullptr, *index = nullptr, *upper = nullptr;
  ASSERT_EQ(brk_DataOpen(object, "test/data", &first), 0u);
  ASSERT_EQ(brk_DataOpen(other, "TEST/DATA:data", &second), 0u);  // the default name, spelt out
  ASSERT_EQ(brk_DataOpen(object, "test/data:idx", &index), 0u);
  ASSERT_EQ(brk_DataOpen(object, "test/data:IDX", &upper), 0u);
  EXPECT_EQ(first, second);
  EXPECT_EQ(index, upper);
  EXPECT_NE(index, first);

  EXPECT_EQ(Map(object, index, 100, 0), kIndex);  // size 0: the whole block from its start
  EXPECT_EQ(Map(object, index, 20, 30), kIndex.substr(20));
  for (const auto &[offset, size] : {std::pair(20u, 31u), {50u, 1u}, {0u, 0xFFFFFFFFu}})
    EXPECT_EQ(Map(object, index, offset, size), Error(BRK_E_CANNOT_READ_DATA));
  // A mapping stays valid while others come and go; the block cannot close under it.
  const void *low = nullptr;
  ASSERT_EQ(brk_DataMap(object, index, 0, 4, &low), 0u);
  EXPECT_EQ(Map(object, index, 40, 10), kIndex.substr(40));
  EXPECT_EQ(std::string(static_cast<const char *>(low), 4), "ABCD");
  EXPECT_EQ(brk_DataClose(object, index), 0u);  // one of two opens
  EXPECT_EQ(brk_DataClose(object, index), HDRPARS_E_STILL_MAPPED);
  EXPECT_EQ(brk_DataUnmap(object, index, low), 0u);
  EXPECT_EQ(brk_DataClose(object, index), 0u);
  EXPECT_EQ(brk_DataMap(object, index, 0, 4, &low), BRK_E_INVALID_ARGUMENT);  // closed handle

  // The first close keeps the block open for the other holder; the last one closes it, and
  // until then the engine's last object cannot close.
  EXPECT_EQ(brk_DataClose(object, first), 0u);
  EXPECT_EQ(Map(other, second, 2, 3), "234");
  EXPECT_EQ(brk_ObjClose(object), 0u);
  EXPECT_EQ(brk_ObjClose(other), BRK_E_STILL_IN_USE);
  EXPECT_EQ(brk_DataClose(other, second), 0u);
}

TEST_F(BrokerData, RefusedOpensSharedBlocksAndTags) {
  Class cls(root_);
  BrkObject *onEngine = cls.Open("test/engine");
  BrkObject *onOther = cls.Open("other/engine");
  const std::pair<const char *, VQRESULT> cases[] = {{"test/inline", BRK_E_INVALID_COMPONENT},
                                                     {"test/data:nooffset", HDRPARS_E_TAG_MISSING},
                                                     {"test/engine", BRK_E_BROKER_STRING_NOT_FOUND},
                                                     {nullptr, BRK_E_UNEXPECTED}};
  for (const auto &[brokerString, expected] : cases) {
    BrkData *data = reinterpret_cast<BrkData *>(&data);
    EXPECT_EQ(brk_DataOpen(onEngine, brokerString, &data), expected)
        << (brokerString ? brokerString : "null");
    EXPECT_EQ(data, nullptr);
  }
  EXPECT_EQ(brk_DataClose(onEngine, nullptr), BRK_E_INVALID_ARGUMENT);

  // Tags: of any engine of the class, through any object (tag names keep their case); of
  // add-ons only through the objects that reach them; of a described block, its own.
  EXPECT_EQ(TagOf(onOther, "TEST/ENGINE", "VERSION"), "2.1");
  EXPECT_EQ(TagOf(onOther, "test/engine", "version"), Error(BRK_E_TAG_NOT_FOUND));
  EXPECT_EQ(TagOf(onEngine, "test/data", "LANGUAGE"), "en");
  EXPECT_EQ(TagOf(onOther, "test/data", "LANGUAGE"), Error(BRK_E_BROKER_STRING_NOT_FOUND));
  EXPECT_EQ(TagOf(onEngine, "test/inline", "COMPTYPE"), "PART");
  EXPECT_EQ(TagOf(onEngine, "test/data:IDX", "SIZE"), "50");
  EXPECT_EQ(TagOf(onEngine, "test/data:nooffset", "OFFSET"), Error(BRK_E_TAG_NOT_FOUND));
  EXPECT_EQ(TagOf(onEngine, nullptr, "SIZE"), Error(BRK_E_INVALID_ARGUMENT));

  // An open block of a shared add-on keeps the class open.
  BrkObject *none = cls.Open();
  BrkData *data = nullptr;
  ASSERT_EQ(brk_DataOpen(none, "shared/blocks", &data), 0u);
  EXPECT_EQ(Map(none, data, 0, 0), "shared");
  EXPECT_EQ(brk_ObjClose(none), 0u);
  EXPECT_EQ(brk_ObjClose(onEngine), 0u);
  EXPECT_EQ(brk_ObjClose(onOther), 0u);
  EXPECT_EQ(brk_ClassClose(cls), BRK_E_STILL_IN_USE);
  EXPECT_EQ(brk_DataClose(cls.Open(), data), 0u);
}

}  // namespace
