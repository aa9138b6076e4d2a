// The speechcommon tool: global options and the error subcommand.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>

#include "speechcommon.h"
#include "tools/run_tool.h"

namespace {

using sctest::RunTool;

TEST(CliError, ExplainsAFailure) {
  const auto run = RunTool({"error", "0x80010204"});
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.out.find("outcome    failure"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("module     1 \"SRVSPI\", family srvspi_"), std::string::npos);
  EXPECT_NE(run.out.find("submodule  2 \" array \""), std::string::npos);
  EXPECT_NE(run.out.find("reason     4 (the family's own reason)"), std::string::npos);
  EXPECT_NE(run.out.find("message    \" argument is wrong \""), std::string::npos);
}

TEST(CliError, DecimalSignedAndGeneralCodes) {
  // 0x801E0083 written in decimal, and as a signed 32-bit value.
  for (const char *text : {"2149449859", "-2145517437", "801e0083"}) {
    const auto run = RunTool({"error", text});
    EXPECT_EQ(run.status, 0) << text;
    EXPECT_NE(run.out.find("code       0x801E0083"), std::string::npos) << text << run.out;
    EXPECT_NE(run.out.find("general reason"), std::string::npos);
    EXPECT_NE(run.out.find("an unexpected nullpointer"), std::string::npos);
  }
  const auto success = RunTool({"error", "0x00010201"});
  EXPECT_NE(success.out.find("outcome    success"), std::string::npos);
  const auto broker = RunTool({"error", "0x80220102"});
  EXPECT_NE(broker.out.find("WRONG FILE FORMAT"), std::string::npos);
  const auto foreign = RunTool({"error", "0x80450001"});
  EXPECT_NE(foreign.out.find("not a family of this library"), std::string::npos);
}

TEST(CliError, RefusesWhatIsNotACode) {
  for (const char *text : {"zebra", "0x", "0x123456789", "4294967296", "-2147483649", ""}) {
    const auto run = RunTool({"error", text});
    EXPECT_EQ(run.status, 2) << text;
    EXPECT_NE(run.err.find("is not a result code"), std::string::npos) << text;
    EXPECT_TRUE(run.out.empty());
  }
  EXPECT_EQ(RunTool({"error"}).status, 2);
  EXPECT_EQ(RunTool({"error", "1", "2"}).status, 2);
}

TEST(CliGlobal, HelpVersionAndUnknownCommands) {
  const auto help = RunTool({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.out.find("usage: speechcommon"), std::string::npos);
  EXPECT_NE(help.out.find("error"), std::string::npos);
  const auto unknown = RunTool({"frobnicate"});
  EXPECT_EQ(unknown.status, 2);
  EXPECT_NE(unknown.err.find("unknown command 'frobnicate'"), std::string::npos);
  EXPECT_EQ(RunTool({}).status, 2);
  EXPECT_EQ(RunTool({"error", "--help"}).status, 0);
}

// The library's version first, as the generated header gives it, then each family's revision
// as the library's own query returns it, the dictionaries' marker called unversioned.
TEST(CliGlobal, VersionNamesTheLibraryThenTheFamilyRevisions) {
  EXPECT_EQ(std::string(SC_VERSION_STRING), std::to_string(SC_VERSION_MAJOR) + "." +
                                                std::to_string(SC_VERSION_MINOR) + "." +
                                                std::to_string(SC_VERSION_PATCH));
  EXPECT_EQ(SC_VERSION_NUMBER,
            SC_VERSION_MAJOR * 10000 + SC_VERSION_MINOR * 100 + SC_VERSION_PATCH);
  const auto version = RunTool({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out.rfind("speechcommon " SC_VERSION_STRING "\n", 0), 0u) << version.out;

  uint32_t critsec = 0, heap = 0, osspi = 0, srvspi = 0, dbg = 0, edct = 0;
  critsec_GetVersion(&critsec);
  heap_GetVersion(&heap);
  osspi_SpiGetVersion(&osspi);
  srvspi_SpiGetVersion(&srvspi);
  dbg_GetVersion(&dbg);
  edct_GetVersion(&edct);
  ASSERT_EQ(edct, 0xFFFFFFFFu);
  const std::pair<const char *, uint32_t> families[] = {{"critsec_", critsec}, {"heap_", heap},
                                                        {"osspi_", osspi},     {"srvspi_", srvspi},
                                                        {"dbg_", dbg},         {"edct_", edct}};
  size_t previous = 0;
  for (const auto &[prefix, revision] : families) {
    char line[64];
    std::snprintf(line, sizeof line, "\n  %-9s 0x%08X%s\n", prefix, revision,
                  revision == 0xFFFFFFFFu ? "  unversioned" : "");
    const size_t at = version.out.find(line);
    EXPECT_NE(at, std::string::npos) << line << version.out;
    EXPECT_GT(at, previous) << prefix << " out of order";
    previous = at;
  }
  EXPECT_NE(version.out.find("compare a revision for equality"), std::string::npos);
}

}  // namespace
