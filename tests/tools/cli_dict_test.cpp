// The dict subcommands of the speechcommon tool, run on files in a temporary directory.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <tuple>

#include "dictionary/edct_test_util.h"
#include "tools/run_tool.h"

namespace {

using namespace tooltest;

class CliDict : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_.Write("main.txt", kMain);
    dir_.Write(
        "over.txt",
        "[Header]\nName = Over\n[SubHeader]\nLanguage = en\nContent = "
        "EDCT_CONTENT_ORTHOGRAPHIC\nRepresentation = EDCT_REPR_SZ_STRING\n[Data]\nDr.\tdrive\n");
  }
  std::string Path(const std::string &name) const { return dir_.Path(name); }
  std::string Get(const std::string &name) const { return dir_.Read(name); }
  // Runs "speechcommon dict" with the words of a line ("@name" stands for a file of the
  // directory) and checks its exit status.
  ToolRun Dict(const std::string &line, int status, const std::string &input = "") {
    std::vector<std::string> args = {"dict"};
    for (const std::string &word : Words(line))
      args.push_back(word.starts_with('@') ? Path(word.substr(1)) : word);
    const ToolRun run = RunTool(args, input);
    EXPECT_EQ(run.status, status) << line << "\n" << run.out << run.err;
    return run;
  }

  static constexpr const char *kMain =
      "[Header]\nName = Main \xC3\xA9\n\n[SubHeader]\nLanguage = en\nContent = "
      "EDCT_CONTENT_ORTHOGRAPHIC\nRepresentation = EDCT_REPR_SZ_STRING\n\n[Data]\n"
      "Dr.\tdoctor\n\"N. Y.\"\t\"New York\"\n\n[SubHeader]\nLanguage = fr\nEngine = e\n"
      "Content = EDCT_CONTENT_BROAD_NARROWS\nRepresentation = EDCT_REPR_SZZ_STRING\n\n[Data]\n"
      "caf\xC3\xA9\t//ka\"fe//kafe\n";
  TempDir dir_;
};

TEST_F(CliDict, CompileDescribeListDecompileAndConvert) {
  EXPECT_TRUE(Has(Dict("compile @main.txt -o @main.img", 0).out, "3 keys, 3 entries"));
  EXPECT_EQ(Dict("info @main.img", 0).out,
            "file         " + Path("main.img") +
                " (archive image, 249 bytes, read in place)\nname         Main \xC3\xA9\n"
                "description  (none)\nkeys         3\nentries      3\n"
                "section 1    orthographic (sz) language=en: 2 keys, 2 entries\n"
                "section 2    broad-narrows (szz) language=fr engine=e: 1 keys, 1 entries\n");
  const nlohmann::json info = Json(Dict("info @main.img --json", 0));
  EXPECT_EQ(info["name"], "Main \xC3\xA9");
  EXPECT_TRUE(info["description"].is_null());
  EXPECT_EQ(info["sections"][1]["engine"], "e");
  EXPECT_EQ(info["sections"][1]["keys"], 1);
  EXPECT_EQ(Dict("list @main.img", 0).out,
            "[orthographic (sz) language=en]\nDr.\n  orthographic  \"doctor\" language=en\nN. Y.\n"
            "  orthographic  \"New York\" language=en\n[broad-narrows (szz) language=fr engine=e]\n"
            "caf\xC3\xA9\n  broad-narrows //ka\"fe//kafe language=fr engine=e\n");
  const nlohmann::json list = Json(Dict("list @main.img --json", 0));
  ASSERT_EQ(list["keys"].size(), 3u);
  EXPECT_EQ(list["keys"][1]["key"], "N. Y.");
  EXPECT_EQ(list["keys"][2]["section"], 2);
  EXPECT_EQ(list["keys"][2]["entries"][0]["data"], nlohmann::json({"ka\"fe", "kafe"}));
  EXPECT_EQ(Json(Dict("list - --json", 0, "[Header]\n"))["keys"], nlohmann::json::array());
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
  // Words after "--" (a word may look like an option), the priority turned round, filters.
  const std::tuple<std::string, int, std::string> cases[] = {
      {"@main.txt @over.img -- Dr.", 0,
       "Dr.: 1 entry from " + Path("main.txt") + "\n  orthographic  \"doctor\""},
      {"@over.img @main.txt --content broad-narrows -- caf\xC3\xA9 Dr.", 1, "Dr.: not found"},
      {"@over.img @main.txt --language fr -- Dr.", 1, "Dr.: not found"},
      {"@over.img @main.txt --engine e -- caf\xC3\xA9 --json", 1,
       "caf\xC3\xA9: 1 entry from " + Path("main.txt")},
  };
  for (const auto &[options, status, line] : cases)
    EXPECT_TRUE(Has(Dict("lookup " + options, status).out, line)) << line;
  const nlohmann::json answers =
      Json(Dict("lookup @over.img @main.txt --json -- Dr. caf\xC3\xA9 none", 1))["words"];
  ASSERT_EQ(answers.size(), 3u);
  EXPECT_EQ(answers[0]["from"], Path("over.img"));
  EXPECT_EQ(answers[0]["entries"][0]["data"], "drive");
  EXPECT_EQ(answers[1]["entries"][0]["content"], "broad-narrows");
  EXPECT_EQ(answers[2]["found"], false);
  EXPECT_EQ(answers[2]["entries"], nlohmann::json::array());
}

TEST_F(CliDict, BadFilesNameTheFileAndThePlace) {
  dir_.Write("short.img", std::string("\3\0\0\0\xFF\0\0\0", 8) + std::string(24, '\0'));
  dir_.Write("corrupt.img", std::string("\3\0\0\0\x20\0\0\0\1\0\0\0", 12) + std::string(20, '\0'));
  // The Content typo of a long lexicon, in UTF-8 and in 16-bit text.
  std::string big =
      "[Header]\nName = big\n[SubHeader]\nLanguage = en\n"
      "Content = EDCT_CONTENT_ORTHOGRAPHIC\nRepresentation = EDCT_REPR_SZ_STRING\n"
      "[Data]\n";
  for (int i = 8; i < 404; ++i)
    big.append("w").append(std::to_string(i)).append("\t\"word ").append(std::to_string(i)) +=
        "\"\n";
  big += "[SubHeader]\nContent = EDCT_CONTENT_BOGUS\r\n";
  dir_.Write("big.txt", big);
  std::string wide = "\xFF\xFE";
  for (const char c : "[Header]\n  Colour = blue\n")
    if (c) wide += {c, '\0'};
  dir_.Write("wide.txt", wide);
  std::filesystem::create_directory(Path("folder"));
  const std::pair<std::string, std::string> files[] = {
      {"missing.txt", "missing.txt: cannot open: No such file or directory"},
      {"folder", "folder: cannot open: Is a directory"},
      {"big.txt", "big.txt:405:11: unknown Content value EDCT_CONTENT_BOGUS; expected "},
      {"wide.txt", "wide.txt:2:3: unknown key Colour; "},
      {"short.img", "short.img: truncated archive image"},
      {"corrupt.img", "corrupt.img: cannot open the archive image: EDCT_E_CORRUPT 0x801E0009"},
  };
  for (const auto &[name, message] : files)
    for (const char *command : {"info", "list"})
      EXPECT_TRUE(Has(Dict(command + (" @" + name), 1).err, message)) << message;
  EXPECT_TRUE(Has(Dict("info -", 1, "[Header]\ncontent = x\n").err,
                  "-:2:1: unknown key content; did you mean Content?"));
  Dict("compile @main.txt -o @folder", 1);
  // A lexicon without entries makes no image.
  EXPECT_TRUE(Has(Dict("compile - -o @empty.img", 1, "[Header]\nName = x\n").err,
                  "-: no entries: a lexicon needs a [SubHeader] section"));
  EXPECT_FALSE(std::filesystem::exists(Path("empty.img")));
}

}  // namespace
