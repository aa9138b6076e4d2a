// The hdr subcommands of the speechcommon tool, run as a user would run them.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include "dataheader/fixtures.h"

namespace {

using hdrtest::Le;

struct Outcome {
  int status;
  std::string out;
  std::string err;
};

class HdrCliTest : public ::testing::Test {
 protected:
  Outcome Tool(const std::string &arguments) {
    const std::string command = std::string("'") + SC_CLI + "' " + arguments + " >'" +
                                dir_.File("stdout") + "' 2>'" + dir_.File("stderr") + "'";
    const int raw = std::system(command.c_str());
    return Outcome{WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, hdrtest::ReadBytes(dir_.File("stdout")),
                   hdrtest::ReadBytes(dir_.File("stderr"))};
  }
  std::string Path(const std::string &name) { return "'" + dir_.File(name) + "'"; }
  hdrtest::TempDir dir_;
};

TEST_F(HdrCliTest, PackShowExtract) {
  std::string model(70000, '\0');
  for (size_t i = 0; i < model.size(); ++i)
    model[i] = static_cast<char>(i * 31 % 251);
  dir_.Write("model.bin", model);
  dir_.Write("small.bin", "tiny");
  Outcome run = Tool("hdr pack " + Path("voice.hdr") +
                     " -t COMPTYPE=ADDON --tag 'BROKERSTRING=voice/en' -t INFO/LANGUAGE=en-US"
                     " -t INFO/GENDER=' female ' -b DATABLOCK -t BROKERSTRING=model -t NOTE=v2 -e"
                     " -d model=" +
                     Path("model.bin") + " --data small=" + Path("small.bin"));
  ASSERT_EQ(run.status, 0) << run.err;

  run = Tool("hdr show " + Path("voice.hdr"));
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, dir_.File("voice.hdr") +
                         "\nCOMPTYPE: ADDON\nBROKERSTRING: voice/en\nINFO\n...LANGUAGE: en-US\n"
                         "...GENDER: female\nDATABLOCK\n...BROKERSTRING: model\n...NOTE: v2\n"
                         "...SIZE: 70000\n...OFFSET: 0\nDATABLOCK\n...BROKERSTRING: small\n"
                         "...SIZE: 4\n...OFFSET: 70000\n\ndata blocks:\n"
                         "  model        offset 0          size 70000\n"
                         "  small        offset 70000      size 4\n");

  EXPECT_EQ(Tool("hdr extract " + Path("voice.hdr") + " model -o " + Path("m.out")).status, 0);
  EXPECT_EQ(hdrtest::ReadBytes(dir_.File("m.out")), model);
  run = Tool("hdr extract " + Path("voice.hdr") + " small");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, "tiny");
}

TEST_F(HdrCliTest, FileWrittenByHand) {
  // Block "good" is whole; "cut" claims more bytes than the file holds.
  dir_.Write("hand.hdr",
             hdrtest::HeaderFile(u"<NAME>engine</NAME><DATABLOCK><BROKERSTRING>good</BROKERSTRING>"
                                 u"<OFFSET>2</OFFSET><SIZE>3</SIZE></DATABLOCK><DATABLOCK>"
                                 u"<BROKERSTRING>cut</BROKERSTRING><OFFSET>0</OFFSET>"
                                 u"<SIZE>100</SIZE></DATABLOCK><DATABLOCK><SIZE>1</SIZE>"
                                 u"</DATABLOCK>",
                                 Le(u"<BINARYDATA>") + "abcdefg"));
  Outcome run = Tool("hdr show " + Path("hand.hdr"));
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.out.find("NAME: engine\nDATABLOCK\n...BROKERSTRING: good\n"), std::string::npos);
  EXPECT_NE(run.out.find("  good         offset 2          size 3\n"), std::string::npos);
  EXPECT_NE(run.out.find("  cut          offset 0          size 100  (only 7 bytes in the "
                         "file)\n"),
            std::string::npos)
      << run.out;
  EXPECT_NE(run.out.find("(a DATABLOCK without BROKERSTRING)"), std::string::npos);

  run = Tool("hdr extract " + Path("hand.hdr") + " good");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, "cde");
  run = Tool("hdr extract " + Path("hand.hdr") + " cut -o " + Path("cut.out"));
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find("holds 100 bytes, the file only 7"), std::string::npos) << run.err;
  EXPECT_FALSE(std::filesystem::exists(dir_.File("cut.out")));
  run = Tool("hdr extract " + Path("hand.hdr") + " other");
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find("TAG MISSING IN DATABLOCK (0x80220105)"), std::string::npos) << run.err;
}

TEST_F(HdrCliTest, RefusalsAndUsage) {
  Outcome run = Tool("hdr show " + Path("missing.hdr"));
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find("missing.hdr: error opening file (0x8022018B)"), std::string::npos)
      << run.err;
  dir_.Write("bad.hdr", "not a header");
  run = Tool("hdr show " + Path("bad.hdr"));
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find("WRONG FILE FORMAT (0x80220102)"), std::string::npos) << run.err;

  // Values that would read back differently, and elements with a value and children.
  for (const char *elements : {"-t 'A=<X>1</X>'", "-t 'A=x</A>y'", "-t A=1 -t A/B=2"}) {
    run = Tool("hdr pack " + Path("out.hdr") + " " + elements);
    EXPECT_EQ(run.status, 1) << elements;
    EXPECT_FALSE(std::filesystem::exists(dir_.File("out.hdr"))) << elements;
  }
  dir_.Write("d.bin", "x");
  run = Tool("hdr pack " + Path("d.bin") + " -d d=" + Path("d.bin"));
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(hdrtest::ReadBytes(dir_.File("d.bin")), "x");

  for (const char *arguments :
       {"hdr", "hdr show", "hdr frobnicate", "hdr pack o.hdr -t NOVALUE", "hdr pack o.hdr -b A",
        "hdr pack o.hdr -e", "hdr pack o.hdr -t A/=1", "hdr pack o.hdr -t 'A>B=1'",
        "hdr pack o.hdr -d x", "hdr pack o.hdr --bogus", "hdr extract f.hdr"}) {
    run = Tool(arguments);
    EXPECT_EQ(run.status, 2) << arguments;
    EXPECT_NE(run.err.find("usage: speechcommon hdr"), std::string::npos) << arguments;
  }
  run = Tool("hdr --help");
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.out.find("--tag PATH=VALUE"), std::string::npos);
}

}  // namespace
