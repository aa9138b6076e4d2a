// What the scans find below a root, and which component a broker string selects: exact and
// default forms, priorities, languages, callbacks with replacements and rescans.
#include <gtest/gtest.h>

#include <functional>
#include <set>

#include "broker/text.h"
#include "fixtures.h"

namespace {

using namespace brktest;

std::set<std::string> AsSet(const std::vector<std::string> &strings) {
  return {strings.begin(), strings.end()};
}

TEST(BrokerScan, WhereEnginesAndAddonsAreFound) {
  Root root;
  root.Header("top.hdr", Component(u"TTSENGINE", u"e/top"));  // not in an engine directory
  root.Header("x/asr.hdr", Component(u"ASRENGINE", u"e/asr"));
  root.Header("x/deep/d.hdr", Component(u"TTSENGINE", u"e/deep"));  // an add-on, not an engine
  root.Header("x/e.dat", Component(u"TTSENGINE", u"e/dat"));
  root.Header("x/lower.hdr", Component(u"ttsengine", u"e/lower"));
  root.Header("x/noname.hdr", T(u"COMPTYPE", u"TTSENGINE") + T(u"BROKERSTRING", u"e/noname"));
  root.Write("x/empty.hdr", "");
  root.Header("x/cut.hdr", u"<COMPTYPE>FXENGINE</COMPTYPE><BROKERSTRING>e/cut</BROKERS");
  root.Header("z/one.hdr", Component(u"FXENGINE", u"dup/e", u"", u"one"));
  root.Header("z/two.hdr", Component(u"FXENGINE", u"dup/e", u"", u"two"));
  root.Header("eng/e.hdr", Component(u"TTSENGINE", u"eng",
                                     u"<ADDON>" + Component(u"ADDON", u"inline") + u"</ADDON>" +
                                         u"<ADDON>" + T(u"COMPTYPE", u"ADDON") + u"</ADDON>"));
  root.Header("eng/direct.hdr", Component(u"ADDON", u"a/direct"));
  root.Header("eng/sub/a.hdr", Component(u"ADDON", u"a/one"));
  root.Header("eng/sub/z.dat", Component(u"ADDON", u"a/dat"));
  root.Header("eng/sub/deeper/b.dat", Component(u"ADDON", u"a/two"));
  root.Header("eng/sub/f.hdr", Component(u"ADDON", u"a/for-eng", T(u"ENGINE", u"X1 eng")));
  root.Header("eng/sub/g.hdr", Component(u"ADDON", u"a/other", T(u"ENGINE", u"ENG")));
  root.Header("eng/sub/notype.hdr", T(u"BROKERSTRING", u"a/notype") + T(u"NAME", u"n"));
  root.Header("shared/direct.hdr", Component(u"ADDON", u"s/direct"));
  root.Header("shared/a/b/deep.hdr", Component(u"ADDON", u"s/deep", T(u"ENGINE", u"none")));
  Class cls(root);
  BrkObject *none = cls.Open("");
  EXPECT_EQ(Listed(none, "TTSENGINE"), std::vector<std::string>{"eng"});
  EXPECT_EQ(Listed(none, "ASRENGINE"), std::vector<std::string>{"e/asr"});
  // Both engines of one broker string are listed; every lookup finds the first.
  const std::vector<std::string> fx = Listed(none, "FXENGINE");
  EXPECT_EQ(fx, (std::vector<std::string>{"dup/e", "dup/e"}));
  BrkComponentList *list = nullptr;
  ASSERT_EQ(brk_ComponentListQuery(none, "FXENGINE", &list), 0u);
  EXPECT_EQ(TagOf(none, "DUP/E", "NAME"), hdrtest::Ascii(list->entries[0].name));
  EXPECT_EQ(brk_ComponentListRelease(none, list), 0u);
  for (const char *missing : {"e/top", "e/deep", "e/dat", "e/lower", "e/noname", "e/cut"}) {
    BrkObject *object = nullptr;
    EXPECT_EQ(brk_ObjOpen(&object, missing, nullptr, cls, nullptr), kNoEngine) << missing;
  }
  // The shared add-ons lie below subdirectories of "shared"; ENGINE does not filter them.
  EXPECT_EQ(Listed(none, "ADDON"), std::vector<std::string>{"s/deep"});

  // An engine's add-ons: inline ones first; in each directory "*.hdr", then "*.dat", then
  // subdirectories; then the shared ones.
  BrkObject *onEngine = cls.Open("ENG");
  const std::vector<std::string> order = Listed(onEngine, "ADDON");
  EXPECT_EQ(AsSet(order),
            (std::set<std::string>{"inline", "a/one", "a/dat", "a/two", "a/for-eng", "s/deep"}));
  const auto at = [&](const char *name) { return std::find(order.begin(), order.end(), name); };
  EXPECT_EQ(at("inline"), order.begin());
  EXPECT_LT(at("a/one"), at("a/dat"));
  EXPECT_LT(at("a/for-eng"), at("a/dat"));
  EXPECT_LT(at("a/dat"), at("a/two"));
  EXPECT_EQ(at("s/deep"), order.end() - 1);
  // A header in an engine directory that is no engine is no add-on either.
  EXPECT_EQ(TagOf(onEngine, "a/direct", "NAME"), Error(kNotFound));
  EXPECT_EQ(TagOf(none, "a/one", "NAME"), Error(kNotFound));
  EXPECT_EQ(brk_ObjClose(onEngine), 0u);
  EXPECT_EQ(brk_ObjClose(none), 0u);
}

TEST(BrokerScan, FirstReadingOfABrokerStringWinsWithinOneList) {
  Root root;
  root.Header("eng/e.hdr", Component(u"TTSENGINE", u"eng"));
  root.Header("eng/sub/x.hdr", Component(u"ADDON", u"dup", u"", u"first"));
  root.Header("eng/sub/x.dat", Component(u"ADDON", u"dup", u"", u"second"));
  root.Header("eng/sub/y.dat", Component(u"ADDON", u"DUP", u"", u"third"));
  root.Header("shared/s/z.hdr", Component(u"ADDON", u"dup", u"", u"shared"));
  Class cls(root);
  BrkObject *onEngine = cls.Open("eng");
  BrkObject *none = cls.Open();
  EXPECT_EQ(Listed(onEngine, "ADDON"), (std::vector<std::string>{"dup", "DUP", "dup"}));
  EXPECT_EQ(TagOf(onEngine, "DUP", "NAME"), "first");  // exact form ignores case
  EXPECT_EQ(TagOf(none, "dup", "NAME"), "shared");
  EXPECT_EQ(brk_ObjClose(none), 0u);
  EXPECT_EQ(brk_ObjClose(onEngine), 0u);
}

TEST(BrokerResolve, DefaultFormChoosesByPriorityAndLanguage) {
  Root root;
  root.Header("eng/e.hdr", Component(u"TTSENGINE", u"eng"));
  const auto addon = [&](const std::string &file, std::u16string_view brokerString,
                         std::u16string_view more) {
    root.Header(file, Component(u"ADDON", brokerString, more));
  };
  // Within a directory "*.hdr" comes before "*.dat", both before subdirectories.
  addon("shared/v/p5.hdr", u"voice/en/a", T(u"PRIORITY", u"5"));
  addon("shared/v/p7.dat", u"voice/en/b", T(u"PRIORITY", u"7"));
  addon("shared/v/w/p7.hdr", u"voice/en/c", T(u"PRIORITY", u" +7x"));
  addon("shared/n/a.hdr", u"neg/a", T(u"PRIORITY", u"4000000000"));
  addon("shared/n/b.dat", u"neg/b", T(u"PRIORITY", u"-1"));
  addon("shared/z/a.hdr", u"zero/a", u"");
  addon("shared/z/b.dat", u"zero/b", T(u"PRIORITY", u"none"));
  addon("shared/c/a.hdr", u"A/anything", u"");
  addon("shared/c/b.hdr", u"b/a", u"");
  addon("shared/l/x.hdr", u"lang/x", T(u"LANGUAGE", u"de") + T(u"PRIORITY", u"9"));
  addon("shared/l/y.hdr", u"lang/y", T(u"PRIORITY", u"1"));
  addon("shared/l/z.hdr", u"lang/z", T(u"LANGUAGE", u"en") + T(u"PRIORITY", u"2"));
  addon("shared/p/s.hdr", u"pri/s", T(u"PRIORITY", u"50"));
  addon("shared/p/o.hdr", u"only/s", u"");
  addon("eng/sub/e.hdr", u"pri/e", T(u"PRIORITY", u"1"));
  Class cls(root);
  BrkObject *none = cls.Open();
  EXPECT_EQ(InfoOf(none, "voice/en/def"), "voice/en/c");  // the later of two 7s
  EXPECT_EQ(InfoOf(none, "voice/def"), "voice/en/c");
  EXPECT_EQ(InfoOf(none, "neg/def"), "neg/b");  // -1 ranks above every other priority
  EXPECT_EQ(InfoOf(none, "zero/def"), "zero/b");
  EXPECT_EQ(InfoOf(none, "a/def"), "A/anything");
  EXPECT_EQ(InfoOf(none, "lang/def"), "lang/x");
  for (const char *nothing : {"voice/en/a/more/def", "/def", "voice/en/DEF"})
    EXPECT_EQ(InfoOf(none, nothing), Error(kNotFound)) << nothing;
  const auto selected = [&](const char *engine, const char *language, const char *wanted) {
    BrkObject *object = cls.Open(engine, language);
    const std::string answer = InfoOf(object, wanted);
    EXPECT_EQ(brk_ObjClose(object), 0u);
    return answer;
  };
  EXPECT_EQ(selected(nullptr, "en", "lang/def"), "lang/z");
  EXPECT_EQ(selected(nullptr, "de", "lang/def"), "lang/x");
  EXPECT_EQ(selected(nullptr, "EN", "LANG/def"), "lang/y");  // languages compare with case
  // The engine's add-ons first; the shared ones only when none of the engine's matches.
  EXPECT_EQ(selected("eng", nullptr, "pri/def"), "pri/e");
  EXPECT_EQ(selected(nullptr, nullptr, "pri/def"), "pri/s");
  EXPECT_EQ(selected("eng", nullptr, "only/def"), "only/s");
  // The exact form takes no notice of languages.
  BrkObject *english = cls.Open(nullptr, "en");
  EXPECT_EQ(TagOf(english, "LANG/X", "NAME"), "n");
  EXPECT_EQ(brk_ObjClose(english), 0u);
  EXPECT_EQ(brk_ObjClose(none), 0u);
}

// What the class callback is asked, and how it answers.
struct Script {
  std::vector<std::string> asked;
  int answer = 0;
  const char *replacement = nullptr;
  std::function<void()> action;
} g_object, g_class;

int Answer(Script &script, const char *brokerString, uint32_t zero, const char **replacement) {
  EXPECT_EQ(zero, 0u);
  EXPECT_EQ(*replacement, nullptr);
  script.asked.emplace_back(brokerString);
  if (script.action) script.action();
  *replacement = script.replacement;
  return script.answer;
}
int ObjectCallback(const char *brokerString, uint32_t zero, const char **replacement) {
  return Answer(g_object, brokerString, zero, replacement);
}
int ClassCallback(const char *brokerString, uint32_t zero, const char **replacement) {
  return Answer(g_class, brokerString, zero, replacement);
}

TEST(BrokerCallbacks, ReplacementsRetriesAndRescans) {
  g_object = g_class = {};
  Root root;
  root.Header("eng/e.hdr", Component(u"TTSENGINE", u"eng"));
  root.Header("shared/s/real.hdr", Component(u"ADDON", u"real/one", u"", u"real"));
  Class cls(root, ClassCallback);
  BrkObject *object = nullptr;
  ASSERT_EQ(brk_ObjOpen(&object, "eng", nullptr, cls, ObjectCallback), 0u);
  BrkObject *other = cls.Open("eng");
  // The object's callback first; a replacement's outcome is the answer.
  g_object.answer = 1;
  g_object.replacement = "REAL/ONE";
  EXPECT_EQ(TagOf(object, "alias/one", "NAME"), "real");
  EXPECT_EQ(g_object.asked, std::vector<std::string>{"alias/one"});
  EXPECT_TRUE(g_class.asked.empty());
  // An answer other than 1 asks for no retry and hands over to the class callback, whose
  // replacement that resolves to nothing is asked about in turn.
  g_object = {};
  g_object.answer = 2;
  g_object.replacement = "real/one";
  g_class.answer = 1;
  g_class.replacement = "still/missing";
  g_class.action = [] { g_class.answer = g_class.asked.size() < 2; };
  EXPECT_EQ(TagOf(object, "alias/two", "NAME"), Error(kNotFound));
  EXPECT_EQ(g_class.asked, (std::vector<std::string>{"alias/two", "still/missing"}));

  // A retry without replacement reads the directories again (the engine's and the shared
  // one). The callback comes back into the broker on the same thread while the data open
  // holds the class lock.
  g_object = g_class = {};
  const DataPart data = Blocks({{u"data", "xy"}});
  root.Header("shared/s/data.hdr", Component(u"ADDON", u"held", data.elements), data.tail);
  g_class.action = [&] {
    g_class.answer = g_class.asked.size() == 1;
    BrkObject *inner = cls.Open("eng");
    EXPECT_EQ(brk_ObjClose(inner), 0u);
    root.Header("eng/sub/late.hdr", Component(u"ADDON", u"late/engine", u"", u"late"));
  };
  BrkData *held = nullptr;
  EXPECT_EQ(brk_DataOpen(other, "held", &held), 0u);
  EXPECT_EQ(g_class.asked, std::vector<std::string>{"held"});
  EXPECT_EQ(TagOf(object, "late/engine", "NAME"), "late");  // the engine's list is shared
  // A rescan never replaces a listed record: the open block survives it.
  root.Header("shared/s/again.hdr", Component(u"ADDON", u"held", u"", u"replacement"));
  g_class.asked.clear();
  EXPECT_EQ(TagOf(other, "absent", "NAME"), Error(kNotFound));
  EXPECT_EQ(g_class.asked, (std::vector<std::string>{"absent", "absent"}));
  EXPECT_EQ(TagOf(other, "held", "NAME"), "n");
  EXPECT_EQ(brk_DataClose(other, held), 0u);
  EXPECT_EQ(brk_ObjClose(other), 0u);
  EXPECT_EQ(brk_ObjClose(object), 0u);
  g_object = g_class = {};
}

TEST(BrokerText, DataNamesAndCaseFolding) {
  const auto split = [](std::u16string text) {
    const char16_t *name = sc::brk::SplitDataName(text.data());
    return hdrtest::Ascii(text.c_str()) + "|" + (name ? hdrtest::Ascii(name) : "-");
  };
  EXPECT_EQ(split(u"comp:blk"), "comp|blk");
  EXPECT_EQ(split(u"a:b:c"), "a:b|c");
  EXPECT_EQ(split(u":abc"), ":abc|-");
  EXPECT_EQ(split(u"abc:"), "abc:|-");
  EXPECT_EQ(split(u"::"), "::|-");
  EXPECT_EQ(split(u":::"), ":|:");
  EXPECT_TRUE(sc::brk::EqualIgnoringCase(u"Voice/EN", u"voice/en"));
  EXPECT_FALSE(sc::brk::EqualIgnoringCase(u"\u00C4", u"\u00E4"));
  EXPECT_FALSE(sc::brk::EqualIgnoringCase(u"[", u"{"));  // these differ by 0x20 as well
}

}  // namespace
