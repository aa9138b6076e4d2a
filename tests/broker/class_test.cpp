// Opening and closing classes and objects, and the counts that refuse a close while something
// opened through it is in use.
#include <gtest/gtest.h>

#include "fixtures.h"

namespace {

using namespace brktest;

TEST(BrokerObjects, CountsRefusalsAndTheEnginesAddons) {
  Root root;
  root.Header("eng/e.hdr", Component(u"TTSENGINE", u"abc/x"));
  root.Header("eng/sub/a.hdr", Component(u"ADDON", u"a/one"));
  root.Header("shared/s/s.hdr", Component(u"ADDON", u"s/one"));
  Class cls(root);
  BrkObject *object = reinterpret_cast<BrkObject *>(&object);
  EXPECT_EQ(brk_ObjOpen(&object, "abc/x", nullptr, nullptr, nullptr), kMissing);
  EXPECT_EQ(object, nullptr);
  object = reinterpret_cast<BrkObject *>(&object);
  EXPECT_EQ(brk_ObjOpen(&object, "nothing", "en", cls, nullptr), kNoEngine);
  EXPECT_EQ(object, nullptr);
  // Without broker string: the shared add-ons only; the class cannot close meanwhile.
  for (const char *none : {static_cast<const char *>(nullptr), ""}) {
    ASSERT_EQ(brk_ObjOpenEx(&object, none, nullptr, cls, nullptr), 0u);
    EXPECT_EQ(Listed(object, "ADDON"), std::vector<std::string>{"s/one"});
    EXPECT_EQ(brk_ClassClose(cls), kStillInUse);
    EXPECT_EQ(brk_ObjCloseEx(object), 0u);
  }
  EXPECT_EQ(brk_ObjClose(nullptr), 0u);
  EXPECT_EQ(brk_ClassClose(nullptr), 0u);

  // The add-ons are read by the first object on the engine, read again (for new ones) by
  // every later one, shared by all, and dropped with the last.
  BrkObject *first = cls.Open("abc/x");
  BrkObject *second = cls.Open("ABC/X");
  root.Header("eng/sub/late.hdr", Component(u"ADDON", u"a/late"));
  BrkObject *third = cls.Open("abc/X");
  EXPECT_EQ(Listed(first, "ADDON").size(), 3u);
  EXPECT_EQ(brk_ObjClose(first), 0u);
  EXPECT_EQ(brk_ObjClose(second), 0u);
  EXPECT_EQ(Listed(third, "ADDON").size(), 3u);
  EXPECT_EQ(brk_ClassClose(cls), kStillInUse);
  EXPECT_EQ(brk_ObjClose(third), 0u);
  // A closed object is refused without being read.
  EXPECT_EQ(brk_ObjClose(third), kMissing);
  EXPECT_EQ(InfoOf(third, "a/one"), Error(kMissing));
}

TEST(BrokerClasses, RootsLocksAndResources) {
  Root root;
  root.Header("eng/e.hdr", Component(u"TTSENGINE", u"e"));
  const std::string path = root.Path();
  const auto usable = [](BrkClass *cls) {
    BrkObject *object = nullptr;
    const VQRESULT opened = brk_ObjOpen(&object, "e", nullptr, cls, nullptr);
    const VQRESULT closed = brk_ObjClose(object);
    EXPECT_EQ(brk_ClassClose(cls), 0u);
    return opened ? opened : closed;
  };
  // A root that does not exist gives a class without engines.
  BrkClass *cls = nullptr;
  ASSERT_EQ(brk_ClassOpen(&cls, root.Path("absent").c_str(), 0, 0, nullptr), 0u);
  EXPECT_EQ(usable(cls), kNoEngine);
  // A lent lock is used, not destroyed.
  LockValue lock = 0;
  ASSERT_EQ(critsec_ObjOpen(0, 0, 0, &lock), 0u);
  ASSERT_EQ(brk_ClassOpen(&cls, path.c_str(), 0, lock, nullptr), 0u);
  EXPECT_EQ(usable(cls), 0u);
  EXPECT_EQ(critsec_Enter(lock), 0u);
  EXPECT_EQ(critsec_Leave(lock), 0u);
  EXPECT_EQ(critsec_ObjClose(lock), 0u);
  // A class from a resource makes its own lock from it; a closed resource is refused and the
  // out parameter left as it was.
  ResourceHandle resource;
  ASSERT_EQ(rsrc_Open(0, 0, 0, 0, &resource), 0u);
  ASSERT_EQ(brk_ClassOpenEx(&cls, path.c_str(), resource, nullptr), 0u);
  EXPECT_EQ(usable(cls), 0u);
  ASSERT_EQ(rsrc_Close(resource), 0u);
  BrkClass *untouched = reinterpret_cast<BrkClass *>(&resource);
  EXPECT_EQ(brk_ClassOpenEx(&untouched, path.c_str(), resource, nullptr), kUnexpected);
  EXPECT_EQ(brk_ClassOpen(&untouched, nullptr, 0, 0, nullptr), kUnexpected);
  EXPECT_EQ(untouched, reinterpret_cast<BrkClass *>(&resource));
  EXPECT_EQ(brk_ClassClose(cls), kMissing);  // closed already
}

TEST(BrokerErrors, TextsOfTheBrokersCodes) {
  EXPECT_STREQ(brk_ErrorGetString(0x80150107),
               "SOME MODULES (DATA OR INTERFACES) WERE NOT RELEASED YET");
  EXPECT_STREQ(brk_ErrorGetString(0x8015010A), "SPECIFIED MODULE COULD NOT BE FOUND");
  EXPECT_STREQ(brk_ErrorGetString(0x8015010C), "Unknown module");
  EXPECT_STREQ(brk_ErrorGetString(0x80220102), hdrpars_ErrorGetString(0x80220102));
  EXPECT_STREQ(brk_ErrorGetString(0x80150186), vq_ErrorGetString(0x80150186));
  EXPECT_STREQ(brk_ErrorGetString(0x80160101), "Unknown module");
  EXPECT_STREQ(brk_ErrorGetSubModuleName(0x80150104), "Broker submodule");
  EXPECT_STREQ(brk_ErrorGetSubModuleName(0x80150204), "Unknown submodule");
  EXPECT_STREQ(brk_ErrorGetSubModuleName(0x80220102), "Error originates in a sub module");
}

}  // namespace
