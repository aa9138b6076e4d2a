#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include "dbg_fixture.h"
#include "platform/clock.h"

namespace {

const DBG_DATAFILE_SPEC kBuf = {"EDCTSPI", "DctStrm", "Read", "buf"};

std::string Banner() {
  const std::string rule(73, '-');
  return rule + "\nDBGSPI : LOGGING ENDED NORMALLY\n" + rule + "\n";
}

using DbgDataTest = DbgTest;

TEST_F(DbgDataTest, OutputWritesEveryTypeAndEndsWithTheBanner) {
  Set("VQ_OUTPATH", Path("p-"));  // a plain prefix: no separator is added
  const DBG_DATAFILE_SPEC outs[] = {kBuf, {"EDCTSPI", "DctStrm", "Read", "unused"}};
  ASSERT_EQ(dbg_Init(0, nullptr, 2, outs), DBG_INIT_OK);
  const std::string file = Path("p-DctStrm_Read_buf.out");
  const std::string unused = Path("p-DctStrm_Read_unused.out");
  ASSERT_TRUE(Exists(file));
  ASSERT_TRUE(Exists(unused));

  auto out = [](const void *data, uint16_t count, uint32_t type) {
    dbg_Output("EDCTSPI", "DctStrm", 0, "Read", "buf", data, count, type);
  };
  const uint8_t bytes[] = {0x01, 0xff, 0x10};
  out(bytes, 3, DBG_TYPE_U8);
  alignas(4) unsigned char raw[8];
  const int16_t halves[] = {0x1234, -2};
  std::memcpy(raw + 1, halves, sizeof halves);  // elements need not be aligned
  out(raw + 1, 2, DBG_TYPE_I16);
  const int32_t words[] = {-1, 0x7fffffff};
  out(words, 2, DBG_TYPE_I32);
  const uint32_t word = 0xdeadbeefu, truths[] = {0, 7}, hex = 0x10;
  out(&word, 1, DBG_TYPE_U32);
  out(truths, 2, DBG_TYPE_BOOL);
  out("ab", 2, DBG_TYPE_CHAR);
  out("", 0, DBG_TYPE_CHAR);
  out(bytes, 3, 5);
  out(&hex, 1, DBG_TYPE_HEX32);
  dbg_OutputArg("EDCTSPI", "DctStrm", 0x2a, "Read", "buf", "value %d", 7);
  // Output files match on all four names.
  dbg_Output("EDCTSPI", "Other", 0, "Read", "buf", bytes, 3, DBG_TYPE_U8);
  dbg_Output("EDCTSP", "DctStrm", 0, "Read", "buf", bytes, 3, DBG_TYPE_U8);
  dbg_Output("EDCTSPI", "DctStrm", 0, "Reads", "buf", bytes, 3, DBG_TYPE_U8);
  dbg_Output("EDCTSPI", "DctStrm", 0, "Read", "bu", bytes, 3, DBG_TYPE_U8);
  dbg_OutputArg("EDCTSPI", "Other", 0x2a, "Read", "buf", "value %d", 8);

  const std::string expected =
      "01\nff\n10\n1234\nfffe\nffffffff\n7fffffff\ndeadbeef\n0\n1\nab\n\n"
      "Logging of this Data Type not supported\n00000010\n"
      "   DctStrm i:        2a f:Read value 7\n";
  EXPECT_EQ(Read(file), expected);  // flushed at once
  dbg_Terminate();
  EXPECT_EQ(Read(file), expected + Banner());
  EXPECT_FALSE(Exists(unused));
  out(bytes, 3, DBG_TYPE_U8);  // after dbg_Terminate nothing is written
  EXPECT_EQ(Read(file), expected + Banner());
}

TEST_F(DbgDataTest, InputParsesHexValuesByType) {
  Set("VQ_INPATH", Path(""));
  Write(Path("DctStrm_Read_buf.in"), "01\nff\n10\n-0a\n-0a\nzz12345\n-1\n  7fffffff,\nff-ff\n");
  ASSERT_EQ(dbg_Init(1, &kBuf, 0, nullptr), DBG_INIT_OK);
  auto in = [](const char *submodule, const char *function, void *buffer, uint16_t count,
               uint32_t type) {
    dbg_Input("EDCTSPI", submodule, 0, function, "buf", buffer, count, type);
  };
  int8_t small[3] = {};
  in("DctStrm", "Read", small, 3, DBG_TYPE_I8);
  EXPECT_EQ(small[0], 1);
  EXPECT_EQ(small[1], -1);
  EXPECT_EQ(small[2], 16);

  int32_t untouched = 99;
  for (uint32_t type : {4u, 5u, 8u, DBG_TYPE_BOOL, DBG_TYPE_CHAR, DBG_TYPE_HEX32, 21u})
    in("DctStrm", "Read", &untouched, 1, type);
  in("DctStrm", "Write", &untouched, 1, DBG_TYPE_I32);
  EXPECT_EQ(untouched, 99);

  int32_t negative = 0;
  uint32_t positive = 0;
  in("Other", "Read", &negative, 1, DBG_TYPE_I32);  // the submodule is not compared
  in("DctStrm", "Read", &positive, 1, DBG_TYPE_U32);
  EXPECT_EQ(negative, -10);
  EXPECT_EQ(positive, 10u);

  uint16_t last4 = 0;
  int16_t minusOne = 0;
  int32_t large = 0;
  in("DctStrm", "Read", &last4, 1, DBG_TYPE_U16);
  in("DctStrm", "Read", &minusOne, 1, DBG_TYPE_I16);
  in("DctStrm", "Read", &large, 1, DBG_TYPE_I32);
  EXPECT_EQ(last4, 0x2345);
  EXPECT_EQ(minusOne, -1);
  EXPECT_EQ(large, 0x7fffffff);

  uint8_t pair[2] = {};
  in("DctStrm", "Read", pair, 2, DBG_TYPE_U8);  // "-" is skipped for unsigned types
  EXPECT_EQ(pair[0], 0xff);
  EXPECT_EQ(pair[1], 0xff);
}

TEST_F(DbgDataTest, WrittenValuesReadBackIntoTheSameBytes) {
  const uint32_t types[] = {DBG_TYPE_I8,  DBG_TYPE_U8,  DBG_TYPE_I16,
                            DBG_TYPE_U16, DBG_TYPE_I32, DBG_TYPE_U32};
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  std::vector<std::vector<uint8_t>> written;
  for (size_t t = 0; t < std::size(types); ++t) {
    std::vector<uint8_t> data(4 * 40);
    for (uint8_t &byte : data)
      byte = static_cast<uint8_t>(random());
    written.push_back(data);
  }
  Set("VQ_OUTPATH", Path(""));
  ASSERT_EQ(dbg_Init(0, nullptr, 1, &kBuf), DBG_INIT_OK);
  for (size_t t = 0; t < std::size(types); ++t)
    dbg_Output("EDCTSPI", "DctStrm", 0, "Read", "buf", written[t].data(), 40, types[t]);
  dbg_Terminate();

  std::filesystem::rename(Path("DctStrm_Read_buf.out"), Path("DctStrm_Read_buf.in"));
  Set("VQ_INPATH", Path(""));
  unsetenv("VQ_OUTPATH");
  ASSERT_EQ(dbg_Init(1, &kBuf, 0, nullptr), DBG_INIT_OK);
  for (size_t t = 0; t < std::size(types); ++t) {
    std::vector<uint8_t> back(4 * 40, 0);
    const size_t width = types[t] <= DBG_TYPE_U8 ? 1 : types[t] <= DBG_TYPE_U16 ? 2 : 4;
    dbg_Input("EDCTSPI", "DctStrm", 0, "Read", "buf", back.data(), 40, types[t]);
    EXPECT_TRUE(std::equal(back.begin(), back.begin() + 40 * width, written[t].begin()))
        << "type " << types[t];
    EXPECT_TRUE(std::all_of(back.begin() + 40 * width, back.end(), [](uint8_t b) { return !b; }));
  }
}

TEST_F(DbgDataTest, SeveralMatchingFilesAllTakePart) {
  Set("VQ_INPATH", Path(""));
  Write(Path("A_Read_buf.in"), "05\n");
  Write(Path("B_Read_buf.in"), "07\n");
  const DBG_DATAFILE_SPEC ins[] = {{"M", "A", "Read", "buf"}, {"M", "B", "Read", "buf"}};
  const DBG_DATAFILE_SPEC outs[] = {{"M", "A", "Read", "buf"}, {"M", "A", "Read", "other"}};
  // A later dbg_Init reads VQ_OUTPATH again, so one spec can lead to two files.
  Set("VQ_OUTPATH", Path("one-"));
  ASSERT_EQ(dbg_Init(2, ins, 2, outs), DBG_INIT_OK);
  Set("VQ_OUTPATH", Path("two-"));
  ASSERT_EQ(dbg_Init(0, nullptr, 2, outs), DBG_INIT_OK);

  uint8_t value = 0;
  dbg_Input("M", "C", 0, "Read", "buf", &value, 1, DBG_TYPE_U8);
  EXPECT_EQ(value, 7);  // each file filled the buffer in turn
  dbg_Output("M", "A", 0, "Read", "buf", &value, 1, DBG_TYPE_U8);
  EXPECT_EQ(Read(Path("one-A_Read_buf.out")), "07\n");
  EXPECT_EQ(Read(Path("two-A_Read_buf.out")), "07\n");

  // Each file ends by its own name, whatever VQ_OUTPATH says by then.
  Set("VQ_OUTPATH", Path("three-"));
  dbg_Terminate();
  EXPECT_EQ(Read(Path("one-A_Read_buf.out")), "07\n" + Banner());
  EXPECT_EQ(Read(Path("two-A_Read_buf.out")), "07\n" + Banner());
  EXPECT_FALSE(Exists(Path("one-A_Read_other.out")));
  EXPECT_FALSE(Exists(Path("two-A_Read_other.out")));
}

TEST_F(DbgDataTest, RegistrationKeepsWhatFitsAndStopsAtAFileThatCannotOpen) {
  Set("VQ_OUTPATH", Path(""));
  std::vector<std::string> names;
  for (int i = 0; i < 35; ++i)
    names.push_back("d" + std::to_string(i));
  std::vector<DBG_DATAFILE_SPEC> specs;
  for (const std::string &name : names)
    specs.push_back({"M", "S", "F", name.c_str()});
  ASSERT_EQ(dbg_Init(0, nullptr, 25, specs.data()), DBG_INIT_OK);
  ASSERT_EQ(dbg_Init(0, nullptr, 10, specs.data() + 25), DBG_INIT_OK);
  for (int i = 0; i < 35; ++i)
    EXPECT_EQ(Exists(Path("S_F_" + names[i] + ".out")), i < 30) << i;
  dbg_Terminate();

  // Twenty input files at most; one more than fits is dropped.
  Set("VQ_INPATH", Path(""));
  unsetenv("VQ_OUTPATH");
  for (int i = 0; i < 21; ++i)
    Write(Path("S_F_" + names[i] + ".in"), "2a\n");
  ASSERT_EQ(dbg_Init(21, specs.data(), 0, nullptr), DBG_INIT_OK);
  uint8_t values[2] = {};
  dbg_Input("M", "S", 0, "F", "d19", &values[0], 1, DBG_TYPE_U8);
  dbg_Input("M", "S", 0, "F", "d20", &values[1], 1, DBG_TYPE_U8);
  EXPECT_EQ(values[0], 0x2a);
  EXPECT_EQ(values[1], 0);
  dbg_Terminate();

  // Prefix, submodule, function and data name plus 5 must stay below 150.
  const size_t room = 149 - 5 - 2 - Path("").size();
  const std::string longest(room, 'x'), tooLong(room + 1, 'y');
  Set("VQ_OUTPATH", Path(""));
  const DBG_DATAFILE_SPEC fits[] = {{"M", "S", "F", longest.c_str()}};
  ASSERT_EQ(dbg_Init(0, nullptr, 1, fits), DBG_INIT_OK);
  EXPECT_TRUE(Exists(Path("S_F_" + longest + ".out")));
  dbg_Terminate();

  // A failure keeps the specs before it, drops it and those after it, registers no input
  // and leaves the facility uninitialised.
  Set("VQ_INPATH", Path(""));
  Write(Path("S_F_in.in"), "01\n");
  const DBG_DATAFILE_SPEC ins[] = {{"M", "S", "F", "in"}};
  const DBG_DATAFILE_SPEC outs[] = {
      {"M", "S", "F", "before"}, {"M", "S", "F", tooLong.c_str()}, {"M", "S", "F", "after"}};
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(dbg_Init(1, ins, 3, outs), DBG_INIT_FILE_FAILED);
  EXPECT_NE(::testing::internal::GetCapturedStderr().find("name too long for debug data file " +
                                                          Path("S_F_" + tooLong + ".out")),
            std::string::npos);
  EXPECT_EQ(dbg_Assert("M", "S", 0, "F", "f.c", 1, "not initialised"), 0);
  EXPECT_TRUE(Exists(Path("S_F_before.out")));
  EXPECT_FALSE(Exists(Path("S_F_after.out")));
  EXPECT_FALSE(Exists(Path("S_F_" + tooLong + ".out")));
  ASSERT_EQ(dbg_Init(0, nullptr, 0, nullptr), DBG_INIT_OK);
  uint8_t value = 0;
  dbg_Input("M", "S", 0, "F", "in", &value, 1, DBG_TYPE_U8);
  EXPECT_EQ(value, 0);
  const uint8_t one = 1;
  dbg_Output("M", "S", 0, "F", "before", &one, 1, DBG_TYPE_U8);
  EXPECT_EQ(Read(Path("S_F_before.out")), "01\n");
  dbg_Terminate();

  // A missing input file or directory.
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(dbg_Init(1, &kBuf, 0, nullptr), DBG_INIT_FILE_FAILED);
  EXPECT_NE(::testing::internal::GetCapturedStderr().find("cannot open debug data file " +
                                                          Path("DctStrm_Read_buf.in")),
            std::string::npos);
  unsetenv("VQ_INPATH");
  Set("VQ_OUTPATH", Path("no/such/dir/"));
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(dbg_Init(0, nullptr, 1, &kBuf), DBG_INIT_FILE_FAILED);
  ::testing::internal::GetCapturedStderr();
}

TEST_F(DbgDataTest, TimingLinesCarryTheTickAndIgnoreTraceSettings) {
  StartLogging(nullptr, "none");  // no trace level at all
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
  for (size_t i = 1; i <= 4; ++i) {
    const auto tick = static_cast<uint32_t>(std::stoll(match[i].str()));
    EXPECT_LE(tick - before, after - before) << match[i];  // modulo 2^32, like the tick
  }

  // The tick counts from the start of the system.
  std::istringstream uptime(Read("/proc/uptime"));
  double seconds = 0;
  uptime >> seconds;
  const auto expected = static_cast<uint32_t>(static_cast<uint64_t>(seconds * 1000));
  const uint32_t tick = sc::plat::MillisecondsSinceBoot();
  EXPECT_LT(std::min(tick - expected, expected - tick), 2000u);
}

using DbgDataDeathTest = DbgTest;

TEST_F(DbgDataDeathTest, AssertEndsTheProcessWithStatusMinusOne) {
  EXPECT_EQ(dbg_Assert("M", "DctStrm", 0x2a, "Read", "f.c", 77, "before init"), 0);
  Set("VQ_TRACELEVEL", "none");
  ASSERT_EQ(dbg_Init(0, nullptr, 0, nullptr), DBG_INIT_OK);
  dbg_TraceDisable();
  EXPECT_EXIT(
      dbg_Assert("M", "DctStrm", 0x2a, "Read", "f.c", 77, "bad state"),
      ::testing::ExitedWithCode(255),
      "Program generated assertion:    DctStrm i:        2a = line:  77 f:Read bad state \n");

  StartLogging(nullptr, nullptr);
  EXPECT_EXIT(dbg_Assert("M", "S", 0, "Read", "f.c", 12345, "x"), ::testing::ExitedWithCode(255),
              "");
  EXPECT_EQ(Read(Log()),
            "Program generated assertion:          S i:         0 = line:12345 f:Read x \n");
}

TEST_F(DbgDataDeathTest, InputFileTooShortEndsTheProcess) {
  Set("VQ_INPATH", Path(""));
  Write(Path("DctStrm_Read_buf.in"), "01\n0a");  // the last value has no end
  ASSERT_EQ(dbg_Init(1, &kBuf, 0, nullptr), DBG_INIT_OK);
  auto read = [](uint16_t count) {
    dup2(STDERR_FILENO, STDOUT_FILENO);  // the message goes to standard output
    uint8_t values[4];
    dbg_Input("EDCTSPI", "DctStrm", 0, "Read", "buf", values, count, DBG_TYPE_U8);
    std::fputs("survived", stderr);
  };
  EXPECT_EXIT(read(2), ::testing::ExitedWithCode(255),
              "^End of file reached : input file not long enough$");
  EXPECT_EXIT(read(4), ::testing::ExitedWithCode(255), "input file not long enough");
}

}  // namespace
