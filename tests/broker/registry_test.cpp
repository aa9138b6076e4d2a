// What the scans find below a root, and which component a broker string selects: exact and
// default forms, priorities, languages, callbacks with replacements and rescans.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <set>
#include <string>

#include "broker/text.h"
#include "fixtures.h"

namespace {

using namespace brktest;

std::set<std::string> Listed(BrkObject *object, const char *type) {
  BrkComponentList *list = nullptr;
  EXPECT_EQ(brk_ComponentListQuery(object, type, &list), 0u);
  const std::vector<std::string> strings = BrokerStrings(list);
  EXPECT_EQ(brk_ComponentListRelease(object, list), 0u);
  return {strings.begin(), strings.end()};
}

std::vector<std::string> ListedInOrder(BrkObject *object, const char *type) {
  BrkComponentList *list = nullptr;
  EXPECT_EQ(brk_ComponentListQuery(object, type, &list), 0u);
  std::vector<std::string> strings = BrokerStrings(list);
  EXPECT_EQ(brk_ComponentListRelease(object, list), 0u);
  return strings;
}

std::string NameOf(BrkObject *object, const char *brokerString) {
  const char16_t *value = nullptr;
  const VQRESULT result = brk_TagQuery(object, brokerString, "NAME", &value);
  return result ? "error " + std::to_string(result) : Ascii(value);
}

// The broker string a default-form string selects, or the failure.
std::string Selected(BrkObject *object, const char *brokerString) {
  char *answer = nullptr;
  const VQRESULT result = brk_InfoQuery(object, brokerString, &answer);
  if (result) return "error " + std::to_string(result);
  std::string selected(answer);
  EXPECT_EQ(brk_InfoRelease(object, answer), 0u);
  return selected;
}

TEST(BrokerScan, EnginesLieDirectlyInTheRootsSubdirectories) {
  Root root;
  root.Header("top.hdr", Component(u"TTSENGINE", u"e/top"));
  root.Header("x/e.hdr", Component(u"TTSENGINE", u"e/x"));
  root.Header("x/asr.hdr", Component(u"ASRENGINE", u"e/asr"));
  root.Header("x/deep/d.hdr", Component(u"TTSENGINE", u"e/deep"));
  root.Header("x/addon.hdr", Component(u"ADDON", u"a/in-x"));
  root.Header("x/e.dat", Component(u"TTSENGINE", u"e/dat"));
  root.Header("y/lower.hdr", Component(u"ttsengine", u"e/lower"));
  root.Header("y/nobs.hdr", T(u"COMPTYPE", u"TTSENGINE") + T(u"NAME", u"n"));
  root.Header("y/noname.hdr", T(u"COMPTYPE", u"TTSENGINE") + T(u"BROKERSTRING", u"e/noname"));
  root.Header("y/notype.hdr", T(u"BROKERSTRING", u"e/notype") + T(u"NAME", u"n"));
  root.Write("y/empty.hdr", "");
  root.Write("y/ascii.hdr", "<VQS>\r\n<VERSION>VQ_1.0</VERSION><HEADER></HEADER>");
  root.Header("y/cut.hdr", u"<COMPTYPE>FXENGINE</COMPTYPE><BROKERSTRING>e/cut</BROKERS");
  root.Header("z/one.hdr", Component(u"FXENGINE", u"dup/e", u"", u"one"));
  root.Header("z/two.hdr", Component(u"FXENGINE", u"dup/e", u"", u"two"));
  Class cls(root);
  BrkObject *none = cls.Open();
  EXPECT_EQ(Listed(none, "TTSENGINE"), (std::set<std::string>{"e/x"}));
  EXPECT_EQ(Listed(none, "ASRENGINE"), (std::set<std::string>{"e/asr"}));
  // Both duplicates are listed; every lookup finds the first in scan order.
  const std::vector<std::string> fx = ListedInOrder(none, "FXENGINE");
  EXPECT_EQ(fx, (std::vector<std::string>{"dup/e", "dup/e"}));
  BrkComponentList *list = nullptr;
  ASSERT_EQ(brk_ComponentListQuery(none, "FXENGINE", &list), 0u);
  EXPECT_EQ(NameOf(none, "DUP/E"), Ascii(list->entries[0].name));
  EXPECT_EQ(brk_ComponentListRelease(none, list), 0u);

  BrkObject *object = nullptr;
  for (const char *missing :
       {"e/top", "e/deep", "a/in-x", "e/dat", "e/lower", "e/noname", "e/notype", "e/cut"}) {
    EXPECT_EQ(brk_ObjOpen(&object, missing, nullptr, cls, nullptr), kNoEngine) << missing;
    EXPECT_EQ(object, nullptr);
  }
  // A header in an engine directory that is no engine is no add-on either.
  BrkObject *onX = cls.Open("E/X");
  EXPECT_EQ(Listed(onX, "ADDON"), std::set<std::string>{});
  EXPECT_EQ(Listed(onX, "TTSENGINE"), (std::set<std::string>{"e/x"}));
  EXPECT_EQ(brk_ObjClose(onX), 0u);
  EXPECT_EQ(brk_ObjClose(none), 0u);
}

TEST(BrokerScan, AddonsOfEnginesAndOfTheSharedDirectory) {
  Root root;
  root.Header("eng/e.hdr",
              Component(u"TTSENGINE", u"eng",
                        u"<ADDON>" + Component(u"ADDON", u"inline/one") + u"</ADDON>" + u"<ADDON>" +
                            T(u"COMPTYPE", u"ADDON") + T(u"BROKERSTRING", u"x") + u"</ADDON>"));
  root.Header("eng/direct.hdr", Component(u"ADDON", u"a/direct"));
  root.Header("eng/sub/a.hdr", Component(u"ADDON", u"a/one"));
  root.Header("eng/sub/z.dat", Component(u"ADDON", u"a/dat"));
  root.Header("eng/sub/deeper/b.dat", Component(u"ADDON", u"a/two"));
  root.Header("eng/sub/f.hdr", Component(u"ADDON", u"a/for-eng", T(u"ENGINE", u"X1 eng")));
  root.Header("eng/sub/g.hdr", Component(u"ADDON", u"a/for-other", T(u"ENGINE", u"other")));
  root.Header("eng/sub/h.hdr", Component(u"ADDON", u"a/case", T(u"ENGINE", u"ENG")));
  root.Header("eng/sub/notype.hdr", T(u"BROKERSTRING", u"a/notype") + T(u"NAME", u"n"));
  root.Header("shared/direct.hdr", Component(u"ADDON", u"s/direct"));
  root.Header("shared/a/b/deep.hdr", Component(u"ADDON", u"s/deep"));
  root.Header("shared/a/filtered.hdr", Component(u"ADDON", u"s/any", T(u"ENGINE", u"nomatch")));
  Class cls(root);

  BrkObject *onEngine = cls.Open("eng");
  const std::vector<std::string> order = ListedInOrder(onEngine, "ADDON");
  EXPECT_EQ(std::set<std::string>(order.begin(), order.end()),
            (std::set<std::string>{"inline/one", "a/one", "a/dat", "a/two", "a/for-eng", "s/deep",
                                   "s/any"}));
  const auto at = [&](const char *name) {
    return std::find(order.begin(), order.end(), name) - order.begin();
  };
  // Inline add-ons first; in one directory "*.hdr" before "*.dat" before subdirectories;
  // the engine's add-ons before the shared ones.
  EXPECT_EQ(at("inline/one"), 0);
  EXPECT_LT(at("a/one"), at("a/dat"));
  EXPECT_LT(at("a/for-eng"), at("a/dat"));
  EXPECT_LT(at("a/dat"), at("a/two"));
  EXPECT_LT(at("a/two"), at("s/deep"));

  // An object without engine reaches only the shared add-ons.
  BrkObject *none = cls.Open("");
  EXPECT_EQ(Listed(none, "ADDON"), (std::set<std::string>{"s/deep", "s/any"}));
  EXPECT_EQ(NameOf(none, "a/one"), "error " + std::to_string(kNotFound));
  EXPECT_EQ(brk_ObjClose(none), 0u);
  EXPECT_EQ(brk_ObjClose(onEngine), 0u);
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
  EXPECT_EQ(ListedInOrder(onEngine, "ADDON"), (std::vector<std::string>{"dup", "DUP", "dup"}));
  // The exact form ignores case, so it finds the earlier of the two.
  EXPECT_EQ(NameOf(onEngine, "DUP"), "first");
  BrkObject *none = cls.Open();
  EXPECT_EQ(NameOf(none, "dup"), "shared");
  EXPECT_EQ(brk_ObjClose(none), 0u);
  EXPECT_EQ(brk_ObjClose(onEngine), 0u);
}

TEST(BrokerResolve, DefaultFormChoosesByPriorityAndLanguage) {
  Root root;
  root.Header("eng/e.hdr", Component(u"TTSENGINE", u"eng"));
  // In one directory "*.hdr" comes before "*.dat", and both before subdirectories.
  root.Header("shared/v/p5.hdr", Component(u"ADDON", u"voice/en/a", T(u"PRIORITY", u"5")));
  root.Header("shared/v/p7.dat", Component(u"ADDON", u"voice/en/b", T(u"PRIORITY", u"7")));
  root.Header("shared/v/w/p7.hdr", Component(u"ADDON", u"voice/en/c", T(u"PRIORITY", u" +7x")));
  root.Header("shared/n/a.hdr", Component(u"ADDON", u"neg/a", T(u"PRIORITY", u"4000000000")));
  root.Header("shared/n/b.dat", Component(u"ADDON", u"neg/b", T(u"PRIORITY", u"-1")));
  root.Header("shared/z/a.hdr", Component(u"ADDON", u"zero/a"));
  root.Header("shared/z/b.dat", Component(u"ADDON", u"zero/b", T(u"PRIORITY", u"none")));
  root.Header("shared/c/a.hdr", Component(u"ADDON", u"A/anything"));
  root.Header("shared/c/b.hdr", Component(u"ADDON", u"b/a"));
  root.Header("shared/l/x.hdr",
              Component(u"ADDON", u"lang/x", T(u"LANGUAGE", u"de") + T(u"PRIORITY", u"9")));
  root.Header("shared/l/y.hdr", Component(u"ADDON", u"lang/y", T(u"PRIORITY", u"1")));
  root.Header("shared/l/z.hdr",
              Component(u"ADDON", u"lang/z", T(u"LANGUAGE", u"en") + T(u"PRIORITY", u"2")));
  root.Header("shared/p/s.hdr", Component(u"ADDON", u"pri/s", T(u"PRIORITY", u"50")));
  root.Header("shared/p/o.hdr", Component(u"ADDON", u"only/s"));
  root.Header("eng/sub/e.hdr", Component(u"ADDON", u"pri/e", T(u"PRIORITY", u"1")));
  Class cls(root);
  BrkObject *none = cls.Open();
  EXPECT_EQ(Selected(none, "voice/en/def"), "voice/en/c");  // the later of two 7s
  EXPECT_EQ(Selected(none, "voice/def"), "voice/en/c");
  EXPECT_EQ(Selected(none, "neg/def"), "neg/b");  // -1 ranks above every other
  EXPECT_EQ(Selected(none, "zero/def"), "zero/b");
  EXPECT_EQ(Selected(none, "a/def"), "A/anything");
  EXPECT_EQ(Selected(none, "voice/en/a/longer/def"), "error " + std::to_string(kNotFound));
  EXPECT_EQ(Selected(none, "/def"), "error " + std::to_string(kNotFound));  // exact
  EXPECT_EQ(Selected(none, "lang/def"), "lang/x");
  EXPECT_EQ(Selected(none, "voice/en/DEF"), "error " + std::to_string(kNotFound));

  const auto selectedFor = [&](const char *engine, const char *language, const char *wanted) {
    BrkObject *object = cls.Open(engine, language);
    const std::string selected = Selected(object, wanted);
    EXPECT_EQ(brk_ObjClose(object), 0u);
    return selected;
  };
  EXPECT_EQ(selectedFor(nullptr, "en", "lang/def"), "lang/z");
  EXPECT_EQ(selectedFor(nullptr, "de", "lang/def"), "lang/x");
  EXPECT_EQ(selectedFor(nullptr, "EN", "lang/def"), "lang/y");  // languages compare with case
  EXPECT_EQ(selectedFor(nullptr, "fr", "LANG/def"), "lang/y");
  // The engine's add-ons come first; the shared ones only when none of the engine's matches.
  EXPECT_EQ(selectedFor("eng", nullptr, "pri/def"), "pri/e");
  EXPECT_EQ(selectedFor(nullptr, nullptr, "pri/def"), "pri/s");
  EXPECT_EQ(selectedFor("eng", nullptr, "only/def"), "only/s");

  // The exact form takes no notice of languages.
  BrkObject *english = cls.Open(nullptr, "en");
  EXPECT_EQ(NameOf(english, "LANG/X"), "n");
  EXPECT_EQ(brk_ObjClose(english), 0u);
  EXPECT_EQ(brk_ObjClose(none), 0u);
}

// Callback state: what was asked, and how to answer.
struct Script {
  std::vector<std::string> asked;
  int answer = 0;
  const char *replacement = nullptr;
  std::function<void()> action;
};
Script g_objectScript;
Script g_classScript;

int Answer(Script &script, const char *brokerString, uint32_t zero, const char **replacement) {
  EXPECT_EQ(zero, 0u);
  EXPECT_EQ(*replacement, nullptr);
  script.asked.emplace_back(brokerString);
  if (script.action) script.action();
  *replacement = script.replacement;
  return script.answer;
}
int ObjectCallback(const char *brokerString, uint32_t zero, const char **replacement) {
  return Answer(g_objectScript, brokerString, zero, replacement);
}
int ClassCallback(const char *brokerString, uint32_t zero, const char **replacement) {
  return Answer(g_classScript, brokerString, zero, replacement);
}

class BrokerCallbacks : public ::testing::Test {
 protected:
  void SetUp() override {
    g_objectScript = {};
    g_classScript = {};
    root_.Header("eng/e.hdr", Component(u"TTSENGINE", u"eng"));
    root_.Header("shared/s/real.hdr", Component(u"ADDON", u"real/one", u"", u"real"));
  }
  void TearDown() override {
    g_objectScript = {};
    g_classScript = {};
  }
  Root root_;
};

TEST_F(BrokerCallbacks, ReplacementsAndAnswersOtherThanOne) {
  Class cls(root_, ClassCallback);
  BrkObject *object = cls.Open(nullptr, nullptr, ObjectCallback);
  // The object's callback answers first; the replacement's outcome is the answer.
  g_objectScript.answer = 1;
  g_objectScript.replacement = "REAL/ONE";
  EXPECT_EQ(NameOf(object, "alias/one"), "real");
  EXPECT_EQ(g_objectScript.asked, std::vector<std::string>{"alias/one"});
  EXPECT_TRUE(g_classScript.asked.empty());
  // Anything but 1 is no retry, and hands over to the class callback.
  g_objectScript = {};
  g_objectScript.answer = 2;
  g_objectScript.replacement = "real/one";
  g_classScript.answer = 1;
  g_classScript.replacement = "real/one";
  EXPECT_EQ(NameOf(object, "alias/two"), "real");
  EXPECT_EQ(g_objectScript.asked.size(), 1u);
  EXPECT_EQ(g_classScript.asked, std::vector<std::string>{"alias/two"});
  // A replacement that resolves to nothing is asked about in turn.
  g_objectScript = {};
  g_classScript = {};
  g_classScript.answer = 1;
  g_classScript.action = [] {
    if (g_classScript.asked.size() == 2) g_classScript.answer = 0;
  };
  g_classScript.replacement = "still/missing";
  EXPECT_EQ(NameOf(object, "alias/three"), "error " + std::to_string(kNotFound));
  EXPECT_EQ(g_classScript.asked, (std::vector<std::string>{"alias/three", "still/missing"}));
  EXPECT_EQ(brk_ObjClose(object), 0u);
}

TEST_F(BrokerCallbacks, RetryWithoutReplacementRescans) {
  Class cls(root_, ClassCallback);
  BrkObject *onEngine = cls.Open("eng");
  BrkObject *other = cls.Open("eng");
  BrkData *held = nullptr;
  root_.Header("shared/s/data.hdr",
               Component(u"ADDON", u"held", Blocks({{u"data", "xy"}}).elements),
               Blocks({{u"data", "xy"}}).tail);
  // Not there yet: installed by the callback, which also comes back into the broker on the
  // same thread while the data open holds the class lock.
  g_classScript.answer = 1;
  g_classScript.action = [&] {
    if (g_classScript.asked.size() > 1) return;
    BrkObject *inner = nullptr;
    EXPECT_EQ(brk_ObjOpen(&inner, "eng", nullptr, cls, nullptr), 0u);
    EXPECT_EQ(brk_ObjClose(inner), 0u);
    root_.Header("shared/s/late.hdr", Component(u"ADDON", u"late/shared", u"", u"late"));
    root_.Header("eng/sub/late.hdr", Component(u"ADDON", u"late/engine", u"", u"late e"));
    root_.Header("eng/sub/real.hdr", Component(u"ADDON", u"real/one", u"", u"engine's"));
  };
  EXPECT_EQ(brk_DataOpen(onEngine, "held", &held), 0u);
  EXPECT_EQ(g_classScript.asked, std::vector<std::string>{"held"});
  EXPECT_EQ(NameOf(onEngine, "late/engine"), "late e");
  EXPECT_EQ(NameOf(onEngine, "late/shared"), "late");
  // The other object on the engine shares its add-on list.
  EXPECT_EQ(NameOf(other, "late/engine"), "late e");
  // A rescan never replaces a record already listed: the open data block survives it.
  root_.Header("shared/s/again.hdr", Component(u"ADDON", u"held", u"", u"replacement"));
  g_classScript.asked.clear();
  g_classScript.action = [] {
    if (g_classScript.asked.size() == 2) g_classScript.answer = 0;
  };
  EXPECT_EQ(NameOf(onEngine, "absent"), "error " + std::to_string(kNotFound));
  EXPECT_EQ(g_classScript.asked, (std::vector<std::string>{"absent", "absent"}));
  EXPECT_EQ(NameOf(onEngine, "held"), "n");
  uint32_t size = 0;
  EXPECT_EQ(brk_DataSizeQuery(onEngine, held, &size), 0u);
  EXPECT_EQ(size, 2u);
  EXPECT_EQ(brk_DataClose(onEngine, held), 0u);
  EXPECT_EQ(brk_ObjClose(other), 0u);
  EXPECT_EQ(brk_ObjClose(onEngine), 0u);
}

TEST(BrokerText, DataNameSplitsAtTheLastInnerColon) {
  const auto split = [](std::u16string text) {
    const char16_t *name = sc::brk::SplitDataName(text.data());
    return Ascii(text.c_str()) + "|" + (name ? Ascii(name) : "-");
  };
  EXPECT_EQ(split(u"comp:blk"), "comp|blk");
  EXPECT_EQ(split(u"a:b:c"), "a:b|c");
  EXPECT_EQ(split(u"a:b"), "a|b");
  EXPECT_EQ(split(u":abc"), ":abc|-");
  EXPECT_EQ(split(u"abc:"), "abc:|-");
  EXPECT_EQ(split(u"a:"), "a:|-");
  EXPECT_EQ(split(u"::"), "::|-");
  EXPECT_EQ(split(u":::"), ":|:");
  EXPECT_EQ(split(u"plain"), "plain|-");
}

TEST(BrokerText, CaseFoldingTouchesAsciiLettersOnly) {
  EXPECT_TRUE(sc::brk::EqualIgnoringCase(u"Voice/EN", u"voice/en"));
  EXPECT_FALSE(sc::brk::EqualIgnoringCase(u"\u00C4", u"\u00E4"));
  EXPECT_FALSE(sc::brk::EqualIgnoringCase(u"[", u"{"));  // 0x5B and 0x7B differ by 0x20 too
  EXPECT_FALSE(sc::brk::PrefixEqualIgnoringCase(u"ab", u"abc", 3));
}

}  // namespace
