// speechcommon dict check on a lexicon written to hold each problem it looks for.
#include <gtest/gtest.h>

#include "tools/run_tool.h"

namespace {

using namespace tooltest;

constexpr const char *kOrthographic =
    "Content = EDCT_CONTENT_ORTHOGRAPHIC\nRepresentation = EDCT_REPR_SZ_STRING\n[Data]\n";

TEST(DictCheck, FindsEachProblemTheReaderLetsThrough) {
  TempDir dir;
  const std::string lexicon =
      dir.Write("lexicon.txt",
                std::string("[Header]\r\n"                        // 1
                            "Name = Test\r\n"                     // 2
                            "Name = Again\n"                      // 3 given twice; LF alone
                            "POS = noun\n"                        // 4 ignored
                            "[SubHeader]\nLanguage = en-US\n") +  // 5, 6
                    kOrthographic +                               // 7, 8, 9
                    "Dr.\tdoctor\n"                               // 10
                    "Dr.\tdoctor\n"                               // 11 the same entry again
                    "\"  spaced \"\t\"  padded \"\n"              // 12 trimmed key and data
                    "[Bogus]\tx\n"                                // 13 no section
                    "\"a\tb\"\ttab\n"                             // 14 tab without blank
                    "\" \"\tempty\n"                              // 15 empty key
                    "alone\n\n"                                   // 16, 17 no data
                    "data\n"                                      // 18
                    "mark\xEF\xBB\xBFin\tx\n"                     // 19 a mark inside
                    "c\rr\tx\n"                                   // 20 a CR inside
                    "[SubHeader]\nLanguage = en-us\n" +           // 21, 22 case only
                    kOrthographic +                               // 23, 24, 25
                    "[SubHeader]\nContent = EDCT_CONTENT_BROAD_NARROWS\n"  // 26, 27
                    "Representation = EDCT_REPR_SZZ_STRING\n[Data]\n"      // 28, 29
                    "list\t//a////b\n"                                     // 30 an empty piece
                    "[SubHeader]\nContent = EDCT_CONTENT_USERWORDS\n"      // 31, 32
                    "Representation = EDCT_REPR_BINARY\n[Data]\n"          // 33, 34
                    "bytes\t0A 1\n");                                      // 35 a lone digit
  const std::pair<std::string, std::string> expected[] = {
      {"3:1", "Name given again (first on line 2)"},
      {"3:13", "mixed line ends: this line ends in LF, line 1 in CR LF"},
      {"4:1", "POS is ignored"},
      {"11:1", "duplicate entry: the key \"Dr.\" has this entry already (line 10)"},
      {"12:1", "the key \"  spaced \" loses the blanks at its ends"},
      {"12:13", "the data \"  padded \" loses the blanks at its ends"},
      {"13:1", "[Bogus] is no section here"},
      {"14:1", "holds a tab and no blank"},
      {"15:1", "empty key"},
      {"16:1", "no data after key \"alone\": line 18 is read as its data"},
      {"19:5", "a byte-order mark (U+FEFF) inside the text"},
      {"20:2", "a carriage return inside the line is dropped"},
      {"21:1", "differs from the one at line 5 only in case (Language=en-us vs Language=en-US)"},
      {"30:6", "an empty piece in the list"},
      {"35:10", "a single hex digit at the end of the line is ignored"},
  };
  ToolRun run = RunTool({"dict", "check", lexicon});
  EXPECT_EQ(run.status, 0) << run.out << run.err;  // warnings only
  for (const auto &[place, message] : expected) {
    const size_t line = run.out.find(lexicon + ":" + place + ": warning: ");
    ASSERT_NE(line, std::string::npos) << place << "\n" << run.out;
    EXPECT_TRUE(Has(run.out.substr(line, run.out.find('\n', line) - line), message))
        << place << " " << message << "\n"
        << run.out;
  }
  EXPECT_TRUE(Has(run.out, lexicon + ": 0 errors, 15 warnings\n")) << run.out;

  run = RunTool({"dict", "check", lexicon, "--werror", "--json"});
  EXPECT_EQ(run.status, 1);
  const nlohmann::json report = Json(run)["files"][0];
  EXPECT_EQ(report["errors"], 15);
  ASSERT_EQ(report["findings"].size(), 15u);
  EXPECT_EQ(report["findings"][0]["line"], 3);
  EXPECT_EQ(report["findings"][0]["severity"], "error");
}

TEST(DictCheck, ErrorsComeFromTheReaderWithItsPlace) {
  TempDir dir;
  const std::string header = dir.Write("header.txt", "[Header]\nName = x\ncolour = blue\n");
  const std::string early = dir.Write(
      "early.txt", std::string("[Header]\n") + kOrthographic + "a\tb\n[SubHeader]\nc\td\n");
  const std::string marked = dir.Write("marked.txt", "\xEF\xBB\xBF[Header]\n");
  const std::string image = dir.Path("l.img");
  ASSERT_EQ(RunTool({"dict", "compile", early, "-o", image}).status, 0);
  ToolRun run = RunTool({"dict", "check", header, early, marked, image, dir.Path("none.txt")});
  EXPECT_EQ(run.status, 1);
  for (const std::string &line :
       {header + ":3:1: error: unknown key colour; the keys are Name, Description",
        header + ": 1 error, 0 warnings",
        early + ":6:1: warning: reading ends at this [SubHeader] line",
        marked + ":1:1: warning: a UTF-8 byte-order mark",
        dir.Path("none.txt") + ": error: " + dir.Path("none.txt") + ": cannot open"})
    EXPECT_TRUE(Has(run.out, line)) << line << "\n" << run.out;
  EXPECT_FALSE(Has(run.out, image)) << "a sound image has nothing to report";
}

}  // namespace
