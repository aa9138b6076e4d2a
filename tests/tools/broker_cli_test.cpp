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
  const std::u16string n(name);
  return u"<" + n + u">" + std::u16string(value) + u"</" + n + u">\r\n";
}

// Every piece appears in the text.
void ExpectShown(const std::string &text, std::initializer_list<std::string> pieces) {
  for (const std::string &piece : pieces)
    EXPECT_NE(text.find(piece), std::string::npos) << piece << "\n" << text;
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
  sctest::TempDir dir_;
  const std::string root_ = dir_.Path("root");
};

TEST_F(BrokerCli, ListAndResolve) {
  auto run = RunTool({"broker", "list", root_});
  EXPECT_EQ(run.status, 0) << run.err;
  ExpectShown(run.out,
              {"TTSENGINE  tts/e", "3.1", "voice/en/a", "4294967295 (-1)", "RULES  rules/x"});
  run = RunTool({"broker", "list", root_, "--engine", "TTS/E", "--type", "RULES", "--json"});
  EXPECT_EQ(run.status, 0) << run.err;
  ExpectShown(run.out, {"\"brokerString\": \"rules/x\"", "\"from\": \"shared\""});
  EXPECT_EQ(run.out.find("voice/en/a"), std::string::npos) << run.out;
  run = RunTool({"broker", "list", root_, "--engine", "nothing"});
  EXPECT_EQ(run.status, 1);
  ExpectShown(run.err, {"0x80150103 NO ENGINE FOUND"});

  // b's priority -1 is the highest unsigned; c's language does not pass.
  run = RunTool({"broker", "resolve", root_, "--engine", "tts/e", "--language", "en", "voice/def"});
  EXPECT_EQ(run.status, 0) << run.err;
  ExpectShown(run.out, {"selected: voice/en/b, file " + root_ + "/tts/v/b.hdr",
                        "(language does not pass)", "module: none"});
  run = RunTool({"broker", "resolve", root_, "--engine", "tts/e", "VOICE/EN/A"});
  ExpectShown(run.out, {"module: " + root_ + "/tts/v/liba.so"});
  run = RunTool({"broker", "resolve", root_, "voice/en/a"});  // no engine: not reachable
  EXPECT_EQ(run.status, 1);
  ExpectShown(run.err, {"0x80150104"});
}

TEST_F(BrokerCli, CheckNamesEverySkippedHeaderAndWhy) {
  auto run = RunTool({"broker", "check", root_});
  EXPECT_EQ(run.status, 0) << run.out;
  ExpectShown(run.out, {"engines: 1, engine add-ons: 3, shared add-ons: 1, skipped: 0"});
  dir_.Write("root/tts/v/empty.hdr", "");
  Header("top.hdr", u"TTSENGINE", u"top");
  Header("tts/addon.hdr", u"VOICE", u"misplaced");
  Header("tts/v/notype.hdr", u"", u"x");
  Header("tts/v/nobs.hdr", u"VOICE", u"");
  Header("tts/v/w/dup.hdr", u"VOICE", u"voice/en/a");
  Header("tts/v/other.hdr", u"VOICE", u"o", T(u"ENGINE", u"asr/x"));
  Header("shared/direct.hdr", u"RULES", u"direct");
  run = RunTool({"broker", "check", root_});
  EXPECT_EQ(run.status, 1) << run.out;
  ExpectShown(
      run.out,
      {root_ + "/tts/v/empty.hdr: unreadable: 0x80220102",
       root_ + "/top.hdr: lies directly in the root",
       root_ + "/tts/addon.hdr: COMPTYPE \"VOICE\" is no engine type",
       root_ + "/tts/v/notype.hdr: no COMPTYPE", root_ + "/tts/v/nobs.hdr: no BROKERSTRING",
       root_ + "/tts/v/w/dup.hdr: duplicate broker string \"voice/en/a\", first read from " +
           root_ + "/tts/v/a.hdr",
       root_ + "/tts/v/other.hdr: ENGINE \"asr/x\" does not name engine \"tts/e\"",
       root_ + "/shared/direct.hdr: lies directly in the shared directory"});
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
  ExpectShown(run.err, {"absent: not a directory"});
}

}  // namespace
