// Opening and closing classes and objects, and the counts that refuse a close while something
// opened through it is in use.
#include <gtest/gtest.h>

#include "fixtures.h"

namespace {

using namespace brktest;

class BrokerObjects : public ::testing::Test {
 protected:
  void SetUp() override {
    root_.Header("eng/e.hdr", Component(u"TTSENGINE", u"abc/x"));
    root_.Header("eng/sub/a.hdr", Component(u"ADDON", u"a/one"));
    root_.Header("shared/s/s.hdr", Component(u"ADDON", u"s/one"));
  }
  static uint32_t AddonCount(BrkObject *object) {
    BrkComponentList *list = nullptr;
    EXPECT_EQ(brk_ComponentListQuery(object, "ADDON", &list), 0u);
    const uint32_t count = list ? list->count : 0;
    EXPECT_EQ(brk_ComponentListRelease(object, list), 0u);
    return count;
  }
  Root root_;
};

TEST_F(BrokerObjects, OpenRefusalsAndObjectsWithoutEngine) {
  Class cls(root_);
  BrkObject *object = reinterpret_cast<BrkObject *>(&object);
  EXPECT_EQ(brk_ObjOpen(&object, "abc/x", nullptr, nullptr, nullptr), kMissing);
  EXPECT_EQ(object, nullptr);
  object = reinterpret_cast<BrkObject *>(&object);
  EXPECT_EQ(brk_ObjOpen(&object, "nothing", "en", cls, nullptr), kNoEngine);
  EXPECT_EQ(object, nullptr);
  // The refused open counted nothing: the class closes at the end of the test.
  for (const char *none : {static_cast<const char *>(nullptr), ""}) {
    ASSERT_EQ(brk_ObjOpen(&object, none, nullptr, cls, nullptr), 0u);
    EXPECT_EQ(AddonCount(object), 1u);  // the shared one only
    EXPECT_EQ(brk_ClassClose(cls), kStillInUse);
    EXPECT_EQ(brk_ObjClose(object), 0u);
  }
  EXPECT_EQ(brk_ObjClose(nullptr), 0u);
  EXPECT_EQ(brk_ClassClose(nullptr), 0u);
  // The same operations under their other names.
  ASSERT_EQ(brk_ObjOpenEx(&object, "ABC/X", nullptr, cls, nullptr), 0u);
  EXPECT_EQ(AddonCount(object), 2u);
  EXPECT_EQ(brk_ObjCloseEx(object), 0u);
}

TEST_F(BrokerObjects, EngineAddonsLiveFromTheFirstToTheLastObject) {
  Class cls(root_);
  BrkObject *first = cls.Open("abc/x");
  BrkObject *second = cls.Open("ABC/X");
  // Installed between two opens: the second open's rescan finds it, for both objects.
  root_.Header("eng/sub/late.hdr", Component(u"ADDON", u"a/late"));
  BrkObject *third = cls.Open("abc/X");
  EXPECT_EQ(AddonCount(first), 3u);
  EXPECT_EQ(brk_ObjClose(first), 0u);
  EXPECT_EQ(AddonCount(third), 3u);
  EXPECT_EQ(brk_ObjClose(second), 0u);
  EXPECT_EQ(brk_ClassClose(cls), kStillInUse);
  EXPECT_EQ(brk_ObjClose(third), 0u);
  // The add-ons went with the last object; a new object reads them again.
  root_.Header("eng/sub/later.hdr", Component(u"ADDON", u"a/later"));
  BrkObject *again = cls.Open("abc/x");
  EXPECT_EQ(AddonCount(again), 4u);
  EXPECT_EQ(brk_ObjClose(again), 0u);
}

TEST(BrokerClasses, RootsLocksAndResources) {
  Root root;
  root.Header("eng/e.hdr", Component(u"TTSENGINE", u"e"));
  // A root that does not exist gives a class without engines.
  BrkClass *cls = nullptr;
  ASSERT_EQ(brk_ClassOpen(&cls, root.Path("absent").c_str(), 0, 0, nullptr), 0u);
  BrkObject *object = nullptr;
  EXPECT_EQ(brk_ObjOpen(&object, "e", nullptr, cls, nullptr), kNoEngine);
  EXPECT_EQ(brk_ClassClose(cls), 0u);

  // A lent lock is used, not destroyed: it still works after the class has closed.
  LockValue lock = 0;
  ASSERT_EQ(critsec_ObjOpen(0, 0, 0, &lock), 0u);
  ASSERT_EQ(brk_ClassOpen(&cls, root.Path().c_str(), 0, lock, nullptr), 0u);
  ASSERT_EQ(brk_ObjOpen(&object, "e", nullptr, cls, nullptr), 0u);
  EXPECT_EQ(brk_ObjClose(object), 0u);
  EXPECT_EQ(brk_ClassClose(cls), 0u);
  EXPECT_EQ(critsec_Enter(lock), 0u);
  EXPECT_EQ(critsec_Leave(lock), 0u);
  EXPECT_EQ(critsec_ObjClose(lock), 0u);

  // A class from a resource makes its own lock from it; a closed resource is refused and the
  // out parameter left as it was.
  ResourceHandle resource;
  ASSERT_EQ(rsrc_Open(0, 0, 0, 0, &resource), 0u);
  ASSERT_EQ(brk_ClassOpenEx(&cls, root.Path().c_str(), resource, nullptr), 0u);
  ASSERT_EQ(brk_ObjOpen(&object, "e", nullptr, cls, nullptr), 0u);
  EXPECT_EQ(brk_ObjClose(object), 0u);
  EXPECT_EQ(brk_ClassClose(cls), 0u);
  ASSERT_EQ(rsrc_Close(resource), 0u);
  BrkClass *untouched = reinterpret_cast<BrkClass *>(&resource);
  EXPECT_EQ(brk_ClassOpenEx(&untouched, root.Path().c_str(), resource, nullptr), kUnexpected);
  EXPECT_EQ(untouched, reinterpret_cast<BrkClass *>(&resource));
  EXPECT_EQ(brk_ClassOpen(&untouched, nullptr, 0, 0, nullptr), kUnexpected);
  EXPECT_EQ(untouched, reinterpret_cast<BrkClass *>(&resource));
  EXPECT_EQ(brk_ClassOpen(nullptr, root.Path().c_str(), 0, 0, nullptr), kMissing);
}

TEST(BrokerClasses, ClosedHandlesAreRefusedWithoutBeingRead) {
  Root root;
  root.Header("eng/e.hdr", Component(u"TTSENGINE", u"e"));
  BrkClass *cls = nullptr;
  ASSERT_EQ(brk_ClassOpenEx(&cls, root.Path().c_str(), g_vqNullHandle, nullptr), 0u);
  BrkObject *object = nullptr;
  ASSERT_EQ(brk_ObjOpen(&object, "e", nullptr, cls, nullptr), 0u);
  ASSERT_EQ(brk_ObjClose(object), 0u);
  EXPECT_EQ(brk_ObjClose(object), kMissing);
  char *info = nullptr;
  EXPECT_EQ(brk_InfoQuery(object, "e", &info), kMissing);
  ASSERT_EQ(brk_ClassClose(cls), 0u);
  EXPECT_EQ(brk_ClassClose(cls), kMissing);
  EXPECT_EQ(brk_ObjOpen(&object, "e", nullptr, cls, nullptr), kMissing);
}

TEST(BrokerErrors, TextsOfTheBrokersCodes) {
  EXPECT_STREQ(brk_ErrorGetString(0x80150107),
               "SOME MODULES (DATA OR INTERFACES) WERE NOT RELEASED YET");
  EXPECT_STREQ(brk_ErrorGetString(0x80150100), "DIRECTORY NOT FOUND");
  EXPECT_STREQ(brk_ErrorGetString(0x8015010A), "SPECIFIED MODULE COULD NOT BE FOUND");
  EXPECT_STREQ(brk_ErrorGetString(0x8015010C), "Unknown module");
  EXPECT_STREQ(brk_ErrorGetString(0x80220102), hdrpars_ErrorGetString(0x80220102));
  EXPECT_STREQ(brk_ErrorGetString(0x80150186), vq_ErrorGetString(0x80150186));
  EXPECT_STREQ(brk_ErrorGetString(0), "Success");
  EXPECT_STREQ(brk_ErrorGetString(0x80160101), "Unknown module");
  EXPECT_STREQ(brk_ErrorGetSubModuleName(0x80150104), "Broker submodule");
  EXPECT_STREQ(brk_ErrorGetSubModuleName(0x80150204), "Unknown submodule");
  EXPECT_STREQ(brk_ErrorGetSubModuleName(0x80220102), "Error originates in a sub module");
}

}  // namespace
