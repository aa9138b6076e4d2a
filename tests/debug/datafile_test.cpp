#include <gmock/gmock.h>
#include <unistd.h>

#include <cstring>
#include <regex>
#include <tuple>
#include <string>
#include <vector>

#include "dbg_fixture.h"
#include "platform/clock.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

const DBG_DATAFILE_SPEC kBuf = {"EDCTSPI", "DctStrm", "Read", "buf"};
const std::string kRule(73, '-'), kBanner = kRule + "\nDBGSPI : LOGGING ENDED NORMALLY\n" + kRule +
                                            "\n";

using DbgDataTest = DbgTest;

TEST_F(DbgDataTest, OutputWritesEveryTypeAndEndsWithTheBanner) {
  Set("VQ_OUTPATH", Path("p-"));  // a plain prefix: no separator is added
  const DBG_DATAFILE_SPEC outs[] = {kBuf, {"EDCTSPI", "DctStrm", "Read", "unused"}};
  ASSERT_EQ(dbg_Init(0, nullptr, 2, outs), DBG_INIT_OK);
  const std::string file = Path("p-DctStrm_Read_buf.out"),
                    unused = Path("p-DctStrm_Read_unused.out");
  ASSERT_TRUE(Exists(file) && Exists(unused));
  const uint8_t bytes[] = {0x01, 0xff, 0x10};
  alignas(4) unsigned char raw[8];
  const int16_t halves[] = {0x1234, -2};
  std::memcpy(raw + 1, halves, sizeof halves);  // elements need not be aligned
  const int32_t words[] = {-1, 0x7fffffff};
  const uint32_t word = 0xdeadbeefu, truths[] = {0, 0x100}, hex = 0x10;
  const std::tuple<const void *, uint16_t, uint32_t> calls[] = {
      {bytes, 3, DBG_TYPE_U8},    {raw + 1, 2, DBG_TYPE_I16},
      {words, 2, DBG_TYPE_I32},   {&word, 1, DBG_TYPE_U32},
      {truths, 2, DBG_TYPE_BOOL}, {"ab", 2, DBG_TYPE_CHAR},
      {"", 0, DBG_TYPE_CHAR},     {bytes, 3, 5},
      {&hex, 1, DBG_TYPE_HEX32}};
  for (const auto &[data, count, type] : calls)
    dbg_Output("EDCTSPI", "DctStrm", 0, "Read", "buf", data, count, type);
  dbg_OutputArg("EDCTSPI", "DctStrm", 0x2a, "Read", "buf", "value %d", 7);
  // Output files match on all four names, the submodule included.
  dbg_Output("EDCTSPI", "Other", 0, "Read", "buf", bytes, 3, DBG_TYPE_U8);
  dbg_OutputArg("EDCTSPI", "DctStrm", 0x2a, "Read", "bu", "value %d", 8);
  const std::string expected =
      "01\nff\n10\n1234\nfffe\nffffffff\n7fffffff\ndeadbeef\n0\n1\nab\n\n"
      "Logging of this Data Type not supported\n00000010\n"
      "   DctStrm i:        2a f:Read value 7\n";
  EXPECT_EQ(Read(file), expected);  // flushed at once
  dbg_Terminate();
  EXPECT_EQ(Read(file), expected + kBanner);
  EXPECT_FALSE(Exists(unused));
}

// Values are hex digits; what comes before them is skipped ("-" negates a signed type), the
// first non-digit after them ends them, and digits beyond the width are kept from the right.
TEST_F(DbgDataTest, InputParsesHexValuesByType) {
  Set("VQ_INPATH", Path(""));
  dir_.Write("DctStrm_Read_buf.in", "01\nff\n10\n-0a\n-0a\nzz12345\n-1\n  7fffffff,\nff-ff\n");
  ASSERT_EQ(dbg_Init(1, &kBuf, 0, nullptr), DBG_INIT_OK);
  auto in = [](void *buffer, uint16_t count, uint32_t type, const char *function = "Read",
               const char *submodule = "DctStrm") {
    dbg_Input("EDCTSPI", submodule, 0, function, "buf", buffer, count, type);
  };
  int8_t small[3] = {};
  in(small, 3, DBG_TYPE_I8);
  EXPECT_THAT(small, ElementsAre(1, -1, 16));
  int32_t untouched = 99, negative = 0, large = 0;
  for (uint32_t type : {5u, DBG_TYPE_BOOL, DBG_TYPE_CHAR, DBG_TYPE_HEX32})
    in(&untouched, 1, type);
  in(&untouched, 1, DBG_TYPE_I32, "Write");
  EXPECT_EQ(untouched, 99);
  uint32_t positive = 0;
  uint16_t last4 = 0;
  int16_t minusOne = 0;
  uint8_t pair[2] = {};
  in(&negative, 1, DBG_TYPE_I32, "Read", "Other");  // the submodule is not compared
  in(&positive, 1, DBG_TYPE_U32);
  in(&last4, 1, DBG_TYPE_U16);
  in(&minusOne, 1, DBG_TYPE_I16);
  in(&large, 1, DBG_TYPE_I32);
  in(pair, 2, DBG_TYPE_U8);  // "-" is skipped for unsigned types
  EXPECT_EQ(std::tuple(negative, positive, last4, minusOne, large),
            std::tuple(-10, 10u, uint16_t{0x2345}, int16_t{-1}, 0x7fffffff));
  EXPECT_THAT(pair, ElementsAre(0xff, 0xff));
}

// Every matching file takes part. One spec leads to two output files only through two
// dbg_Init calls with different VQ_OUTPATH; each file is ended by its own name. The tables
// keep 30 output and 20 input files.
TEST_F(DbgDataTest, SeveralMatchingFilesAndFullTables) {
  Set("VQ_INPATH", Path(""));
  dir_.Write("A_Read_buf.in", "05\n");
  dir_.Write("B_Read_buf.in", "07\n");
  const DBG_DATAFILE_SPEC ins[] = {{"M", "A", "Read", "buf"}, {"M", "B", "Read", "buf"}};
  Set("VQ_OUTPATH", Path("one-"));
  ASSERT_EQ(dbg_Init(2, ins, 1, ins), DBG_INIT_OK);
  Set("VQ_OUTPATH", Path("two-"));
  ASSERT_EQ(dbg_Init(0, nullptr, 1, ins), DBG_INIT_OK);
  uint8_t value = 0;
  dbg_Input("M", "C", 0, "Read", "buf", &value, 1, DBG_TYPE_U8);
  EXPECT_EQ(value, 7);  // each file filled the buffer in turn
  dbg_Output("M", "A", 0, "Read", "buf", &value, 1, DBG_TYPE_U8);
  Set("VQ_OUTPATH", Path("three-"));
  dbg_Terminate();
  for (const char *prefix : {"one-", "two-"})
    EXPECT_EQ(Read(Path(prefix + std::string("A_Read_buf.out"))), "07\n" + kBanner);

  Set("VQ_OUTPATH", Path(""));
  std::vector<std::string> names(35);
  std::vector<DBG_DATAFILE_SPEC> specs;
  for (size_t i = 0; i < names.size(); ++i) {
    names[i] = "d" + std::to_string(i);
    specs.push_back({"M", "S", "F", names[i].c_str()});
    dir_.Write("S_F_" + names[i] + ".in", "2a\n");
  }
  ASSERT_EQ(dbg_Init(21, specs.data(), 25, specs.data()), DBG_INIT_OK);
  ASSERT_EQ(dbg_Init(0, nullptr, 10, specs.data() + 25), DBG_INIT_OK);
  for (int i = 0; i < 35; ++i)
    EXPECT_EQ(Exists(Path("S_F_" + names[i] + ".out")), i < 30) << i;
  uint8_t values[2] = {};
  dbg_Input("M", "S", 0, "F", "d19", &values[0], 1, DBG_TYPE_U8);
  dbg_Input("M", "S", 0, "F", "d20", &values[1], 1, DBG_TYPE_U8);
  EXPECT_THAT(values, ElementsAre(0x2a, 0));
}

// A failure keeps the specs before it, drops it and those after it, registers no input,
// says which file failed and leaves the facility uninitialised.
TEST_F(DbgDataTest, RegistrationStopsAtAFileThatCannotOpen) {
  Set("VQ_OUTPATH", Path(""));
  Set("VQ_INPATH", Path(""));
  dir_.Write("S_F_in.in", "01\n");
  // Prefix, submodule, function and data name plus 5 must stay below 150.
  const size_t room = 149 - 5 - 2 - Path("").size();
  const std::string longest(room, 'x'), tooLong(room + 1, 'y');
  const DBG_DATAFILE_SPEC ins[] = {{"M", "S", "F", "in"}};
  const DBG_DATAFILE_SPEC outs[] = {
      {"M", "S", "F", longest.c_str()}, {"M", "S", "F", tooLong.c_str()}, {"M", "S", "F", "after"}};
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(dbg_Init(1, ins, 3, outs), DBG_INIT_FILE_FAILED);
  EXPECT_THAT(::testing::internal::GetCapturedStderr(),
              HasSubstr("name too long for debug data file " + Path("S_F_" + tooLong + ".out")));
  EXPECT_EQ(dbg_Assert("M", "S", 0, "F", "f.c", 1, "not initialised"), 0);
  EXPECT_FALSE(Exists(Path("S_F_after.out")));
  ASSERT_EQ(dbg_Init(0, nullptr, 0, nullptr), DBG_INIT_OK);
  uint8_t value = 0;
  dbg_Input("M", "S", 0, "F", "in", &value, 1, DBG_TYPE_U8);  // no input was registered
  dbg_Output("M", "S", 0, "F", longest.c_str(), &value, 1, DBG_TYPE_U8);
  EXPECT_EQ(Read(Path("S_F_" + longest + ".out")), "00\n");
  dbg_Terminate();
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(dbg_Init(1, &kBuf, 0, nullptr), DBG_INIT_FILE_FAILED);  // no such input file
  EXPECT_THAT(::testing::internal::GetCapturedStderr(),
              HasSubstr("cannot open debug data file " + Path("DctStrm_Read_buf.in")));
}

// Timing lines ignore the level, the switch and the fields; the tick counts milliseconds
// from the start of the system.
TEST_F(DbgDataTest, TimingLinesCarryTheTickAndIgnoreTraceSettings) {
  StartLogging(nullptr, "none");
  dbg_TraceDisable();
  const uint32_t before = sc::plat::MillisecondsSinceBoot();
  dbg_Time("EDCTSPI", "DctStrm", 0x2a, "hello");
  dbg_Time("EDCTSPI", "DctStrm", 0x2a, "own line end\n");
  dbg_TimeIn("EDCTSPI", "DctStrm", 0x2a, "Read");
  dbg_TimeOut("EDCTSPI", "DctStrm", 0x2a, "Read");
  const uint32_t after = sc::plat::MillisecondsSinceBoot();
  const std::regex shape(
      "tickcount:(-?\\d+)    DctStrm i:        2a hello\n"
      "tickcount:(-?\\d+)    DctStrm i:        2a own line end\n"
      "msec since start system:(-?\\d+)    DctStrm i:        2a > f:Read \n"
      "msec since start system:(-?\\d+)    DctStrm i:        2a < f:Read  \n");
  std::smatch match;
  const std::string log = Read(Log());
  ASSERT_TRUE(std::regex_match(log, match, shape)) << log;
  for (size_t i = 1; i <= 4; ++i)  // modulo 2^32, like the tick
    EXPECT_LE(static_cast<uint32_t>(std::stoll(match[i].str())) - before, after - before);
}

using DbgDataDeathTest = DbgTest;

TEST_F(DbgDataDeathTest, AssertAndShortInputEndTheProcessWithStatusMinusOne) {
  Set("VQ_TRACELEVEL", "none");
  Set("VQ_LOGFILE", "/nonexistent/dir/trace.log");  // cannot open: lines go to standard error
  Set("VQ_INPATH", Path(""));
  dir_.Write("DctStrm_Read_buf.in", "01\n0a");  // the last value has no end
  ASSERT_EQ(dbg_Init(1, &kBuf, 0, nullptr), DBG_INIT_OK);
  dbg_TraceDisable();
  EXPECT_EXIT(
      dbg_Assert("M", "DctStrm", 0x2a, "Read", "f.c", 77, "bad state"),
      ::testing::ExitedWithCode(255),
      "Program generated assertion:    DctStrm i:        2a = line:  77 f:Read bad state \n");
  auto read = [](uint16_t count) {
    dup2(STDERR_FILENO, STDOUT_FILENO);  // the message goes to standard output
    uint8_t values[4];
    dbg_Input("EDCTSPI", "DctStrm", 0, "Read", "buf", values, count, DBG_TYPE_U8);
    std::fputs("survived", stderr);
  };
  EXPECT_EXIT(read(2), ::testing::ExitedWithCode(255),
              "^End of file reached : input file not long enough$");

  StartLogging(nullptr, nullptr);
  EXPECT_EXIT(dbg_Assert("M", "S", 0, "Read", "f.c", 12345, "x"), ::testing::ExitedWithCode(255),
              "");
  EXPECT_EQ(Read(Log()),
            "Program generated assertion:          S i:         0 = line:12345 f:Read x \n");
}

}  // namespace
