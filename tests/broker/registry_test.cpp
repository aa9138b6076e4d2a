// What the scans find below a root, and which component a broker string selects: exact and
// default forms, priorities, languages, callbacks with replacements and rescans; the name
// patterns and string pieces underneath.
#include <gtest/gtest.h>

#include <functional>

#include "broker/text.h"
#include "fixtures.h"
#include "platform/directory.h"
#include "platform/module.h"

namespace {

using namespace brktest;

TEST(BrokerScan, WhereEnginesAndAddonsAreFound) {
  Root root;
  const auto put = [&](const char *file, std::u16string_view type, std::u16string_view brokerString,
                       std::u16string_view more = u"", std::u16string_view name = u"n") {
    root.Header(file, Component(type, brokerString, more, name));
  };
  put("top.hdr", u"TTSENGINE", u"e/top");  // not in an engine directory
  put("x/asr.hdr", u"ASRENGINE", u"e/asr");
  put("x/deep/d.hdr", u"TTSENGINE", u"e/deep");  // an add-on, not an engine
  put("x/e.dat", u"TTSENGINE", u"e/dat");
  put("x/lower.hdr", u"ttsengine", u"e/lower");
  root.Header("x/noname.hdr", T(u"COMPTYPE", u"TTSENGINE") + T(u"BROKERSTRING", u"e/noname"));
  root.Write("x/empty.hdr", "");
  put("z/one.hdr", u"FXENGINE", u"dup/e");
  put("z/two.hdr", u"FXENGINE", u"dup/e");
  put("eng/e.hdr", u"TTSENGINE", u"eng",
      u"<ADDON>" + Component(u"ADDON", u"inline") + u"</ADDON><ADDON>" + T(u"COMPTYPE", u"ADDON") +
          u"</ADDON>");
  put("eng/direct.hdr", u"ADDON", u"a/direct");
  // One file of each pattern per directory, so that the order is known.
  put("eng/sub/a.hdr", u"ADDON", u"a/one");
  put("eng/sub/a.dat", u"ADDON", u"a/dat");
  put("eng/sub/g.hdr", u"ADDON", u"a/other", T(u"ENGINE", u"ENG"));
  root.Header("eng/sub/n.hdr", T(u"BROKERSTRING", u"a/notype") + T(u"NAME", u"n"));
  put("eng/sub/d/f.hdr", u"ADDON", u"a/for-eng", T(u"ENGINE", u"X1 eng"));
  put("eng/sub/d/x.dat", u"ADDON", u"dup", u"", u"first");
  put("eng/sub/d/e/x.hdr", u"ADDON", u"dup", u"", u"second");
  put("eng/sub/d/e/y.dat", u"ADDON", u"DUP", u"", u"third");
  put("eng/sub/d/e/f/b.dat", u"ADDON", u"a/two");
  put("shared/direct.hdr", u"ADDON", u"s/direct");
  put("shared/a/b/deep.hdr", u"ADDON", u"s/deep", T(u"ENGINE", u"none"));
  put("shared/a/b/dup.dat", u"ADDON", u"dup", u"", u"shared");
  Class cls(root);
  BrkObject *none = cls.Open("");
  EXPECT_EQ(Listed(none, "TTSENGINE"), Strings{"eng"});
  EXPECT_EQ(Listed(none, "ASRENGINE"), Strings{"e/asr"});
  EXPECT_EQ(Listed(none, "FXENGINE"), (Strings{"dup/e", "dup/e"}));
  for (const char *missing : {"e/top", "e/deep", "e/dat", "e/lower", "e/noname"}) {
    BrkObject *object = nullptr;
    EXPECT_EQ(brk_ObjOpen(&object, missing, nullptr, cls, nullptr), BRK_E_ENGINE_NOT_FOUND)
        << missing;
  }
  // The shared add-ons lie below subdirectories of "shared"; ENGINE does not filter them.
  EXPECT_EQ(Listed(none, "ADDON"), (Strings{"s/deep", "dup"}));
  // An engine's add-ons: inline ones first; in each directory "*.hdr", then "*.dat", then
  // subdirectories; then the shared ones. Within one list the first reading of a broker
  // string (case included) wins.
  BrkObject *onEngine = cls.Open("ENG");
  EXPECT_EQ(Listed(onEngine, "ADDON"), (Strings{"inline", "a/one", "a/dat", "a/for-eng", "dup",
                                                "DUP", "a/two", "s/deep", "dup"}));
  EXPECT_EQ(TagOf(onEngine, "DUP", "NAME"), "first");  // the exact form ignores case
  EXPECT_EQ(TagOf(none, "dup", "NAME"), "shared");
  // A header in an engine directory that is no engine is no add-on either.
  EXPECT_EQ(TagOf(onEngine, "a/direct", "NAME"), Error(BRK_E_BROKER_STRING_NOT_FOUND));
  EXPECT_EQ(TagOf(none, "a/one", "NAME"), Error(BRK_E_BROKER_STRING_NOT_FOUND));

  // Engine directories reached through links are asked about with stat, and a directory
  // reached twice (here x, and the root itself) is listed once; directories that cannot be
  // listed contribute nothing.
  Root elsewhere;
  elsewhere.Header("y/asr.hdr", Component(u"ASRENGINE", u"e/far"));
  std::filesystem::create_directory_symlink(elsewhere.Path("y"), root.Path("far"));
  std::filesystem::create_directory_symlink(root.Path("x"), root.Path("link"));
  std::filesystem::create_directory_symlink(root.Path(), root.Path("self"));
  hdrtest::FaultySyscalls faulty;
  const auto asrEngines = [&] { return Listed(Class(root).Open(), "ASRENGINE").size(); };
  EXPECT_EQ(asrEngines(), 2u);
  faulty.Table().stat = [](const char *, sc::plat::EntryKind *) { return -1; };
  EXPECT_EQ(asrEngines(), 1u);
  faulty.Table().opendir = [](const char *) -> sc::plat::Directory * { return nullptr; };
  EXPECT_EQ(asrEngines(), 0u);
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
  addon("shared/v/w/p7.hdr", u"voice/en/c", T(u"PRIORITY", u" +7x"));  // read as 7
  addon("shared/n/a.hdr", u"neg/a", T(u"PRIORITY", u"4000000000"));
  addon("shared/n/b.dat", u"neg/b", T(u"PRIORITY", u"-1"));
  addon("shared/m/a.hdr", u"max/a", T(u"PRIORITY", u"9999999999999999999"));  // saturated
  addon("shared/m/b.hdr", u"max/b", T(u"PRIORITY", u"2147483647"));
  addon("shared/l/x.hdr", u"lang/x", T(u"LANGUAGE", u"de") + T(u"PRIORITY", u"9"));
  addon("shared/l/y.hdr", u"lang/y", T(u"PRIORITY", u"1"));
  addon("shared/l/z.hdr", u"lang/z", T(u"LANGUAGE", u"en") + T(u"PRIORITY", u"2"));
  addon("shared/p/s.hdr", u"pri/s", T(u"PRIORITY", u"50"));
  addon("shared/p/o.hdr", u"only/s", u"");
  addon("eng/sub/e.hdr", u"pri/e", T(u"PRIORITY", u"1"));
  Class cls(root);
  const struct {
    const char *engine, *language, *wanted, *selected;
  } cases[] = {
      {nullptr, nullptr, "voice/en/def", "voice/en/c"},  // the later of two 7s
      {nullptr, nullptr, "neg/def", "neg/b"},            // -1 ranks above every other priority
      {nullptr, nullptr, "max/def", "max/b"},            // a tie, the later wins
      {nullptr, nullptr, "lang/def", "lang/x"},
      {nullptr, "en", "lang/def", "lang/z"},
      {nullptr, "de", "lang/def", "lang/x"},
      {nullptr, "EN", "LANG/def", "lang/y"},     // languages compare with case
      {nullptr, "en-US", "lang/def", "lang/y"},  // and whole: en-US is not en
      // The engine's add-ons first; the shared ones only when none of the engine's matches.
      {"eng", nullptr, "pri/def", "pri/e"},
      {nullptr, nullptr, "pri/def", "pri/s"},
      {"eng", nullptr, "only/def", "only/s"},
      {nullptr, nullptr, "voice/en/a/more/def", nullptr},
      {nullptr, nullptr, "voice/en/DEF", nullptr},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(InfoOf(cls.Open(c.engine, c.language), c.wanted),
              c.selected ? c.selected : Error(BRK_E_BROKER_STRING_NOT_FOUND))
        << c.wanted;
  }
  // The exact form takes no notice of languages.
  EXPECT_EQ(TagOf(cls.Open(nullptr, "en"), "LANG/X", "NAME"), "n");
}

// What the callbacks were asked ("object alias/one", "class held"), and how they answer.
Strings g_asked;
std::function<int(const char **replacement)> g_object, g_class;
int Ask(const char *who, const std::function<int(const char **)> &answer, const char *brokerString,
        uint32_t zero, const char **replacement) {
  EXPECT_EQ(zero, 0u);
  EXPECT_EQ(*replacement, nullptr);
  g_asked.push_back(std::string(who) + " " + brokerString);
  return answer ? answer(replacement) : 0;
}
int ObjectCallback(const char *brokerString, uint32_t zero, const char **replacement) {
  return Ask("object", g_object, brokerString, zero, replacement);
}
int ClassCallback(const char *brokerString, uint32_t zero, const char **replacement) {
  return Ask("class", g_class, brokerString, zero, replacement);
}
// An answer offering `with` and giving `code` while fewer than `limit` questions were asked.
std::function<int(const char **)> Offer(const char *with, int code, size_t limit = SIZE_MAX) {
  return [=](const char **replacement) {
    *replacement = with;
    return g_asked.size() < limit ? code : 0;
  };
}

TEST(BrokerCallbacks, ReplacementsRetriesAndRescans) {
  Root root;
  root.Header("eng/e.hdr", Component(u"TTSENGINE", u"eng"));
  root.Header("shared/s/real.hdr", Component(u"ADDON", u"real/one", u"", u"real"));
  Class cls(root, ClassCallback);
  BrkObject *object = cls.Open("eng", nullptr, ObjectCallback);
  BrkObject *other = cls.Open("eng");
  // The object's callback first; a replacement's outcome is the answer.
  g_object = Offer("REAL/ONE", 1);
  EXPECT_EQ(TagOf(object, "alias/one", "NAME"), "real");
  EXPECT_EQ(std::exchange(g_asked, {}), Strings{"object alias/one"});
  // An answer other than 1 asks for no retry and hands over to the class callback, whose
  // replacement that resolves to nothing is asked about in turn.
  g_object = Offer("real/one", 2);
  g_class = Offer("still/missing", 1, 3);
  EXPECT_EQ(TagOf(object, "alias/two", "NAME"), Error(BRK_E_BROKER_STRING_NOT_FOUND));
  EXPECT_EQ(std::exchange(g_asked, {}), (Strings{"object alias/two", "class alias/two",
                                                 "object still/missing", "class still/missing"}));

  // A retry without replacement reads the directories again (the engine's and the shared
  // one). The callback comes back into the broker on the same thread while the data open
  // holds the class lock.
  root.Data("shared/s/data.hdr", u"held", {{u"data", "xy"}});
  g_class = [&](const char **) {
    BrkObject *inner = cls.Open("eng");
    EXPECT_EQ(brk_ObjClose(inner), 0u);
    root.Header("eng/sub/late.hdr", Component(u"ADDON", u"late/engine", u"", u"late"));
    return int(g_asked.size() == 1);
  };
  BrkData *held = nullptr;
  EXPECT_EQ(brk_DataOpen(other, "held", &held), 0u);
  EXPECT_EQ(std::exchange(g_asked, {}), Strings{"class held"});
  EXPECT_EQ(TagOf(object, "late/engine", "NAME"), "late");  // the engine's list is shared
  // A rescan never replaces a listed record: the open block survives it.
  root.Header("shared/s/again.hdr", Component(u"ADDON", u"held", u"", u"replacement"));
  EXPECT_EQ(TagOf(other, "absent", "NAME"), Error(BRK_E_BROKER_STRING_NOT_FOUND));
  EXPECT_EQ(std::exchange(g_asked, {}), (Strings{"class absent", "class absent"}));
  EXPECT_EQ(TagOf(other, "held", "NAME"), "n");
  EXPECT_EQ(brk_DataClose(other, held), 0u);
  g_object = g_class = {};
}

TEST(BrokerText, DataNamesCaseFoldingNamePatternsAndLoadMessages) {
  const auto split = [](std::u16string text) {
    const char16_t *name = sc::brk::SplitDataName(text.data());
    return hdrtest::Ascii(text.c_str()) + "|" + (name ? hdrtest::Ascii(name) : "-");
  };
  const std::pair<std::u16string, std::string> splits[] = {
      {u"comp:blk", "comp|blk"}, {u"a:b:c", "a:b|c"}, {u":abc", ":abc|-"},
      {u"abc:", "abc:|-"},       {u"::", "::|-"},     {u":::", ":|:"}};
  for (const auto &[text, expected] : splits)
    EXPECT_EQ(split(text), expected);
  EXPECT_TRUE(sc::brk::EqualIgnoringCase(u"Voice/EN", u"voice/en"));
  EXPECT_FALSE(sc::brk::EqualIgnoringCase(u"\u00C4", u"\u00E4"));
  EXPECT_FALSE(sc::brk::EqualIgnoringCase(u"[", u"{"));  // these differ by 0x20 as well

  const std::tuple<const char *, const char *, bool> patterns[] = {
      {"*.hdr", "ENGINE.HDR", true}, {"*.hdr", ".hdr", true},  {"*.hdr", "a.b.hdr", true},
      {"*.hdr", "e.hdrx", false},    {"?x*y", "axzzy", true},  {"?x*y", "xy", false},
      {"a*b*c", "abxbxc", true},     {"a*b*c", "abxbx", false}};
  for (const auto &[pattern, name, matches] : patterns)
    EXPECT_EQ(sc::plat::NameMatches(pattern, name), matches) << pattern << " " << name;
  // A refused module load carries the system's message, cut to fit.
  char message[8];
  EXPECT_EQ(sc::plat::LibraryLoad("/nonexistent/lib.so", message, sizeof message), nullptr);
  EXPECT_EQ(std::string(message).size(), 7u);
}

}  // namespace
