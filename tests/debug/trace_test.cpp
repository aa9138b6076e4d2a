#include <string>
#include <thread>
#include <vector>

#include "debug/config.h"
#include "dbg_fixture.h"
#include "foundation/alloc.h"
#include "test_util.h"

namespace {

using sc::dbg::FieldMaskFrom;
using sc::dbg::LevelMaskFrom;
using sc::dbg::NameActive;

const char *Shown(const char *text) {
  return text ? text : "(unset)";
}

std::string Blanks(size_t n) {
  return std::string(n, ' ');
}

TEST(DbgConfig, LevelMaskKeywordsAreSubstrings) {
  EXPECT_EQ(LevelMaskFrom(nullptr), 0u);
  EXPECT_EQ(LevelMaskFrom(""), 1u);
  EXPECT_EQ(LevelMaskFrom("xyz"), 1u);
  EXPECT_EQ(LevelMaskFrom("FUNC"), 3u);
  EXPECT_EQ(LevelMaskFrom("func"), 1u);  // case-sensitive
  EXPECT_EQ(LevelMaskFrom("12"), 1u | 8u | 16u);
  EXPECT_EQ(LevelMaskFrom("10"), 1u | 8u | 4u);
  EXPECT_EQ(LevelMaskFrom("2 FUNC"), 1u | 2u | 16u);
  EXPECT_EQ(LevelMaskFrom("FUNC 2 none"), 1u);
  EXPECT_EQ(LevelMaskFrom("none full"), 255u);
  EXPECT_EQ(LevelMaskFrom("full none"), 255u);
}

TEST(DbgConfig, FieldMaskAndNameLists) {
  EXPECT_EQ(FieldMaskFrom(nullptr), 107u);
  EXPECT_EQ(FieldMaskFrom("none"), 0u);
  EXPECT_EQ(FieldMaskFrom("LINE"), 32u);
  EXPECT_EQ(FieldMaskFrom("SUBMOD"), 2u);  // holds "MOD" but not "MODULE"
  EXPECT_EQ(FieldMaskFrom("MODULE,INST,FILE,TIME"), 1u | 4u | 16u | 128u);
  EXPECT_EQ(FieldMaskFrom("LEVELFUNC"), 64u | 8u);
  EXPECT_EQ(FieldMaskFrom("LINE full"), 255u);

  EXPECT_FALSE(NameActive(nullptr, "EDCTSPI"));
  EXPECT_FALSE(NameActive(nullptr, nullptr));
  EXPECT_TRUE(NameActive("full", "anything"));
  EXPECT_FALSE(NameActive("EDCTSPI none", "EDCTSPI"));
  EXPECT_FALSE(NameActive("full none", "EDCTSPI"));
  EXPECT_TRUE(NameActive("BRK;EDCTSPI", "EDCTSPI"));
  EXPECT_TRUE(NameActive("EDCTSPI", "DCT"));  // a plain substring is enough
  EXPECT_FALSE(NameActive("EDCTSPI", "edctspi"));
  EXPECT_FALSE(NameActive("EDCTSPI", nullptr));
}

using DbgTraceTest = DbgTest;

TEST_F(DbgTraceTest, SubModActiveNeedsBothLists) {
  struct Case {
    const char *modules, *submodules;
    int expected;
  } cases[] = {{nullptr, nullptr, 0},       {"EDCTSPI", nullptr, 0}, {"EDCTSPI", "full", 1},
               {"EDCTSPI none", "full", 0}, {nullptr, "DctStrm", 0}, {"full", "DctStrm", 1},
               {"BRK", "DctStrm", 0}};
  for (const Case &c : cases) {
    dbg_Terminate();
    if (c.modules)
      Set("VQ_MODULES", c.modules);
    else
      unsetenv("VQ_MODULES");
    if (c.submodules)
      Set("VQ_SUBMODULES", c.submodules);
    else
      unsetenv("VQ_SUBMODULES");
    ASSERT_EQ(dbg_Init(0, nullptr, 0, nullptr), DBG_INIT_OK);
    EXPECT_EQ(dbg_SubModActive("EDCTSPI", "DctStrm"), c.expected)
        << Shown(c.modules) << " / " << Shown(c.submodules);
  }
  dbg_Terminate();
  EXPECT_EQ(dbg_SubModActive("EDCTSPI", "DctStrm"), 0);
  EXPECT_EQ(dbg_EntryActive(), 1);
  EXPECT_STREQ(dbg_GetRegisteredModule(), "XXXX");
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
  auto err = [](const char *text) { dbg_Trace(1, "M", "S", 0, "F", "f.c", 1, text); };
  const std::string prefix = "Lv: Err          M          S Ln:   1 Fn:" + Blanks(19) + "F ";

  StartLogging(nullptr, nullptr);  // no level variable: nothing is traced
  err("unset");
  dbg_TraceIn(2, "M", "S", 0, "F", "f.c", 1);
  EXPECT_EQ(Read(Log()), "");

  dbg_TraceSetLevel(0);  // errors only
  err("errors pass");
  dbg_TraceIn(2, "M", "S", 0, "F", "f.c", 1);
  dbg_Trace(3, "M", "S", 0, "F", "f.c", 1, "three has the error bit");
  dbg_TraceArg(4, "M", "S", 0, "F", "f.c", 1, "%s", "detail");
  EXPECT_EQ(Read(Log()),
            prefix + "errors pass\nLv: Unk" + prefix.substr(7) + "three has the error bit\n");

  dbg_TraceDisable();
  err("switched off");
  dbg_Time("M", "S", 0, "timing ignores the switch");
  dbg_TraceEnable();
  err("on again");
  const std::string log = Read(Log());
  EXPECT_EQ(log.find("switched off"), std::string::npos);
  EXPECT_NE(log.find("timing ignores the switch\n"), std::string::npos);
  EXPECT_NE(log.find(prefix + "on again\n"), std::string::npos);

  dbg_Terminate();
  dbg_TraceSetLevel(255);
  err("after terminate");
  dbg_Time("M", "S", 0, "after terminate");
  EXPECT_EQ(Read(Log()), log);

  StartLogging("FUNC", nullptr);
  dbg_Trace(3, "M", "S", 0, "F", "f.c", 1, "three");
  dbg_Trace(4, "M", "S", 0, "F", "f.c", 1, "four");
  EXPECT_EQ(Read(Log()), "Lv: Unk" + prefix.substr(7) + "three\n");
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
  for (const bool badLogFile : {false, true}) {
    dbg_Terminate();
    Set("VQ_TRACELEVEL", "full");
    Set("VQ_TRACEINFO", "MODULE LINE");
    if (badLogFile) Set("VQ_LOGFILE", Path("missing/dir/trace.log"));
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
  std::string function(1018, 'f');
  std::string text;
  for (int i = 0; text.size() < 2047; ++i)
    text += static_cast<char>('a' + i % 26);
  text.resize(2047);
  std::string huge;
  while (huge.size() < 10000)
    huge += text;
  const std::string prefix = " Fn:" + function + " ";
  ASSERT_EQ(prefix.size(), 1023u);
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

  // Without heap a formatted text longer than the stack buffer is cut, the line still ends.
  StartLogging("full", "FUNC");
  sc::testing::FailNthAllocation(1, true);
  dbg_TraceArg(1, "M", "S", 0, function.c_str(), "f.c", 1, "<%s>", huge.c_str());
  sc::testing::FailNthAllocation(0);
  const std::string cut = Read(Log());
  EXPECT_TRUE(cut.starts_with(prefix + "<" + huge.substr(0, 3000))) << cut.size();
  EXPECT_TRUE(cut.ends_with("\n"));
  EXPECT_EQ(sc::testing::LiveBlocks(), blocks);
}

TEST_F(DbgTraceTest, LinesFromSeveralThreadsNeverMix) {
  StartLogging("full", "none");
  constexpr int kThreads = 4, kLines = 200;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([t] {
      const std::string body(3000, static_cast<char>('A' + t));
      for (int i = 0; i < kLines; ++i)
        dbg_Trace(1, "M", "S", 0, "F", "f.c", i, body.c_str());
    });
  for (std::thread &thread : threads)
    thread.join();
  std::istringstream log(Read(Log()));
  int lines = 0;
  for (std::string line; std::getline(log, line); ++lines)
    ASSERT_EQ(line, " " + std::string(3000, line.size() > 1 ? line[1] : '?'));
  EXPECT_EQ(lines, kThreads * kLines);
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
