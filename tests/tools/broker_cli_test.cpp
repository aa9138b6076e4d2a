// The broker subcommands of the speechcommon tool, run as a packager would run them on trees
// laid out in a temporary directory.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <set>
#include <string>

#include "dataheader/fixtures.h"
#include "tools/run_tool.h"

namespace {

using namespace tooltest;
using nlohmann::json;

std::u16string T(std::u16string_view name, std::u16string_view value) {
  const std::u16string n(name);
  return u"<" + n + u">" + std::u16string(value) + u"</" + n + u">\r\n";
}

class BrokerCli : public ::testing::Test {
 protected:
  void SetUp() override {
    Header("tts/e.hdr", u"TTSENGINE", u"tts/e", T(u"VERSION", u"3.1"));
    Header("tts/v/a.hdr", u"VOICE", u"voice/en/a",
           T(u"LANGUAGE", u"en") + T(u"PRIORITY", u"5") + T(u"DLL", u"liba.so"));
    Header("tts/v/b.hdr", u"VOICE", u"voice/en/b", T(u"PRIORITY", u"-1"));
    Header("tts/v/c.hdr", u"VOICE", u"voice/en/c", T(u"LANGUAGE", u"de") + T(u"PRIORITY", u"9"));
    Header("shared/r/r.hdr", u"RULES", u"rules/x");
  }
  // A component header: COMPTYPE, BROKERSTRING (each left out when empty), NAME, then `more`.
  void Header(const std::string &relative, std::u16string_view type,
              std::u16string_view brokerString, std::u16string_view more = u"") {
    dir_.Write("root/" + relative,
               hdrtest::HeaderFile((type.empty() ? u"" : T(u"COMPTYPE", type)) +
                                   (brokerString.empty() ? u"" : T(u"BROKERSTRING", brokerString)) +
                                   T(u"NAME", u"N") + std::u16string(more)));
  }
  // Some files the broker skips or passes by.
  void AddProblems() {
    dir_.Write("root/tts/v/empty.hdr", "");
    Header("top.hdr", u"TTSENGINE", u"top");
    Header("tts/addon.hdr", u"VOICE", u"misplaced");
    Header("tts/v/notype.hdr", u"", u"x");
    Header("tts/v/nobs.hdr", u"VOICE", u"");
    Header("tts/v/w/dup.hdr", u"VOICE", u"voice/en/a");
    Header("tts/v/other.hdr", u"FILTER", u"o", T(u"ENGINE", u"asr/x"));
    Header("shared/direct.hdr", u"RULES", u"direct");
    Header("asr/e.hdr", u"ASRENGINE", u"asr/e");
    Header("asr2/e.hdr", u"ASRENGINE", u"ASR/E");  // a second engine of that broker string
  }
  TempDir dir_;
  const std::string root_ = dir_.Path("root");
};

// The components the walk of `broker check` accepts must be the ones the library lists: the
// walk explains the library, so it must read the tree as the library does.
void ExpectWalkMatchesLibrary(const std::string &root) {
  SCOPED_TRACE(root);
  const json walked = Json(RunTool({"broker", "check", root, "--json"}));
  const json listed = Json(RunTool({"broker", "list", root, "--json"}));
  const auto names = [](const json &components, bool ownOnly) {
    std::vector<std::string> out;
    for (const json &c : components)
      if (!ownOnly || c["from"] == "engine")
        out.push_back(c["type"].get<std::string>() + " " + c["brokerString"].get<std::string>());
    std::sort(out.begin(), out.end());
    return out;
  };
  EXPECT_EQ(names(walked["engines"], false), names(listed["engines"], false));
  EXPECT_EQ(names(walked["shared"], false), names(listed["shared"], false));
  std::set<std::string> compared;
  for (const json &engine : walked["engines"]) {
    // An engine listed twice is reached through the first of its broker string.
    std::string folded = engine["brokerString"];
    for (char &c : folded)
      c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (!compared.insert(folded).second) continue;
    for (const json &other : listed["engines"]) {
      if (other["brokerString"] == engine["brokerString"]) {
        EXPECT_EQ(names(engine["addons"], false), names(other["addons"], true))
            << engine["brokerString"];
      }
    }
  }
  EXPECT_EQ(walked["disagreements"], json::array());
}

TEST_F(BrokerCli, TheWalkAcceptsWhatTheLibraryListsOnEveryTree) {
  ExpectWalkMatchesLibrary(root_);
  ExpectWalkMatchesLibrary(SC_EXAMPLE_TREE);
  AddProblems();
  ExpectWalkMatchesLibrary(root_);
}

TEST_F(BrokerCli, ListAndResolve) {
  ToolRun run = RunTool({"broker", "list", root_});
  EXPECT_EQ(run.status, 0) << run.err;
  for (const char *shown :
       {"TTSENGINE  tts/e", "3.1", "voice/en/a", "4294967295 (-1)", "RULES  rules/x"})
    EXPECT_TRUE(Has(run.out, shown)) << shown << "\n" << run.out;
  const json one =
      Json(RunTool({"broker", "list", root_, "--engine", "TTS/E", "--type", "RULES", "--json"}));
  ASSERT_EQ(one["engines"].size(), 1u);
  EXPECT_EQ(one["engines"][0]["version"], "3.1");
  EXPECT_EQ(one["engines"][0]["addons"],
            json::parse(R"([{"type": "RULES", "brokerString": "rules/x", "name": "N",
                             "version": null, "language": null, "priority": 0,
                             "from": "shared"}])"));
  run = RunTool({"broker", "list", root_, "--engine", "nothing"});
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(Has(run.err, "BRK_E_ENGINE_NOT_FOUND 0x80150103")) << run.err;

  // b's priority -1 is the highest unsigned; c's language does not pass.
  run = RunTool({"broker", "resolve", root_, "--engine", "tts/e", "--language", "en", "voice/def"});
  EXPECT_EQ(run.status, 0) << run.err;
  for (const std::string &shown :
       {"selected: voice/en/b, file " + root_ + "/tts/v/b.hdr",
        std::string("(language does not pass)"), std::string("module: none")})
    EXPECT_TRUE(Has(run.out, shown)) << shown << "\n" << run.out;
  const json resolved = Json(RunTool({"broker", "resolve", root_, "--engine", "tts/e", "--language",
                                      "en", "voice/def", "--json"}));
  EXPECT_EQ(resolved["form"], "default");
  EXPECT_EQ(resolved["selected"], "voice/en/b");
  ASSERT_EQ(resolved["candidates"].size(), 3u);
  for (const json &candidate : resolved["candidates"])
    EXPECT_EQ(candidate["languagePasses"], candidate["brokerString"] != "voice/en/c");
  EXPECT_TRUE(resolved["module"].is_null());
  // The exact form names the component the library reaches, in its own case.
  const json exact =
      Json(RunTool({"broker", "resolve", root_, "--engine", "tts/e", "VOICE/EN/A", "--json"}));
  EXPECT_EQ(exact["selected"], "voice/en/a");
  EXPECT_EQ(exact["file"], root_ + "/tts/v/a.hdr");
  EXPECT_EQ(exact["module"], root_ + "/tts/v/liba.so");
  EXPECT_EQ(Json(RunTool({"broker", "resolve", root_, "TTS/E", "--json"}))["form"], "engine");
  run = RunTool({"broker", "resolve", root_, "voice/en/a"});  // no engine: not reachable
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(Has(run.out, "selected: nothing"));
  EXPECT_TRUE(
      Json(RunTool({"broker", "resolve", root_, "voice/en/a", "--json"}))["selected"].is_null());
}

TEST_F(BrokerCli, CheckNamesEveryHeaderTheBrokerPassesByAndWhy) {
  ToolRun run = RunTool({"broker", "check", root_});
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(Has(run.out, "engines: 1, engine add-ons: 3, shared add-ons: 1, problems: 0"));
  AddProblems();
  run = RunTool({"broker", "check", root_});
  EXPECT_EQ(run.status, 1) << run.out;
  for (const std::string &shown :
       {root_ + "/tts/v/empty.hdr: unreadable: HDRPARS_E_WRONG_FORMAT 0x80220102",
        root_ + "/top.hdr: lies directly in the root",
        root_ + "/tts/addon.hdr: COMPTYPE \"VOICE\" is no engine type",
        root_ + "/tts/v/notype.hdr: no COMPTYPE", root_ + "/tts/v/nobs.hdr: no BROKERSTRING",
        root_ + "/tts/v/w/dup.hdr: duplicate broker string \"voice/en/a\", first read from " +
            root_ + "/tts/v/a.hdr",
        root_ + "/tts/v/other.hdr: ENGINE \"asr/x\" does not name engine \"tts/e\"",
        root_ + "/shared/direct.hdr: lies directly in the shared directory",
        std::string("duplicate engine broker string \"")})
    EXPECT_TRUE(Has(run.out, shown)) << shown << "\n" << run.out;
  // A type only a skipped file has is still asked of the library, which lists none of it.
  EXPECT_EQ(Json(RunTool({"broker", "list", root_, "--type", "FILTER", "--json"}))["shared"],
            json::array());
}

TEST_F(BrokerCli, LinksUpTheTreeLeadNowhereNewAndModulesOutsideTheRootAreShown) {
  // Two links to "." and one up to the engine directory: each directory is read once, so no
  // add-on shows up again as its own duplicate.
  std::filesystem::create_directory_symlink(".", dir_.Path("root/tts/v/self1"));
  std::filesystem::create_directory_symlink(".", dir_.Path("root/tts/v/self2"));
  std::filesystem::create_directory_symlink("../..", dir_.Path("root/tts/v/up"));
  Header("tts/v/out.hdr", u"VOICE", u"voice/out",
         T(u"DLL", u"../../../../lib/x86_64-linux-gnu/libm.so.6"));
  ExpectWalkMatchesLibrary(root_);
  const ToolRun run = RunTool({"broker", "check", root_});
  EXPECT_EQ(run.status, 1) << run.out;
  EXPECT_FALSE(Has(run.out, "duplicate")) << run.out;
  EXPECT_TRUE(Has(run.out, root_ + "/tts/v/out.hdr: DLL leads out of the root, its module is "
                                   "not loaded: BRK_E_MODULE_OUTSIDE_ROOT"))
      << run.out;
}

}  // namespace
