// What is installed: component lists by type, broker strings by name, module paths and the
// add-ons that default forms select.
#include <gtest/gtest.h>

#include "fixtures.h"

namespace {

using namespace brktest;

TEST(BrokerQueries, ComponentListsAndBrokerStringsByName) {
  Root root;
  root.Header("a/one.hdr", Component(u"TTSENGINE", u"tts/one", T(u"VERSION", u"1.0"), u"One"));
  root.Header("b/two.hdr", Component(u"TTSENGINE", u"tts/two", T(u"LANGUAGE", u"en")));
  root.Header("a/sub/v.hdr",
              Component(u"VOICE", u"voice/a",
                        T(u"LANGUAGE", u"en") + T(u"PRIORITY", u"-2") + T(u"VERSION", u"v")));
  for (int i = 0; i < 17; ++i)  // the list grows twice
    root.Header("shared/v" + std::to_string(i) + "/v.hdr",
                Component(u"VOICE", u"voice/s" + std::u16string(1, char16_t(u'a' + i))));
  root.Header("shared/t/t.hdr", Component(u"TTSENGINE", u"not/an/engine"));
  Class cls(root);
  BrkObject *none = cls.Open();
  BrkObject *onOne = cls.Open("tts/one");
  BrkComponentList *list = nullptr;
  // Engines of the type, whatever the object, without language or priority.
  ASSERT_EQ(brk_ComponentListQuery(none, "TTSENGINE", &list), 0u);
  ASSERT_EQ(list->count, 2u);
  const BrkComponentInfo &one =
      list->entries[std::string(list->entries[0].brokerString) != "tts/one"];
  EXPECT_EQ(hdrtest::Ascii(one.name), "One");
  EXPECT_STREQ(one.version, "1.0");
  for (uint32_t i = 0; i < 2; ++i) {
    EXPECT_EQ(list->entries[i].language, nullptr);
    EXPECT_EQ(list->entries[i].priority, 0u);
  }
  EXPECT_EQ(brk_ComponentListRelease(none, list), 0u);
  // Other types: the add-ons the object reaches, its engine's first.
  ASSERT_EQ(brk_ComponentListQuery(onOne, "VOICE", &list), 0u);
  ASSERT_EQ(list->count, 18u);
  EXPECT_EQ(list->capacity, 24u);
  EXPECT_STREQ(list->entries[0].brokerString, "voice/a");
  EXPECT_STREQ(list->entries[0].language, "en");
  EXPECT_STREQ(list->entries[0].version, "v");
  EXPECT_EQ(list->entries[0].priority, 0xFFFFFFFEu);
  for (uint32_t i = 1; i < list->count; ++i) {
    EXPECT_EQ(std::string(list->entries[i].brokerString).substr(0, 7), "voice/s") << i;
    EXPECT_EQ(list->entries[i].version, nullptr);
  }
  EXPECT_EQ(brk_ComponentListRelease(onOne, list), 0u);
  EXPECT_EQ(Listed(none, "VOICE").size(), 17u);
  EXPECT_TRUE(Listed(onOne, "ttsengine").empty());  // types compare with case
  EXPECT_EQ(brk_ComponentListQuery(onOne, nullptr, &list), kMissing);
  EXPECT_EQ(brk_ComponentListRelease(onOne, nullptr), kMissing);

  char *found = nullptr;
  ASSERT_EQ(brk_BrokerStringQuery(none, "TTSENGINE", "One", &found), 0u);
  EXPECT_STREQ(found, "tts/one");
  EXPECT_EQ(brk_BrokerStringRelease(none, found), 0u);
  found = reinterpret_cast<char *>(&found);
  EXPECT_EQ(brk_BrokerStringQuery(none, "TTSENGINE", "one", &found), kNoModule);
  EXPECT_EQ(found, nullptr);
  EXPECT_EQ(brk_BrokerStringQuery(onOne, "VOICE", "n", &found), 0u);
  EXPECT_STREQ(found, "voice/a");
  EXPECT_EQ(brk_BrokerStringRelease(onOne, found), 0u);
  EXPECT_EQ(brk_BrokerStringRelease(none, nullptr), kMissing);
  EXPECT_EQ(brk_ObjClose(onOne), 0u);
  EXPECT_EQ(brk_ObjClose(none), 0u);
}

TEST(BrokerQueries, InfoGivesModulePathsAndDefaultSelections) {
  Root root;
  root.Header("eng/e.hdr", Component(u"TTSENGINE", u"eng",
                                     T(u"DLL", u"libengine.so") + u"<ADDON>" +
                                         Component(u"PART", u"inline") + u"</ADDON>"));
  root.Header("nodll/e.hdr", Component(u"ASRENGINE", u"nodll"));
  root.Header("eng/sub/own.hdr", Component(u"ADDON", u"own", T(u"DLL", u"libown.so")));
  root.Header("eng/sub/in.hdr", Component(u"ADDON", u"in", T(u"DLL", u"ENGINE")));
  root.Header("eng/sub/data.hdr", Component(u"ADDON", u"data/only", T(u"PRIORITY", u"4")));
  root.Header("shared/s/s.hdr", Component(u"ADDON", u"data/shared", T(u"PRIORITY", u"9")));
  Class cls(root);
  BrkObject *onEngine = cls.Open("eng");
  BrkObject *none = cls.Open();
  const std::string engineModule = root.Path() + "/eng/libengine.so";
  EXPECT_EQ(InfoOf(none, "ENG"), engineModule);
  EXPECT_EQ(InfoOf(onEngine, "own"), root.Path() + "/eng/sub/libown.so");
  EXPECT_EQ(InfoOf(onEngine, "in"), engineModule);
  EXPECT_EQ(InfoOf(onEngine, "INLINE"), engineModule);
  EXPECT_EQ(InfoOf(onEngine, "data/def"), "data/only");
  EXPECT_EQ(InfoOf(none, "data/def"), "data/shared");
  EXPECT_EQ(InfoOf(onEngine, "data/only"), Error(kNoTag));
  EXPECT_EQ(InfoOf(none, "nodll"), Error(kNoTag));
  EXPECT_EQ(InfoOf(none, "own"), Error(kNotFound));
  EXPECT_EQ(InfoOf(none, nullptr), Error(kMissing));
  EXPECT_EQ(brk_InfoRelease(none, nullptr), kMissing);
  EXPECT_EQ(brk_ObjClose(none), 0u);
  EXPECT_EQ(brk_ObjClose(onEngine), 0u);
}

}  // namespace
