// The broker subcommands of the speechcommon tool, run as a packager would run them on trees
// laid out in a temporary directory.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "dataheader/fixtures.h"
#include "tools/run_tool.h"

namespace {

using sctest::RunTool;

std::u16string T(std::u16string_view name, std::u16string_view value) {
  return u"<" + std::u16string(name) + u">" + std::u16string(value) + u"</" + std::u16string(name) +
         u">\r\n";
}

std::u16string Component(std::u16string_view type, std::u16string_view brokerString,
                         std::u16string_view more = u"") {
  return T(u"COMPTYPE", type) + T(u"BROKERSTRING", brokerString) + T(u"NAME", u"N") +
         std::u16string(more);
}

class BrokerCli : public ::testing::Test {
 protected:
  void SetUp() override {
    Header("tts/e.hdr", Component(u"TTSENGINE", u"tts/e", T(u"VERSION", u"3.1")));
    Header("tts/v/a.hdr",
           Component(u"VOICE", u"voice/en/a",
                     T(u"LANGUAGE", u"en") + T(u"PRIORITY", u"5") + T(u"DLL", u"liba.so")));
    Header("tts/v/b.hdr", Component(u"VOICE", u"voice/en/b", T(u"PRIORITY", u"-1")));
    Header("tts/v/c.hdr",
           Component(u"VOICE", u"voice/en/c", T(u"LANGUAGE", u"de") + T(u"PRIORITY", u"9")));
    Header("shared/r/r.hdr", Component(u"RULES", u"rules/x"));
  }
  void Header(const std::string &relative, std::u16string_view body) {
    std::filesystem::create_directories(
        std::filesystem::path(root_ + "/" + relative).parent_path());
    dir_.Write("root/" + relative, hdrtest::HeaderFile(body));
  }
  hdrtest::TempDir dir_;
  const std::string root_ = dir_.File("root");
};

TEST_F(BrokerCli, ListAndResolve) {
  auto run = RunTool({"broker", "list", root_});
  EXPECT_EQ(run.status, 0) << run.err;
  for (const char *shown :
       {"TTSENGINE  tts/e", "3.1", "voice/en/a", "4294967295 (-1)", "RULES  rules/x"})
    EXPECT_NE(run.out.find(shown), std::string::npos) << shown << "\n" << run.out;
  run = RunTool({"broker", "list", root_, "--engine", "TTS/E", "--type", "RULES", "--json"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("\"brokerString\": \"rules/x\""), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("\"from\": \"shared\""), std::string::npos) << run.out;
  EXPECT_EQ(run.out.find("voice/en/a"), std::string::npos) << run.out;
  run = RunTool({"broker", "list", root_, "--engine", "nothing"});
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find("0x80150103 NO ENGINE FOUND"), std::string::npos) << run.err;

  // b's priority -1 is the highest unsigned; c's language does not pass.
  run = RunTool({"broker", "resolve", root_, "--engine", "tts/e", "--language", "en", "voice/def"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("selected: voice/en/b, file " + root_ + "/tts/v/b.hdr"), std::string::npos)
      << run.out;
  EXPECT_NE(run.out.find("(language does not pass)"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("module: none"), std::string::npos) << run.out;
  run = RunTool({"broker", "resolve", root_, "--engine", "tts/e", "VOICE/EN/A"});
  EXPECT_NE(run.out.find("module: " + root_ + "/tts/v/liba.so"), std::string::npos) << run.out;
  run = RunTool({"broker", "resolve", root_, "voice/en/a"});  // no engine: not reachable
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find("0x80150104"), std::string::npos) << run.err;
}

TEST_F(BrokerCli, CheckNamesEverySkippedHeaderAndWhy) {
  auto run = RunTool({"broker", "check", root_});
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_NE(run.out.find("engines: 1, engine add-ons: 3, shared add-ons: 1, skipped: 0"),
            std::string::npos)
      << run.out;
  dir_.Write("root/tts/v/empty.hdr", "");
  Header("top.hdr", Component(u"TTSENGINE", u"top"));
  Header("tts/addon.hdr", Component(u"VOICE", u"misplaced"));
  Header("tts/v/notype.hdr", T(u"BROKERSTRING", u"x") + T(u"NAME", u"n"));
  Header("tts/v/nobs.hdr", T(u"COMPTYPE", u"VOICE") + T(u"NAME", u"n"));
  Header("tts/v/w/dup.hdr", Component(u"VOICE", u"voice/en/a"));
  Header("tts/v/other.hdr", Component(u"VOICE", u"o", T(u"ENGINE", u"asr/x")));
  Header("shared/direct.hdr", Component(u"RULES", u"direct"));
  run = RunTool({"broker", "check", root_});
  EXPECT_EQ(run.status, 1) << run.out;
  for (const std::string &expected : std::vector<std::string>{
           std::string("/tts/v/empty.hdr: unreadable: 0x80220102"),
           "/top.hdr: lies directly in the root",
           "/tts/addon.hdr: COMPTYPE \"VOICE\" is no engine type", "/tts/v/notype.hdr: no COMPTYPE",
           "/tts/v/nobs.hdr: no BROKERSTRING",
           "/tts/v/w/dup.hdr: duplicate broker string \"voice/en/a\", first read from " + root_ +
               "/tts/v/a.hdr",
           "/tts/v/other.hdr: ENGINE \"asr/x\" does not name engine \"tts/e\"",
           "/shared/direct.hdr: lies directly in the shared directory"})
    EXPECT_NE(run.out.find(root_ + expected), std::string::npos) << expected << "\n" << run.out;
}

TEST_F(BrokerCli, UsageAndMissingRoots) {
  EXPECT_EQ(RunTool({"broker", "--help"}).status, 0);
  for (const auto &args : {std::vector<std::string>{"broker"},
                           {"broker", "list"},
                           {"broker", "frobnicate", "."},
                           {"broker", "resolve", "."},
                           {"broker", "list", ".", "--bogus"},
                           {"broker", "list", ".", "--type"}})
    EXPECT_EQ(RunTool(args).status, 2) << args.back();
  const auto run = RunTool({"broker", "check", root_ + "/absent"});
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find("absent: not a directory"), std::string::npos) << run.err;
}

}  // namespace
