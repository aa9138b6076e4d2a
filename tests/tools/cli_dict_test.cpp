// The dict subcommands of the speechcommon tool, run on files in a temporary directory.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "edct/edct_test_util.h"
#include "tools/run_tool.h"

namespace {

using sctest::RunTool;

class CliDict : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "clidictXXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir_ = pattern;
    Put("main.txt", kMain);
    Put("over.txt",
        "[Header]\nName = Over\n[SubHeader]\nLanguage = en\nContent = "
        "EDCT_CONTENT_ORTHOGRAPHIC\nRepresentation = EDCT_REPR_SZ_STRING\n[Data]\nDr.\tdrive\n");
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }
  std::string Path(const std::string &name) const { return dir_ + "/" + name; }
  void Put(const std::string &name, const std::string &bytes) const {
    std::ofstream(Path(name), std::ios::binary) << bytes;
  }
  std::string Get(const std::string &name) const {
    std::ostringstream bytes;
    bytes << std::ifstream(Path(name), std::ios::binary).rdbuf();
    return bytes.str();
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
  std::string dir_;
};

TEST_F(CliDict, CompileDescribeListAndDecompile) {
  const auto compiled = RunTool({"dict", "compile", Path("main.txt"), "-o", Path("main.img")});
  ASSERT_EQ(compiled.status, 0) << compiled.err;
  EXPECT_TRUE(Has(compiled.out, "3 keys, 3 entries"));
  ASSERT_EQ(Get("main.img").substr(0, 4), std::string("\3\0\0\0", 4));
  const auto info = RunTool({"dict", "info", Path("main.img")});
  EXPECT_EQ(info.status, 0);
  for (const char *part : {"read in place", "name         Main \xC3\xA9", "entries      3",
                           "section 2    broad-narrows (szz) language=fr engine=e: 1 keys"})
    EXPECT_TRUE(Has(info.out, part)) << part << "\n" << info.out;
  const auto list = RunTool({"dict", "list", Path("main.img")});
  EXPECT_TRUE(Has(list.out, "N. Y.\n  orthographic  \"New York\" language=en\n")) << list.out;
  EXPECT_TRUE(Has(list.out, "caf\xC3\xA9\n  broad-narrows //ka\"fe//kafe language=fr engine=e"));
  // Back to text: the source with CR LF line ends.
  ASSERT_EQ(RunTool({"dict", "decompile", Path("main.img"), "-o", Path("back.txt")}).status, 0);
  std::string expected;
  for (const char c : std::string(kMain))
    expected += c == '\n' ? std::string("\r\n") : std::string(1, c);
  EXPECT_EQ(Get("back.txt"), expected);
  // Through big-endian 16-bit text (detected by its mark) to an image for the other order.
  ASSERT_EQ(
      RunTool({"dict", "decompile", Path("main.txt"), "-o", Path("be.txt"), "--encoding", "ucs2be"})
          .status,
      0);
  EXPECT_EQ(Get("be.txt").substr(0, 4), std::string("\xFE\xFF\0[", 4));
  ASSERT_EQ(
      RunTool({"dict", "compile", Path("be.txt"), "-o", Path("swapped.img"), "--swap"}).status, 0);
  const auto swapped = RunTool({"dict", "info", Path("swapped.img")});
  EXPECT_EQ(swapped.status, 1);
  EXPECT_TRUE(Has(swapped.err, "swapped.img: archive image for a host of the other byte order"));
  ASSERT_EQ(RunTool({"dict", "compile", Path("be.txt"), "-o", Path("again.img")}).status, 0);
  EXPECT_EQ(Get("again.img"), Get("main.img"));
}

TEST_F(CliDict, ConvertReversesItemsAndSwaps) {
  Put("worked.img", std::string(reinterpret_cast<const char *>(edct_test::kWorkedExample),
                                sizeof edct_test::kWorkedExample));
  // Loading reverses the two items of b; a second round puts them back.
  ASSERT_EQ(RunTool({"dict", "convert", Path("worked.img"), Path("copy.img")}).status, 0);
  EXPECT_NE(Get("copy.img"), Get("worked.img"));
  ASSERT_EQ(RunTool({"dict", "convert", Path("copy.img"), Path("back.img")}).status, 0);
  EXPECT_EQ(Get("back.img"), Get("worked.img"));
  const auto swapped = RunTool({"dict", "convert", Path("worked.img"), Path("s.img"), "--swap"});
  EXPECT_EQ(swapped.status, 0);
  EXPECT_EQ(Get("s.img").substr(0, 4), std::string("\0\0\0\3", 4));
  EXPECT_EQ(RunTool({"dict", "convert", Path("worked.img")}).status, 2);
}

TEST_F(CliDict, LookupByPriorityAndFilters) {
  ASSERT_EQ(RunTool({"dict", "compile", Path("over.txt"), "-o", Path("over.img")}).status, 0);
  const auto first = RunTool({"dict", "lookup", Path("over.img"), Path("main.txt"), "--", "Dr.",
                              "N. Y.", "caf\xC3\xA9", "none"});
  EXPECT_EQ(first.status, 1);  // a word was not found
  EXPECT_TRUE(Has(first.out, "Dr.: 1 entry from " + Path("over.img") +
                                 "\n  orthographic  \"drive\" language=en\n"))
      << first.out;
  EXPECT_TRUE(Has(first.out, "N. Y.: 1 entry from " + Path("main.txt")));
  EXPECT_TRUE(Has(first.out, "none: not found"));
  // Words from standard input, the priority turned round, and filters.
  const auto turned =
      RunTool({"dict", "lookup", Path("main.txt"), Path("over.img")}, "Dr.\n\ncaf\xC3\xA9\n");
  EXPECT_EQ(turned.status, 0);
  EXPECT_TRUE(
      Has(turned.out, "Dr.: 1 entry from " + Path("main.txt") + "\n  orthographic  \"doctor\""));
  const std::pair<std::vector<std::string>, std::string> filtered[] = {
      {{"--content", "broad-narrows", "--", "caf\xC3\xA9", "Dr."}, "Dr.: not found"},
      {{"--language", "fr", "--", "Dr."}, "Dr.: not found"},
      {{"--engine", "e", "--", "caf\xC3\xA9"}, "caf\xC3\xA9: 1 entry from " + Path("main.txt")},
  };
  for (const auto &[options, line] : filtered) {
    std::vector<std::string> args = {"dict", "lookup", Path("over.img"), Path("main.txt")};
    args.insert(args.end(), options.begin(), options.end());
    EXPECT_TRUE(Has(RunTool(args).out, line)) << line;
  }
  EXPECT_EQ(RunTool({"dict", "lookup", Path("main.txt"), "--content", "x", "--", "a"}).status, 2);
}

TEST_F(CliDict, BadFilesAndCommandLines) {
  Put("broken.txt", "[Header]\nColour = blue\n");
  Put("short.img", std::string("\3\0\0\0\xFF\0\0\0", 8) + std::string(24, '\0'));
  Put("corrupt.img", std::string("\3\0\0\0\x20\0\0\0\1\0\0\0", 12) + std::string(20, '\0'));
  std::filesystem::create_directory(Path("folder"));
  const std::pair<std::string, std::string> files[] = {
      {"missing.txt", "missing.txt: cannot open: No such file or directory"},
      {"folder", "folder: cannot open: Is a directory"},
      {"broken.txt", "broken.txt: cannot read the UTF-8 text stream: Unknown format specified"},
      {"short.img", "short.img: truncated archive image"},
      {"corrupt.img", "corrupt.img: cannot open the archive image: The provided buffer is corrupt"},
  };
  for (const auto &[name, message] : files) {
    for (const char *command : {"info", "list"}) {
      const auto run = RunTool({"dict", command, Path(name)});
      EXPECT_EQ(run.status, 1) << name;
      EXPECT_TRUE(Has(run.err, message)) << run.err;
    }
  }
  EXPECT_EQ(RunTool({"dict", "compile", Path("main.txt"), "-o", Path("folder")}).status, 1);
  EXPECT_EQ(RunTool({"dict", "--help"}).status, 0);
  for (const std::vector<std::string> &args :
       {std::vector<std::string>{"dict"},
        {"dict", "frobnicate"},
        {"dict", "compile", "a"},
        {"dict", "info", "a", "--bogus"},
        {"dict", "decompile", "a", "-o"},
        {"dict", "decompile", "a", "-o", "b", "--encoding", "latin1"},
        {"dict", "list"}}) {
    const auto run = RunTool(args);
    EXPECT_EQ(run.status, 2) << args.back();
    EXPECT_TRUE(Has(run.err, "speechcommon dict --help")) << run.err;
  }
}

}  // namespace
