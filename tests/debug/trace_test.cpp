#include <string>

#include "debug/config.h"
#include "dbg_fixture.h"
#include "test_util.h"

namespace {

std::string Blanks(size_t n) {
  return std::string(n, ' ');
}

// The field keywords and the lists are seen through whole lines and dbg_SubModActive below.
TEST(DbgConfig, LevelKeywordsAreCaseSensitiveSubstrings) {
  using sc::dbg::LevelMaskFrom;
  EXPECT_EQ(LevelMaskFrom(nullptr), 0u);
  EXPECT_EQ(LevelMaskFrom("xyz"), 1u);
  EXPECT_EQ(LevelMaskFrom("FUNC"), 3u);
  EXPECT_EQ(LevelMaskFrom("func"), 1u);
  EXPECT_EQ(LevelMaskFrom("12"), 1u | 8u | 16u);
  EXPECT_EQ(LevelMaskFrom("10"), 1u | 8u | 4u);
  EXPECT_EQ(LevelMaskFrom("FUNC 2 none"), 1u);
  EXPECT_EQ(LevelMaskFrom("full none"), 255u);
  EXPECT_TRUE(sc::dbg::NameActive("BRK;EDCTSPI", "DCT"));
  EXPECT_FALSE(sc::dbg::NameActive("EDCTSPI", "edctspi"));
}

using DbgTraceTest = DbgTest;

TEST_F(DbgTraceTest, SubModActiveNeedsBothLists) {
  const char *lists[][2] = {{"EDCTSPI", nullptr}, {"EDCTSPI none", "full"}, {"EDCTSPI", "full"}};
  for (const auto &list : lists) {
    dbg_Terminate();
    Set("VQ_MODULES", list[0]);
    Set("VQ_SUBMODULES", list[1]);
    ASSERT_EQ(dbg_Init(0, nullptr, 0, nullptr), DBG_INIT_OK);
    EXPECT_EQ(dbg_SubModActive("EDCTSPI", "DctStrm"), &list == &lists[2]) << list[0];
  }
  dbg_Terminate();
  EXPECT_EQ(dbg_SubModActive("EDCTSPI", "DctStrm"), 0);
}

TEST_F(DbgTraceTest, DefaultPrefixLinesCharacterForCharacter) {
  Write(Log(), "left over from an earlier run\n");
  StartLogging("full", nullptr);
  dbg_TraceIn(2, "EDCTSPI", "DctStrm", 0, "Input_Initialize", "stream.cpp", 980);
  dbg_TraceOut(2, "EDCTSPI", "DctStrm", 0, "Input_Initialize", "stream.cpp", 980);
  dbg_Trace(1, "EDCTSPI", "DctStrm", 0x10, "Read", "stream.cpp", 12, "abc\n");
  dbg_Trace(1, "EDCTSPI", "DctStrm", 0, "Read", "stream.cpp", 12, "");
  dbg_TraceArg(16, "EDCTSPI", "DctStrm", 0, "Parse", "stream.cpp", 7, "key=%s n=%d", "word", 3);
  dbg_TraceArg(8, "EDCTSPI", "DctStrm", 0, "Parse", "stream.cpp", 7, "%s", "done\n");
  dbg_Trace(3, "EDCTSPI", "DctStrm", 0, "Read", "stream.cpp", 1234567, "odd");
  const std::string head = "    EDCTSPI    DctStrm";
  EXPECT_EQ(Read(Log()),
            "Lv:Func" + head + " Ln: 980 Fn:    Input_Initialize > \n" +  //
                "Lv:Func" + head + " Ln: 980 Fn:    Input_Initialize < \n" + "Lv: Err" + head +
                " Ln:  12 Fn:" + Blanks(16) + "Read abc\n" + "Lv: Err" + head + " Ln:  12 Fn:" +
                Blanks(16) + "Read \n" + "Lv:   2" + head + " Ln:   7 Fn:" + Blanks(15) +
                "Parse key=word n=3\n" + "Lv:   1" + head + " Ln:   7 Fn:" + Blanks(15) +
                "Parse done\n" + "Lv: Unk" + head + " Ln:1234567 Fn:" + Blanks(16) + "Read odd\n");
}

TEST_F(DbgTraceTest, FieldSelectionShapesThePrefix) {
  auto traced = [&](const char *info) {
    StartLogging("full", info);
    dbg_Trace(1, "EDCTSPI", "DctStrm", 0x123456789abcu, "Read", "src/stream.cpp", 12, "text");
    dbg_TraceIn(2, "EDCTSPI", "DctStrm", 0xbeef, "Read", "src/stream.cpp", 12);
    return Read(Log());
  };
  EXPECT_EQ(traced("LINE"), " Ln:  12 text\n Ln:  12 Fn:" + Blanks(16) + "Read > \n");
  EXPECT_EQ(traced("none"), " text\n Fn:" + Blanks(16) + "Read > \n");
  EXPECT_EQ(traced("FILE SUBMOD"), "    DctStrm src/stream.cpp text\n    DctStrm Fn:" + Blanks(16) +
                                       "Read src/stream.cpp > \n");
  EXPECT_EQ(traced("full"),
            "Lv: Err    EDCTSPI    DctStrm In:123456789abc Ln:  12 Fn:" + Blanks(16) +
                "Read src/stream.cpp text\n" +
                "Lv:Func    EDCTSPI    DctStrm In:      beef Ln:  12 Fn:" + Blanks(16) +
                "Read src/stream.cpp > \n");
}

TEST_F(DbgTraceTest, LevelMaskSwitchAndInitialisationGateTraceCalls) {
  auto trace = [](uint32_t level, const char *text) {
    dbg_Trace(level, "M", "S", 0, "F", "f.c", 1, text);
  };
  const std::string tail = "          M          S Ln:   1 Fn:" + Blanks(19) + "F ";
  StartLogging(nullptr, nullptr);  // no level variable: nothing is traced
  trace(1, "unset");
  dbg_TraceSetLevel(0);  // errors only; 3 carries the error bit
  trace(1, "errors pass");
  trace(2, "function");
  trace(3, "three");
  dbg_TraceDisable();
  trace(1, "switched off");
  dbg_Time("M", "S", 0, "timing ignores the switch");
  dbg_TraceEnable();
  dbg_Terminate();
  dbg_TraceSetLevel(255);
  trace(1, "after terminate");
  const std::string log = Read(Log());
  EXPECT_TRUE(log.starts_with("Lv: Err" + tail + "errors pass\nLv: Unk" + tail + "three\n"));
  EXPECT_TRUE(log.ends_with(" timing ignores the switch\n")) << log;
  EXPECT_EQ(log.find("switched off"), std::string::npos);

  StartLogging("FUNC", nullptr);
  trace(3, "three");
  trace(4, "four");
  EXPECT_EQ(Read(Log()), "Lv: Unk" + tail + "three\n");
}

TEST_F(DbgTraceTest, ConfigurationIsReadOnlyByTheFirstInit) {
  StartLogging("1", nullptr);
  Set("VQ_TRACELEVEL", "full");
  ASSERT_EQ(dbg_Init(0, nullptr, 0, nullptr), DBG_INIT_OK);
  dbg_TraceIn(2, "M", "S", 0, "F", "f.c", 1);
  dbg_Trace(8, "M", "S", 0, "F", "f.c", 1, "kept");
  EXPECT_EQ(Read(Log()), "Lv:   1          M          S Ln:   1 Fn:" + Blanks(19) + "F kept\n");

  dbg_Terminate();
  ASSERT_EQ(dbg_Init(0, nullptr, 0, nullptr), DBG_INIT_OK);  // reads "full", truncates the log
  dbg_TraceIn(2, "M", "S", 0, "F", "f.c", 1);
  EXPECT_EQ(Read(Log()), "Lv:Func          M          S Ln:   1 Fn:" + Blanks(19) + "F > \n");
}

TEST_F(DbgTraceTest, WithoutLogFileLinesGoToStandardError) {
  for (const char *logFile : {(const char *)nullptr, "/nonexistent/dir/trace.log"}) {
    dbg_Terminate();
    Set("VQ_TRACELEVEL", "full");
    Set("VQ_TRACEINFO", "MODULE LINE");
    Set("VQ_LOGFILE", logFile);
    ASSERT_EQ(dbg_Init(0, nullptr, 0, nullptr), DBG_INIT_OK);
    ::testing::internal::CaptureStderr();
    dbg_Trace(1, "EDCTSPI", "DctStrm", 0, "Read", "f.c", 42, "to the channel");
    dbg_TimeOut("EDCTSPI", "DctStrm", 0, "Read");
    const std::string out = ::testing::internal::GetCapturedStderr();
    EXPECT_TRUE(out.starts_with("    EDCTSPI Ln:  42 to the channel\nmsec since start system:"))
        << out;
    EXPECT_TRUE(out.ends_with("    DctStrm i:         0 < f:Read  \n")) << out;
  }
}

// A prefix of 1023 and a text of 2047 characters need no heap and come out whole even when
// every allocation fails; longer lines grow onto the heap, and without it plain text still
// comes out whole, in pieces.
TEST_F(DbgTraceTest, LongLinesComeOutWhole) {
  const std::string function(1018, 'f'), prefix = " Fn:" + function + " ";
  std::string text, huge;
  for (int i = 0; text.size() < 2047; ++i)
    text += static_cast<char>('a' + i % 26);
  while (huge.size() < 10000)
    huge += text;
  const int64_t blocks = sc::testing::LiveBlocks();
  const sctest::AllocationFailureGuard guard;

  StartLogging("full", "FUNC");
  sc::testing::FailNthAllocation(1, true);
  dbg_Trace(1, "M", "S", 0, function.c_str(), "f.c", 1, text.c_str());
  EXPECT_FALSE(sc::testing::AllocationFailed());
  dbg_Trace(1, "M", "S", 0, function.c_str(), "f.c", 1, huge.c_str());
  sc::testing::FailNthAllocation(0);
  EXPECT_EQ(Read(Log()), prefix + text + "\n" + prefix + huge + "\n");

  StartLogging("full", "FUNC");
  dbg_TraceArg(1, "M", "S", 0, function.c_str(), "f.c", 1, "<%s>", huge.c_str());
  EXPECT_EQ(Read(Log()), prefix + "<" + huge + ">\n");

  // Without heap a formatted text longer than the stack buffer is cut; the line still ends.
  StartLogging("full", "FUNC");
  sc::testing::FailNthAllocation(1, true);
  dbg_TraceArg(1, "M", "S", 0, function.c_str(), "f.c", 1, "<%s>", huge.c_str());
  sc::testing::FailNthAllocation(0);
  const std::string cut = Read(Log());
  EXPECT_TRUE(cut.starts_with(prefix + "<" + huge.substr(0, 3000))) << cut.size();
  EXPECT_TRUE(cut.ends_with("\n"));
  EXPECT_EQ(sc::testing::LiveBlocks(), blocks);
}

TEST_F(DbgTraceTest, ModuleListsSurviveAllocationFailures) {
  Set("VQ_MODULES", "EDCTSPI");
  Set("VQ_SUBMODULES", "DctStrm");
  const sctest::AllocationFailureGuard guard;
  const int64_t blocks = sc::testing::LiveBlocks();
  for (uint64_t nth = 1;; ++nth) {
    sc::testing::FailNthAllocation(nth);
    ASSERT_EQ(dbg_Init(0, nullptr, 0, nullptr), DBG_INIT_OK);
    const bool failed = sc::testing::AllocationFailed();
    sc::testing::FailNthAllocation(0);
    // A list that could not be copied counts as absent.
    EXPECT_EQ(dbg_SubModActive("EDCTSPI", "DctStrm"), failed ? 0 : 1) << nth;
    dbg_Terminate();
    EXPECT_EQ(sc::testing::LiveBlocks(), blocks) << nth;
    if (!failed) break;
  }
}

}  // namespace
