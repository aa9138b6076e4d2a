// The speechcommon tool: the dict subcommands, on image files in a temporary directory.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "edct/edct_test_util.h"
#include "tools/run_tool.h"

namespace {

using sctest::RunTool;

class CliDict : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/sc_dict_XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    dir_ = pattern;
    image_ =
        Write("worked.img", std::string(reinterpret_cast<const char *>(edct_test::kWorkedExample),
                                        sizeof edct_test::kWorkedExample));
  }
  void TearDown() override { std::system(("rm -rf " + sctest::ShellQuote(dir_)).c_str()); }

  std::string Write(const std::string &name, const std::string &bytes) {
    const std::string path = dir_ + "/" + name;
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
  }
  std::string Read(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

  std::string dir_, image_;
};

TEST_F(CliDict, InfoListAndLookup) {
  const auto info = RunTool({"dict", "info", image_});
  EXPECT_EQ(info.status, 0) << info.err;
  EXPECT_NE(info.out.find("name         D\n"), std::string::npos) << info.out;
  EXPECT_NE(info.out.find("description  (none)\n"), std::string::npos);
  EXPECT_NE(info.out.find("keys         2\nentries      3\n"), std::string::npos);

  const auto list = RunTool({"dict", "list", image_});
  EXPECT_EQ(list.status, 0) << list.err;
  EXPECT_EQ(list.out,
            "[SubDictionary 1]\n"
            "a\n  content 2, representation 2, pos any: x\n"
            "b\n  content 2, representation 2, pos any: p\n"
            "  content 2, representation 2, pos any: qq\n");

  const auto found = RunTool({"dict", "lookup", image_, "b"});
  EXPECT_EQ(found.status, 0);
  EXPECT_EQ(found.out,
            "b\n  content 2, representation 2, pos any: p\n"
            "  content 2, representation 2, pos any: qq\n");
  const auto missing = RunTool({"dict", "lookup", image_, "a", "c"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.out.find("a\n"), std::string::npos);  // the keys found are printed
  EXPECT_NE(missing.err.find("c: lookup: Entry is not found"), std::string::npos) << missing.err;
  EXPECT_NE(missing.err.find("0x801E0000"), std::string::npos);
}

TEST_F(CliDict, ConvertWritesBothByteOrders) {
  const std::string copy = dir_ + "/copy.img", back = dir_ + "/back.img";
  const std::string swapped = dir_ + "/swapped.img";
  ASSERT_EQ(RunTool({"dict", "convert", image_, copy}).status, 0);
  // Loading reverses b's two items; a second round puts them back.
  EXPECT_NE(Read(copy), Read(image_));
  ASSERT_EQ(RunTool({"dict", "convert", copy, back}).status, 0);
  EXPECT_EQ(Read(back), Read(image_));
  const auto run = RunTool({"dict", "convert", image_, swapped, "--swap"});
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.out.find("126 bytes, byte-reversed"), std::string::npos) << run.out;
  EXPECT_EQ(Read(swapped).substr(0, 4), std::string("\0\0\0\3", 4));
  const auto refused = RunTool({"dict", "info", swapped});
  EXPECT_EQ(refused.status, 1);
  EXPECT_NE(refused.err.find("other byte order"), std::string::npos) << refused.err;
}

TEST_F(CliDict, BadFilesAndCommandLines) {
  const auto absent = RunTool({"dict", "info", dir_ + "/absent.img"});
  EXPECT_EQ(absent.status, 1);
  EXPECT_NE(absent.err.find("absent.img: cannot open"), std::string::npos);
  const auto shortFile = RunTool({"dict", "list", Write("short.img", "abc")});
  EXPECT_EQ(shortFile.status, 1);
  EXPECT_NE(shortFile.err.find("not an archive image"), std::string::npos);
  std::string corrupt(reinterpret_cast<const char *>(edct_test::kWorkedExample), 126);
  corrupt[0] = 2;
  const auto wrong = RunTool({"dict", "info", Write("corrupt.img", corrupt)});
  EXPECT_EQ(wrong.status, 1);
  EXPECT_NE(wrong.err.find("The provided buffer is corrupt. (0x801E0009)"), std::string::npos)
      << wrong.err;
  const auto empty =
      RunTool({"dict", "info",
               Write("empty.img",
                     std::string(reinterpret_cast<const char *>(edct_test::kEmptyImage), 28))});
  EXPECT_EQ(empty.status, 1);  // no SubDictionary: no read-only view
  for (const auto &args :
       std::vector<std::vector<std::string>>{{"dict"},
                                             {"dict", "info"},
                                             {"dict", "lookup", image_},
                                             {"dict", "frob", image_},
                                             {"dict", "convert", image_, "x", "--other"}}) {
    const auto run = RunTool(args);
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find("usage: speechcommon dict"), std::string::npos);
  }
  const auto help = RunTool({"dict", "--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.out.find("speechcommon dict lookup IMAGE KEY..."), std::string::npos);
}

}  // namespace
