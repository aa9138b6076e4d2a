// The hdr subcommands of the speechcommon tool, run as a user would run them.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "dataheader/fixtures.h"
#include "tools/run_tool.h"

namespace {

using sctest::RunTool;
using Args = std::vector<std::string>;

Args Words(const std::string &text) {
  Args words;
  std::istringstream in(text);
  for (std::string word; in >> word;)
    words.push_back(word);
  return words;
}

class HdrCliTest : public ::testing::Test {
 protected:
  std::string Path(const std::string &name) { return dir_.Path(name); }
  sctest::TempDir dir_;
};

TEST_F(HdrCliTest, PackShowExtract) {
  std::string model(70000, '\0');
  for (size_t i = 0; i < model.size(); ++i)
    model[i] = static_cast<char>(i * 31 % 251);
  dir_.Write("model.bin", model);
  dir_.Write("small.bin", "tiny");
  const std::string file = Path("voice.hdr");
  Args pack = Words("hdr pack " + file + " -t COMPTYPE=ADDON --tag BROKERSTRING=voice/en -t " +
                    "INFO/LANGUAGE=en-US -b DATABLOCK -t BROKERSTRING=model -t NOTE=v2 -e -d " +
                    "model=" + Path("model.bin") + " --data small=" + Path("small.bin") + " -t");
  pack.push_back("INFO/GENDER= female ");  // into the INFO made above, trimmed
  auto run = RunTool(pack);
  ASSERT_EQ(run.status, 0) << run.err;

  run = RunTool({"hdr", "show", file});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, file +
                         "\nCOMPTYPE: ADDON\nBROKERSTRING: voice/en\nINFO\n...LANGUAGE: en-US\n"
                         "...GENDER: female\nDATABLOCK\n...BROKERSTRING: model\n...NOTE: v2\n"
                         "...SIZE: 70000\n...OFFSET: 0\nDATABLOCK\n...BROKERSTRING: small\n"
                         "...SIZE: 4\n...OFFSET: 70000\n\ndata blocks:\n"
                         "  model        offset 0          size 70000\n"
                         "  small        offset 70000      size 4\n");
  EXPECT_EQ(RunTool({"hdr", "extract", file, "model", "-o", Path("m.out")}).status, 0);
  EXPECT_EQ(sctest::ReadFile(Path("m.out")), model);
  run = RunTool({"hdr", "extract", file, "small"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, "tiny");
}

TEST_F(HdrCliTest, FileWrittenByHand) {
  // Block "good" is whole; "cut" claims more bytes than the file holds.
  const std::string file = dir_.Write(
      "hand.hdr",
      hdrtest::HeaderFile(u"<NAME>engine</NAME><DATABLOCK><BROKERSTRING>good</BROKERSTRING>"
                          u"<OFFSET>2</OFFSET><SIZE>3</SIZE></DATABLOCK><DATABLOCK>"
                          u"<BROKERSTRING>cut</BROKERSTRING><OFFSET>0</OFFSET>"
                          u"<SIZE>100</SIZE></DATABLOCK><DATABLOCK><SIZE>1</SIZE>"
                          u"</DATABLOCK>",
                          hdrtest::Le(u"<BINARYDATA>") + "abcdefg"));
  auto run = RunTool({"hdr", "show", file});
  EXPECT_EQ(run.status, 1);
  for (const char *shown : {"NAME: engine\nDATABLOCK\n...BROKERSTRING: good\n",
                            "  good         offset 2          size 3\n",
                            "  cut          offset 0          size 100  (only 7 bytes in the file)",
                            "(a DATABLOCK without BROKERSTRING)"})
    EXPECT_NE(run.out.find(shown), std::string::npos) << shown << "\n" << run.out;
  run = RunTool({"hdr", "extract", file, "good"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, "cde");
  run = RunTool({"hdr", "extract", file, "cut", "-o", Path("cut.out")});
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find("holds 100 bytes, the file only 7"), std::string::npos) << run.err;
  EXPECT_FALSE(std::filesystem::exists(Path("cut.out")));
}

TEST_F(HdrCliTest, RefusalsAndUsage) {
  auto run = RunTool({"hdr", "show", dir_.Write("bad.hdr", "not a header")});
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find("bad.hdr: WRONG FILE FORMAT (0x80220102)"), std::string::npos) << run.err;

  // Values that would read back differently, an element with a value and children, and a
  // data file that is also the output: nothing is left behind or overwritten.
  const std::string out = Path("out.hdr");
  const std::string data = dir_.Write("d.bin", "x");
  for (const std::string elements : {" -t A=x</A>y", " -t A=1 -t A/B=2"}) {
    EXPECT_EQ(RunTool(Words("hdr pack " + out + elements)).status, 1) << elements;
    EXPECT_FALSE(std::filesystem::exists(out)) << elements;
  }
  EXPECT_EQ(RunTool({"hdr", "pack", data, "-d", "d=" + data}).status, 1);
  EXPECT_EQ(sctest::ReadFile(data), "x");
  for (const char *args : {"hdr pack o -t NOVALUE", "hdr pack o -b A", "hdr pack o -t A/=1"}) {
    run = RunTool(Words(args));
    EXPECT_EQ(run.status, 2) << args;
    EXPECT_NE(run.err.find("usage: speechcommon hdr"), std::string::npos) << args;
  }
}

}  // namespace
