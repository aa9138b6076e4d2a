// The speechcommon tool as a whole: help and refusals on every command, the version, the
// error command, tracing and the completion script.
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <string>
#include <utility>

#include "speechcommon.h"
#include "tools/run_tool.h"

namespace {

using namespace tooltest;

// The subcommands a help text lists.
std::vector<std::string> Subcommands(const std::string &help) {
  std::vector<std::string> names;
  const size_t start = help.find("\nSubcommands:\n");
  if (start == std::string::npos) return names;
  std::istringstream lines(help.substr(start + 14));
  for (std::string line; std::getline(lines, line) && line.starts_with("  ");)
    names.push_back(Words(line)[0]);
  return names;
}

TEST(Cli, EveryCommandAnswersHelpAndAGroupAloneListsItsCommands) {
  std::vector<std::vector<std::string>> pending{{}};
  size_t leaves = 0;
  while (!pending.empty()) {
    std::vector<std::string> path = pending.back();
    pending.pop_back();
    std::vector<std::string> args = path;
    args.push_back("--help");
    const ToolRun help = RunTool(args);
    const std::string name = path.empty() ? "speechcommon" : path.back();
    EXPECT_EQ(help.status, 0) << name;
    EXPECT_TRUE(Has(help.out, "Usage:")) << name << help.out;
    const std::vector<std::string> below = Subcommands(help.out);
    leaves += below.empty();
    if (!below.empty()) {
      // Without a subcommand a group says which there are, and refuses.
      const ToolRun alone = RunTool(path);
      EXPECT_EQ(alone.status, 2) << name;
      for (const std::string &sub : below)
        EXPECT_TRUE(Has(alone.err, "  " + sub + " ")) << name << " lacks " << sub;
    }
    for (const std::string &sub : below) {
      pending.push_back(path);
      pending.back().push_back(sub);
    }
  }
  EXPECT_EQ(leaves, 17u);  // error, hdr 3, dict 9, broker 3, completion: none lost
}

TEST(Cli, OptionsAndOperandsThatDoNotApplyAreRefused) {
  for (const char *line :
       {"frobnicate", "dict frobnicate", "dict info x.txt --swap -o f --content bogus",
        "dict lookup --encoding utf8 x", "hdr show a b", "error", "error 1 2",
        "broker list . --bogus", "broker list . --type", "broker check /nonexistent/dir",
        "dict compile a", "dict decompile a -o b --encoding latin1", "dict lookup x --content x",
        "dict export-pls a", "completion zsh", "hdr pack"}) {
    const ToolRun run = RunTool(Words(line));
    EXPECT_EQ(run.status, 2) << line << "\n" << run.err;
    EXPECT_TRUE(Has(run.err, "--help")) << line << "\n" << run.err;
    EXPECT_TRUE(run.out.empty()) << line;
  }
}

// The library's version first, then each family's revision as the library's own query returns
// it, the dictionaries' marker called unversioned: the man page is made from this.
TEST(Cli, VersionNamesTheLibraryThenTheFamilyRevisions) {
  const ToolRun version = RunTool({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out.rfind("speechcommon " SC_VERSION_STRING "\n", 0), 0u) << version.out;
  uint32_t critsec = 0, heap = 0, osspi = 0, srvspi = 0, dbg = 0, edct = 0;
  critsec_GetVersion(&critsec);
  heap_GetVersion(&heap);
  osspi_SpiGetVersion(&osspi);
  srvspi_SpiGetVersion(&srvspi);
  dbg_GetVersion(&dbg);
  edct_GetVersion(&edct);
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
}

TEST(Cli, ErrorExplainsCodesInEveryNotationAsTextAndJson) {
  ToolRun run = RunTool({"error", "0x80010204"});
  EXPECT_EQ(run.status, 0);
  for (const char *line :
       {"code       0x80010204 (2147549700) SRVSPI_E_ARRAY_INVALID_ARGUMENT", "outcome    failure",
        "module     1 \"SRVSPI\", family srvspi_", "submodule  2 \" array \"",
        "reason     4 (the family's own reason)", "message    \" argument is wrong \""})
    EXPECT_TRUE(Has(run.out, line)) << line << "\n" << run.out;
  // 0x801E0083 in decimal, as a signed value and in hex without its prefix.
  for (const char *text : {"2149449859", "-2145517437", "801e0083"}) {
    const nlohmann::json code = Json(run = RunTool({"error", text, "--json"}));
    EXPECT_EQ(code["code"], "0x801E0083") << text;
    EXPECT_EQ(code["name"], "EDCT_E_NULL_POINTER");
    EXPECT_EQ(code["reason"]["general"], true);
    EXPECT_EQ(code["module"]["family"], "edct_");
  }
  EXPECT_EQ(Json(RunTool({"error", "0x00010201", "--json"}))["failure"], false);
  const nlohmann::json foreign = Json(RunTool({"error", "0x80450001", "--json"}));
  EXPECT_TRUE(foreign["module"]["family"].is_null());
  EXPECT_TRUE(foreign["name"].is_null());
  EXPECT_TRUE(Has(RunTool({"error", "0x80090001"}).out, "the dbg_ family has no message table"));
  for (const char *text : {"zebra", "0x", "0x123456789", "4294967296", "-2147483649", ""}) {
    run = RunTool({"error", text});
    EXPECT_EQ(run.status, 2) << text;
    EXPECT_TRUE(Has(run.err, "is not a result code")) << text;
  }
}

TEST(Cli, TraceStartsTheTraceFacility) {
  TempDir dir;
  const std::string lexicon = dir.Write("l.txt", "[Header]\nName = n\n");
  const std::string environment = "VQ_TRACELEVEL=FUNC VQ_MODULES=EDCTSPI VQ_SUBMODULES=DctStrm";
  ToolRun run = RunTool({"dict", "info", lexicon, "--trace"}, "", environment);
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_TRUE(Has(run.err, "EDCTSPI    DctStrm")) << run.err;
  EXPECT_TRUE(Has(run.err, "DctStream_Input > ")) << run.err;
  EXPECT_TRUE(Has(run.out, "name         n"));
  run = RunTool({"--trace", "dict", "info", lexicon}, "",
                environment + " VQ_LOGFILE=" + dir.Path("t.log"));
  EXPECT_TRUE(Has(dir.Read("t.log"), "Input_Finalize < ")) << dir.Read("t.log");
  EXPECT_EQ(RunTool({"dict", "info", lexicon}, "", environment).err, "");  // not started
  EXPECT_TRUE(Has(RunTool({"--trace", "dict", "info", lexicon}).err, "VQ_TRACELEVEL is not set"));
}

// The script made by `completion bash`, driven as bash drives it.
TEST(Cli, CompletionScriptKnowsCommandsOptionsAndValues) {
  TempDir dir;
  const ToolRun script = RunTool({"completion", "bash", "-o", dir.Path("c.bash")});
  ASSERT_EQ(script.status, 0) << script.err;
  const auto complete = [&](const std::string &line) {
    std::vector<std::string> words = Words(line);
    if (line.ends_with(' ')) words.push_back("");
    std::string array;
    for (const std::string &word : words)
      array += ShellQuote(word) + " ";
    const std::string command =
        "bash -c " + ShellQuote("source " + dir.Path("c.bash") + "; COMP_WORDS=(" + array +
                                "); COMP_CWORD=" + std::to_string(words.size() - 1) +
                                "; _speechcommon; echo ${COMPREPLY[*]}");
    FILE *pipe = popen(command.c_str(), "r");
    char buffer[4096] = {};
    const size_t got = fread(buffer, 1, sizeof buffer - 1, pipe);
    pclose(pipe);
    return std::string(buffer, got > 0 ? got - 1 : 0);
  };
  EXPECT_EQ(complete("speechcommon "), "error hdr dict broker completion");
  EXPECT_EQ(complete("speechcommon di"), "dict");
  EXPECT_EQ(complete("speechcommon dict import"), "import-pls");
  EXPECT_EQ(complete("speechcommon dict compile x.txt --sw"), "--swap");
  EXPECT_EQ(complete("speechcommon dict compile --encoding "), "utf8 ucs2le ucs2be");
  EXPECT_EQ(complete("speechcommon --trace broker list root --j"), "--json");
  EXPECT_EQ(complete("speechcommon dict lookup --content b"), "broad-narrows");
}

}  // namespace
