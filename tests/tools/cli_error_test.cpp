// The speechcommon tool: global options and the error subcommand.
#include <gtest/gtest.h>

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
  const auto version = RunTool({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out.rfind("speechcommon ", 0), 0u);
  EXPECT_NE(version.out.find("edct_ 0xFFFFFFFF"), std::string::npos);
  const auto unknown = RunTool({"frobnicate"});
  EXPECT_EQ(unknown.status, 2);
  EXPECT_NE(unknown.err.find("unknown command 'frobnicate'"), std::string::npos);
  EXPECT_EQ(RunTool({}).status, 2);
  EXPECT_EQ(RunTool({"error", "--help"}).status, 0);
}

}  // namespace
