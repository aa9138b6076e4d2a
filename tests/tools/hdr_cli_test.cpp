// The hdr subcommands of the speechcommon tool, run as a user would run them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "dataheader/fixtures.h"
#include "tools/run_tool.h"

namespace {

using namespace tooltest;

TEST(HdrCli, PackShowExtract) {
  TempDir dir;
  std::string model(70000, '\0');
  for (size_t i = 0; i < model.size(); ++i)
    model[i] = static_cast<char>(i * 31 % 251);
  dir.Write("model.bin", model);
  dir.Write("small.bin", "tiny");
  const std::string file = dir.Path("voice.hdr");
  std::vector<std::string> pack =
      Words("hdr pack " + file + " -t COMPTYPE=ADDON --tag BROKERSTRING=voice/en -t " +
            "INFO/LANGUAGE=en-US -b DATABLOCK -t BROKERSTRING=model -t NOTE=v2 -e -d " +
            "model=" + dir.Path("model.bin") + " --data small=" + dir.Path("small.bin") + " -t");
  pack.push_back("INFO/GENDER= female ");  // into the INFO made above, trimmed
  ToolRun run = RunTool(pack);
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
  const nlohmann::json shown = Json(RunTool({"hdr", "show", file, "--json"}));
  EXPECT_EQ(shown["elements"][2]["name"], "INFO");
  EXPECT_EQ(shown["elements"][2]["children"][1]["value"], "female");
  EXPECT_EQ(shown["blocks"][1]["name"], "small");
  EXPECT_EQ(shown["blocks"][1]["offset"], "70000");
  EXPECT_EQ(shown["blocks"][1]["size"], 4);
  EXPECT_TRUE(shown["blocks"][1]["problem"].is_null());
  EXPECT_EQ(RunTool({"hdr", "extract", file, "model", "-o", dir.Path("m.out")}).status, 0);
  EXPECT_EQ(dir.Read("m.out"), model);
  run = RunTool({"hdr", "extract", file, "small"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, "tiny");
}

TEST(HdrCli, FileWrittenByHand) {
  TempDir dir;
  // Block "good" is whole; "cut" claims more bytes than the file holds.
  const std::string file = dir.Write(
      "hand.hdr",
      hdrtest::HeaderFile(u"<NAME>engine</NAME><DATABLOCK><BROKERSTRING>good</BROKERSTRING>"
                          u"<OFFSET>2</OFFSET><SIZE>3</SIZE></DATABLOCK><DATABLOCK>"
                          u"<BROKERSTRING>cut</BROKERSTRING><OFFSET>0</OFFSET>"
                          u"<SIZE>100</SIZE></DATABLOCK><DATABLOCK><SIZE>1</SIZE>"
                          u"</DATABLOCK>",
                          hdrtest::Le(u"<BINARYDATA>") + "abcdefg"));
  ToolRun run = RunTool({"hdr", "show", file});
  EXPECT_EQ(run.status, 1);
  for (const char *shown : {"NAME: engine\nDATABLOCK\n...BROKERSTRING: good\n",
                            "  good         offset 2          size 3\n",
                            "  cut          offset 0          size 100  (only 7 bytes in the file)",
                            "(a DATABLOCK without BROKERSTRING)"})
    EXPECT_TRUE(Has(run.out, shown)) << shown << "\n" << run.out;
  run = RunTool({"hdr", "show", file, "--json"});
  EXPECT_EQ(run.status, 1);
  const nlohmann::json blocks = Json(run)["blocks"];
  EXPECT_EQ(blocks[1]["present"], 7);
  EXPECT_EQ(blocks[1]["problem"], "only 7 bytes in the file");
  EXPECT_TRUE(blocks[2]["name"].is_null());
  run = RunTool({"hdr", "extract", file, "good"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, "cde");
  run = RunTool({"hdr", "extract", file, "cut", "-o", dir.Path("cut.out")});
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(Has(run.err, "holds 100 bytes, the file only 7")) << run.err;
  EXPECT_FALSE(std::filesystem::exists(dir.Path("cut.out")));
}

TEST(HdrCli, RefusalsLeaveNothingBehind) {
  TempDir dir;
  ToolRun run = RunTool({"hdr", "show", dir.Write("bad.hdr", "not a header")});
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(Has(run.err, "bad.hdr: HDRPARS_E_WRONG_FORMAT 0x80220102: WRONG FILE FORMAT"))
      << run.err;
  // Values that would read back differently, an element with a value and children, and a
  // data file that is also the output: nothing is left behind or overwritten.
  const std::string out = dir.Path("out.hdr");
  const std::string data = dir.Write("d.bin", "x");
  for (const std::string elements : {" -t A=x</A>y", " -t A=1 -t A/B=2"}) {
    EXPECT_EQ(RunTool(Words("hdr pack " + out + elements)).status, 1) << elements;
    EXPECT_FALSE(std::filesystem::exists(out)) << elements;
  }
  EXPECT_EQ(RunTool({"hdr", "pack", data, "-d", "d=" + data}).status, 1);
  EXPECT_EQ(dir.Read("d.bin"), "x");
  for (const char *args : {"hdr pack o -t NOVALUE", "hdr pack o -b A", "hdr pack o -e",
                           "hdr pack o -t A/=1", "hdr pack o -d =f"}) {
    run = RunTool(Words(args));
    EXPECT_EQ(run.status, 2) << args;
    EXPECT_FALSE(std::filesystem::exists("o")) << args;
  }
  EXPECT_EQ(RunTool({"hdr", "pack", out, "-t", "A=\xC3("}).status, 2);  // not UTF-8
}

}  // namespace
