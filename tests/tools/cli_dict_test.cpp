// The dict subcommands of the speechcommon tool, run on files in a temporary directory.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <sstream>
#include <tuple>

#include "debug/dbg_fixture.h"
#include "dictionary/edct_test_util.h"
#include "tools/run_tool.h"

namespace {

// A temporary directory with two text streams in it.
class CliDict : public DbgTest {
 protected:
  void SetUp() override {
    DbgTest::SetUp();
    dir_.Write("main.txt", kMain);
    dir_.Write(
        "over.txt",
        "[Header]\nName = Over\n[SubHeader]\nLanguage = en\nContent = "
        "EDCT_CONTENT_ORTHOGRAPHIC\nRepresentation = EDCT_REPR_SZ_STRING\n[Data]\nDr.\tdrive\n");
  }
  std::string Get(const std::string &name) const { return Read(Path(name)); }
  // Runs "speechcommon dict" with the words of a line ("@name" stands for a file of the
  // directory) and checks its exit status.
  sctest::ToolRun Dict(const std::string &line, int status, const std::string &input = "") {
    std::vector<std::string> args = {"dict"};
    std::istringstream words(line);
    for (std::string word; words >> word;)
      args.push_back(word.starts_with('@') ? Path(word.substr(1)) : word);
    const sctest::ToolRun run = sctest::RunTool(args, input);
    EXPECT_EQ(run.status, status) << line << "\n" << run.out << run.err;
    return run;
  }
  static bool Has(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
  }

  static constexpr const char *kMain =
      "[Header]\nName = Main \xC3\xA9\n\n[SubHeader]\nLanguage = en\nContent = "
      "EDCT_CONTENT_ORTHOGRAPHIC\nRepresentation = EDCT_REPR_SZ_STRING\n\n[Data]\n"
      "Dr.\tdoctor\n\"N. Y.\"\t\"New York\"\n\n[SubHeader]\nLanguage = fr\nEngine = e\n"
      "Content = EDCT_CONTENT_BROAD_NARROWS\nRepresentation = EDCT_REPR_SZZ_STRING\n\n[Data]\n"
      "caf\xC3\xA9\t//ka\"fe//kafe\n";
};

TEST_F(CliDict, CompileDescribeListDecompileAndConvert) {
  EXPECT_TRUE(Has(Dict("compile @main.txt -o @main.img", 0).out, "3 keys, 3 entries"));
  EXPECT_EQ(Dict("info @main.img", 0).out,
            "file         " + Path("main.img") +
                " (archive image, 249 bytes, read in place)\nname         Main \xC3\xA9\n"
                "description  (none)\nkeys         3\nentries      3\n"
                "section 1    orthographic (sz) language=en: 2 keys, 2 entries\n"
                "section 2    broad-narrows (szz) language=fr engine=e: 1 keys, 1 entries\n");
  EXPECT_EQ(Dict("list @main.img", 0).out,
            "[orthographic (sz) language=en]\nDr.\n  orthographic  \"doctor\" language=en\nN. Y.\n"
            "  orthographic  \"New York\" language=en\n[broad-narrows (szz) language=fr engine=e]\n"
            "caf\xC3\xA9\n  broad-narrows //ka\"fe//kafe language=fr engine=e\n");
  // Back to text: the source with CR LF line ends.
  Dict("decompile @main.img -o @back.txt", 0);
  EXPECT_EQ(Get("back.txt"), std::regex_replace(kMain, std::regex("\n"), "\r\n"));
  // Through big-endian 16-bit text (detected by its mark) to an image for the other order.
  Dict("decompile @main.txt -o @be.txt --encoding ucs2be", 0);
  EXPECT_EQ(Get("be.txt").substr(0, 4), std::string("\xFE\xFF\0[", 4));
  Dict("compile @be.txt -o @swapped.img --swap", 0);
  EXPECT_TRUE(Has(Dict("info @swapped.img", 1).err,
                  "swapped.img: archive image for a host of the other byte order"));
  Dict("compile @be.txt -o @again.img", 0);
  EXPECT_EQ(Get("again.img"), Get("main.img"));
  // Loading reverses the two items of b; a second round puts them back.
  dir_.Write("worked.img", std::string(reinterpret_cast<const char *>(edct_test::kWorkedExample),
                                       sizeof edct_test::kWorkedExample));
  Dict("convert @worked.img @copy.img", 0);
  EXPECT_NE(Get("copy.img"), Get("worked.img"));
  Dict("convert @copy.img @back.img", 0);
  EXPECT_EQ(Get("back.img"), Get("worked.img"));
  Dict("convert @worked.img @s.img --swap", 0);
  EXPECT_EQ(Get("s.img").substr(0, 4), std::string("\0\0\0\3", 4));
}

TEST_F(CliDict, LookupByPriorityAndFilters) {
  Dict("compile @over.txt -o @over.img", 0);
  // Words from standard input; a word not found makes the status 1.
  EXPECT_EQ(Dict("lookup @over.img @main.txt", 1, "Dr.\n\nN. Y.\ncaf\xC3\xA9\nnone\n").out,
            "Dr.: 1 entry from " + Path("over.img") + "\n  orthographic  \"drive\" language=en\n" +
                "N. Y.: 1 entry from " + Path("main.txt") +
                "\n  orthographic  \"New York\" language=en\ncaf\xC3\xA9: 1 entry from " +
                Path("main.txt") +
                "\n  broad-narrows //ka\"fe//kafe language=fr engine=e\nnone: not found\n");
  // Words after "--", the priority turned round, and filters.
  const std::tuple<std::string, int, std::string> cases[] = {
      {"@main.txt @over.img -- Dr.", 0,
       "Dr.: 1 entry from " + Path("main.txt") + "\n  orthographic  \"doctor\""},
      {"@over.img @main.txt --content broad-narrows -- caf\xC3\xA9 Dr.", 1, "Dr.: not found"},
      {"@over.img @main.txt --language fr -- Dr.", 1, "Dr.: not found"},
      {"@over.img @main.txt --engine e -- caf\xC3\xA9", 0,
       "caf\xC3\xA9: 1 entry from " + Path("main.txt")},
  };
  for (const auto &[options, status, line] : cases)
    EXPECT_TRUE(Has(Dict("lookup " + options, status).out, line)) << line;
}

TEST_F(CliDict, BadFilesAndCommandLines) {
  dir_.Write("broken.txt", "[Header]\nColour = blue\n");
  dir_.Write("short.img", std::string("\3\0\0\0\xFF\0\0\0", 8) + std::string(24, '\0'));
  dir_.Write("corrupt.img", std::string("\3\0\0\0\x20\0\0\0\1\0\0\0", 12) + std::string(20, '\0'));
  std::filesystem::create_directory(Path("folder"));
  const std::pair<std::string, std::string> files[] = {
      {"missing.txt", "missing.txt: cannot open: No such file or directory"},
      {"folder", "folder: cannot open: Is a directory"},
      {"broken.txt", "broken.txt: cannot read the UTF-8 text stream: Unknown format specified"},
      {"short.img", "short.img: truncated archive image"},
      {"corrupt.img", "corrupt.img: cannot open the archive image: The provided buffer is corrupt"},
  };
  for (const auto &[name, message] : files)
    for (const char *command : {"info", "list"})
      EXPECT_TRUE(Has(Dict(command + (" @" + name), 1).err, message));
  Dict("compile @main.txt -o @folder", 1);
  Dict("--help", 0);
  for (const char *line : {"", "frobnicate", "compile a", "info a --bogus", "decompile a -o",
                           "decompile a -o b --encoding latin1", "list", "convert a",
                           "lookup @main.txt --content x -- a"})
    EXPECT_TRUE(Has(Dict(line, 2).err, "speechcommon dict --help"));
}

}  // namespace
