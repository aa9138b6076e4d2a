// What is installed: component lists by type, broker strings by name, module paths and the
// add-ons that default forms select.
#include <gtest/gtest.h>

#include <string>

#include "fixtures.h"

namespace {

using namespace brktest;

std::string Text(const char *text) {
  return text ? text : "(null)";
}

TEST(BrokerQueries, ComponentListsByType) {
  Root root;
  root.Header("a/one.hdr", Component(u"TTSENGINE", u"tts/one", T(u"VERSION", u"1.0"), u"One"));
  root.Header("b/two.hdr", Component(u"TTSENGINE", u"tts/two", T(u"LANGUAGE", u"en")));
  root.Header("b/asr.hdr", Component(u"ASRENGINE", u"asr/one"));
  root.Header("a/sub/v.hdr",
              Component(u"VOICE", u"voice/a",
                        T(u"LANGUAGE", u"en") + T(u"PRIORITY", u"-2") + T(u"VERSION", u"v")));
  // Seventeen shared voices: the list grows twice.
  for (int i = 0; i < 17; ++i) {
    const std::u16string number(1, static_cast<char16_t>(u'a' + i));
    root.Header(
        "shared/v" + std::to_string(i) + "/v.hdr",
        Component(u"VOICE", u"voice/s" + number, T(u"PRIORITY", number == u"c" ? u"3" : u"")));
  }
  root.Header("shared/t/ttsaddon.hdr", Component(u"TTSENGINE", u"not/an/engine"));
  Class cls(root);
  BrkObject *none = cls.Open();
  BrkObject *onOne = cls.Open("tts/one");
  BrkComponentList *list = nullptr;

  // Engines of the type, whatever the object; without language and priority.
  ASSERT_EQ(brk_ComponentListQuery(none, "TTSENGINE", &list), 0u);
  ASSERT_EQ(list->count, 2u);
  const BrkComponentInfo &one =
      Text(list->entries[0].brokerString) == "tts/one" ? list->entries[0] : list->entries[1];
  EXPECT_EQ(Ascii(one.name), "One");
  EXPECT_EQ(Text(one.version), "1.0");
  for (uint32_t i = 0; i < 2; ++i) {
    EXPECT_EQ(list->entries[i].language, nullptr);
    EXPECT_EQ(list->entries[i].priority, 0u);
  }
  EXPECT_EQ(brk_ComponentListRelease(none, list), 0u);

  // Other types: the add-ons the object reaches, its engine's first.
  ASSERT_EQ(brk_ComponentListQuery(onOne, "VOICE", &list), 0u);
  ASSERT_EQ(list->count, 18u);
  EXPECT_EQ(list->capacity, 24u);
  EXPECT_EQ(Text(list->entries[0].brokerString), "voice/a");
  EXPECT_EQ(Text(list->entries[0].language), "en");
  EXPECT_EQ(Text(list->entries[0].version), "v");
  EXPECT_EQ(list->entries[0].priority, 0xFFFFFFFEu);
  uint32_t prioritised = 0;
  for (uint32_t i = 1; i < list->count; ++i) {
    EXPECT_EQ(std::string(list->entries[i].brokerString).substr(0, 7), "voice/s") << i;
    EXPECT_EQ(Ascii(list->entries[i].name), "n");
    EXPECT_EQ(list->entries[i].version, nullptr);
    prioritised += list->entries[i].priority == 3;
  }
  EXPECT_EQ(prioritised, 1u);
  EXPECT_EQ(brk_ComponentListRelease(onOne, list), 0u);

  ASSERT_EQ(brk_ComponentListQuery(none, "VOICE", &list), 0u);
  EXPECT_EQ(list->count, 17u);
  EXPECT_EQ(brk_ComponentListRelease(none, list), 0u);
  for (const char *type : {"ttsengine", "NOTHING"}) {
    ASSERT_EQ(brk_ComponentListQuery(onOne, type, &list), 0u) << type;
    EXPECT_EQ(list->count, 0u);
    EXPECT_EQ(brk_ComponentListRelease(onOne, list), 0u);
  }
  EXPECT_EQ(brk_ComponentListQuery(onOne, nullptr, &list), kMissing);
  EXPECT_EQ(brk_ComponentListQuery(nullptr, "VOICE", &list), kMissing);
  EXPECT_EQ(brk_ComponentListQuery(onOne, "VOICE", nullptr), kMissing);
  EXPECT_EQ(brk_ComponentListRelease(onOne, nullptr), kMissing);

  // Broker strings by exact name.
  char *found = nullptr;
  ASSERT_EQ(brk_BrokerStringQuery(none, "TTSENGINE", "One", &found), 0u);
  EXPECT_EQ(Text(found), "tts/one");
  EXPECT_EQ(brk_BrokerStringRelease(none, found), 0u);
  found = reinterpret_cast<char *>(&found);
  EXPECT_EQ(brk_BrokerStringQuery(none, "TTSENGINE", "one", &found), kNoModule);
  EXPECT_EQ(found, nullptr);
  EXPECT_EQ(brk_BrokerStringQuery(none, "ttsengine", "One", &found), kNoModule);
  EXPECT_EQ(brk_BrokerStringQuery(none, "TTSENGINE", nullptr, &found), kMissing);
  EXPECT_EQ(brk_BrokerStringQuery(nullptr, "TTSENGINE", "One", &found), kMissing);
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
  const auto info = [](BrkObject *object, const char *brokerString) {
    char *answer = reinterpret_cast<char *>(&answer);
    const VQRESULT result = brk_InfoQuery(object, brokerString, &answer);
    if (result) {
      if (result != kMissing) {
        EXPECT_EQ(answer, nullptr);
      }
      return "error " + std::to_string(result);
    }
    const std::string text(answer);
    EXPECT_EQ(brk_InfoRelease(object, answer), 0u);
    return text;
  };
  const std::string engineModule = root.Path() + "/eng/libengine.so";
  EXPECT_EQ(info(none, "ENG"), engineModule);
  EXPECT_EQ(info(onEngine, "own"), root.Path() + "/eng/sub/libown.so");
  EXPECT_EQ(info(onEngine, "in"), engineModule);
  EXPECT_EQ(info(onEngine, "INLINE"), engineModule);
  EXPECT_EQ(info(onEngine, "data/def"), "data/only");
  EXPECT_EQ(info(none, "data/def"), "data/shared");
  EXPECT_EQ(info(onEngine, "data/only"), "error " + std::to_string(kNoTag));
  EXPECT_EQ(info(none, "nodll"), "error " + std::to_string(kNoTag));
  EXPECT_EQ(info(none, "own"), "error " + std::to_string(kNotFound));
  EXPECT_EQ(info(none, nullptr), "error " + std::to_string(kMissing));
  EXPECT_EQ(brk_InfoQuery(none, "eng", nullptr), kMissing);
  EXPECT_EQ(brk_InfoRelease(none, nullptr), kMissing);
  EXPECT_EQ(brk_ObjClose(none), 0u);
  EXPECT_EQ(brk_ObjClose(onEngine), 0u);
}

}  // namespace
