// speechcommon broker, run as a person would run it on trees laid out in a temporary directory.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "dataheader/fixtures.h"

namespace {

struct Outcome {
  int status;
  std::string output;  // standard output and standard error together
};

Outcome Broker(const std::string &arguments) {
  const std::string command = std::string(SC_TOOL_PATH) + " broker " + arguments + " 2>&1";
  FILE *pipe = popen(command.c_str(), "r");
  Outcome outcome{-1, ""};
  if (!pipe) return outcome;
  char buffer[4096];
  size_t got;
  while ((got = fread(buffer, 1, sizeof buffer, pipe)) > 0)
    outcome.output.append(buffer, got);
  const int status = pclose(pipe);
  outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return outcome;
}

std::u16string T(std::u16string_view name, std::u16string_view value) {
  return u"<" + std::u16string(name) + u">" + std::u16string(value) + u"</" + std::u16string(name) +
         u">\r\n";
}

std::u16string Component(std::u16string_view type, std::u16string_view brokerString,
                         std::u16string_view more = u"") {
  return T(u"COMPTYPE", type) + T(u"BROKERSTRING", brokerString) + T(u"NAME", u"Name of it") +
         std::u16string(more);
}

class BrokerCli : public ::testing::Test {
 protected:
  void Header(const std::string &relative, std::u16string_view body) {
    Write(relative, hdrtest::HeaderFile(body));
  }
  void Write(const std::string &relative, const std::string &bytes) {
    const std::filesystem::path file = Root() + "/" + relative;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << bytes;
  }
  std::string Root() { return dir_.File("root"); }
  void LayOut() {
    Header("tts/e.hdr", Component(u"TTSENGINE", u"tts/e", T(u"VERSION", u"3.1")));
    Header("tts/v/a.hdr",
           Component(u"VOICE", u"voice/en/a",
                     T(u"LANGUAGE", u"en") + T(u"PRIORITY", u"5") + T(u"DLL", u"liba.so")));
    Header("tts/v/b.hdr", Component(u"VOICE", u"voice/en/b", T(u"PRIORITY", u"-1")));
    Header("tts/v/c.hdr",
           Component(u"VOICE", u"voice/en/c", T(u"LANGUAGE", u"de") + T(u"PRIORITY", u"9")));
    Header("shared/r/r.hdr", Component(u"RULES", u"rules/x"));
  }
  hdrtest::TempDir dir_;
};

TEST_F(BrokerCli, ListShowsEnginesAndWhatTheirObjectsReach) {
  LayOut();
  Outcome out = Broker("list " + Root());
  EXPECT_EQ(out.status, 0) << out.output;
  for (const char *shown : {"TTSENGINE  tts/e", "3.1", "voice/en/a", "4294967295 (-1)",
                            "shared add-ons", "RULES  rules/x"})
    EXPECT_NE(out.output.find(shown), std::string::npos) << shown << "\n" << out.output;
  out = Broker("list " + Root() + " --engine TTS/E --type RULES --json");
  EXPECT_EQ(out.status, 0) << out.output;
  EXPECT_NE(out.output.find("\"brokerString\": \"rules/x\""), std::string::npos) << out.output;
  EXPECT_NE(out.output.find("\"from\": \"shared\""), std::string::npos) << out.output;
  EXPECT_EQ(out.output.find("voice/en/a"), std::string::npos) << out.output;
  out = Broker("list " + Root() + " --engine nothing");
  EXPECT_EQ(out.status, 1);
  EXPECT_NE(out.output.find("0x80150103 NO ENGINE FOUND"), std::string::npos) << out.output;
}

TEST_F(BrokerCli, ResolveExplainsTheChoice) {
  LayOut();
  Outcome out = Broker("resolve " + Root() + " --engine tts/e --language en voice/def");
  EXPECT_EQ(out.status, 0) << out.output;
  // b's priority -1 is the highest unsigned; c's language does not pass.
  EXPECT_NE(out.output.find("selected: voice/en/b, file " + Root() + "/tts/v/b.hdr"),
            std::string::npos)
      << out.output;
  EXPECT_NE(out.output.find("(language does not pass)"), std::string::npos) << out.output;
  EXPECT_NE(out.output.find("module: none"), std::string::npos) << out.output;
  out = Broker("resolve " + Root() + " --engine tts/e VOICE/EN/A");
  EXPECT_EQ(out.status, 0) << out.output;
  EXPECT_NE(out.output.find("module: " + Root() + "/tts/v/liba.so"), std::string::npos)
      << out.output;
  out = Broker("resolve " + Root() + " voice/en/a");  // engine add-ons need an object on the engine
  EXPECT_EQ(out.status, 1);
  EXPECT_NE(out.output.find("0x80150104"), std::string::npos) << out.output;
}

TEST_F(BrokerCli, CheckNamesEverySkippedHeaderAndWhy) {
  LayOut();
  Outcome out = Broker("check " + Root());
  EXPECT_EQ(out.status, 0) << out.output;
  EXPECT_NE(
      out.output.find(
          "5 header files read; engines: 1, engine add-ons: 3, shared add-ons: 1, skipped: 0"),
      std::string::npos)
      << out.output;
  Write("tts/v/empty.hdr", "");
  Header("top.hdr", Component(u"TTSENGINE", u"top"));
  Header("tts/addon.hdr", Component(u"VOICE", u"misplaced"));
  Header("tts/v/notype.hdr", T(u"BROKERSTRING", u"x") + T(u"NAME", u"n"));
  Header("tts/v/nobs.hdr", T(u"COMPTYPE", u"VOICE") + T(u"NAME", u"n"));
  Header("tts/v/noname.hdr", T(u"COMPTYPE", u"VOICE") + T(u"BROKERSTRING", u"x"));
  Header("tts/v/w/dup.hdr", Component(u"VOICE", u"voice/en/a"));
  Header("tts/v/other.hdr", Component(u"VOICE", u"o", T(u"ENGINE", u"asr/x")));
  Header("shared/direct.hdr", Component(u"RULES", u"direct"));
  out = Broker("check " + Root());
  EXPECT_EQ(out.status, 1) << out.output;
  const std::string root = Root();
  for (const std::string &expected :
       {root + "/tts/v/empty.hdr: unreadable: 0x80220102",
        root + "/top.hdr: lies directly in the root",
        root + "/tts/addon.hdr: COMPTYPE \"VOICE\" is no engine type",
        root + "/tts/v/notype.hdr: no COMPTYPE tag", root + "/tts/v/nobs.hdr: no BROKERSTRING tag",
        root + "/tts/v/noname.hdr: no NAME tag",
        root + "/tts/v/w/dup.hdr: duplicate broker string \"voice/en/a\", first read from " + root +
            "/tts/v/a.hdr",
        root + "/tts/v/other.hdr: ENGINE \"asr/x\" does not name engine \"tts/e\"",
        root + "/shared/direct.hdr: lies directly in the shared directory"})
    EXPECT_NE(out.output.find(expected), std::string::npos) << expected << "\n" << out.output;
}

TEST_F(BrokerCli, UsageAndMissingRoots) {
  EXPECT_EQ(Broker("--help").status, 0);
  EXPECT_EQ(Broker("").status, 2);
  EXPECT_EQ(Broker("list").status, 2);
  EXPECT_EQ(Broker("frobnicate " + Root()).status, 2);
  EXPECT_EQ(Broker("resolve " + Root()).status, 2);
  EXPECT_EQ(Broker("list " + Root() + " --bogus").status, 2);
  EXPECT_EQ(Broker("list " + Root() + " --type").status, 2);
  const Outcome out = Broker("check " + Root() + "/absent");
  EXPECT_EQ(out.status, 1);
  EXPECT_NE(out.output.find("absent: not a directory"), std::string::npos) << out.output;
}

}  // namespace
