#include <string>
#include <tuple>

#include "debug/config.h"
#include "dbg_fixture.h"
#include "test_util.h"

namespace {

std::string Blanks(size_t n) {
  return std::string(n, ' ');
}

// The field keywords and the lists are seen through whole lines and dbg_SubModActive below.
TEST(DbgConfig, LevelKeywordsAreCaseSensitiveSubstrings) {
  const std::pair<const char *, uint32_t> levels[] = {
      {nullptr, 0},       {"xyz", 1},        {"FUNC", 3},        {"func", 1},
      {"12", 1 | 8 | 16}, {"10", 1 | 8 | 4}, {"FUNC 2 none", 1}, {"full none", 255}};
  for (const auto &[text, mask] : levels)
    EXPECT_EQ(sc::dbg::LevelMaskFrom(text), mask) << (text ? text : "(unset)");
}

using DbgTraceTest = DbgTest;

// Both lists must name the pair ("none" wins over a name, "full" over everything), as
// plain case-sensitive substrings; a list that could not be copied counts as absent.
TEST_F(DbgTraceTest, SubModActiveNeedsBothLists) {
  const std::tuple<const char *, const char *, int> lists[] = {{"EDCTSPI", nullptr, 0},
                                                               {"EDCTSPI none", "full", 0},
                                                               {"EDCTSPI", "full", 1},
                                                               {"BRK;EDCTSPI", "xDctStrmx", 1},
                                                               {"edctspi", "DctStrm", 0}};
  for (const auto &[modules, submodules, active] : lists) {
    Set("VQ_MODULES", modules);
    Set("VQ_SUBMODULES", submodules);
    const int64_t blocks = sc::testing::LiveBlocks();
    sctest::ForEachAllocationFailure(
        [] { return static_cast<uint32_t>(dbg_Init(0, nullptr, 0, nullptr)); },
        [&, active = active, modules = modules](uint32_t result, bool failed) {
          EXPECT_EQ(result, static_cast<uint32_t>(DBG_INIT_OK));
          EXPECT_EQ(dbg_SubModActive("EDCTSPI", "DctStrm"), failed ? 0 : active) << modules;
          dbg_Terminate();
        });
    EXPECT_EQ(sc::testing::LiveBlocks(), blocks);
  }
  EXPECT_EQ(dbg_SubModActive("EDCTSPI", "DctStrm"), 0);  // forgotten by dbg_Terminate
}

TEST_F(DbgTraceTest, DefaultPrefixLinesCharacterForCharacter) {
  dir_.Write("trace.log", "left over from an earlier run\n");
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
  EXPECT_EQ(traced("FILE SUBMOD"), "    DctStrm src/stream.cpp text\n    DctStrm Fn:" + Blanks(16) +
                                       "Read src/stream.cpp > \n");
  EXPECT_EQ(traced("full"),
            "Lv: Err    EDCTSPI    DctStrm In:123456789abc Ln:  12 Fn:" + Blanks(16) +
                "Read src/stream.cpp text\n" +
                "Lv:Func    EDCTSPI    DctStrm In:      beef Ln:  12 Fn:" + Blanks(16) +
                "Read src/stream.cpp > \n");
}

// The level mask, the switch and initialisation gate trace calls; the configuration is read
// by the first dbg_Init only, and again after dbg_Terminate.
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
  Set("VQ_TRACELEVEL", "full");
  ASSERT_EQ(dbg_Init(0, nullptr, 0, nullptr), DBG_INIT_OK);  // already initialised
  trace(2, "function");
  dbg_Terminate();
  dbg_TraceSetLevel(255);
  trace(1, "after terminate");
  const std::string log = Read(Log());
  EXPECT_EQ(log.substr(0, log.find("tickcount:")),
            "Lv: Err" + tail + "errors pass\nLv: Unk" + tail + "three\n");
  EXPECT_TRUE(log.ends_with(" timing ignores the switch\n")) << log;

  ASSERT_EQ(dbg_Init(0, nullptr, 0, nullptr), DBG_INIT_OK);  // reads "full", truncates the log
  trace(2, "function");
  EXPECT_EQ(Read(Log()), "Lv:Func" + tail + "function\n");
  StartLogging("FUNC", nullptr);
  trace(3, "three");
  trace(4, "four");
  EXPECT_EQ(Read(Log()), "Lv: Unk" + tail + "three\n");
}

// A prefix of 1023 and a text of 2047 characters need no heap and come out whole even when
// every allocation fails; longer lines grow onto the heap, and without it plain text still
// comes out whole, in pieces, while a formatted text longer than the stack buffer is cut.
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
  dbg_TraceArg(1, "M", "S", 0, function.c_str(), "f.c", 1, "<%s>", huge.c_str());
  sc::testing::FailNthAllocation(0);
  dbg_TraceArg(1, "M", "S", 0, function.c_str(), "f.c", 1, "<%s>", huge.c_str());
  const std::string whole = prefix + text + "\n" + prefix + huge + "\n", log = Read(Log());
  EXPECT_TRUE(log.starts_with(whole + prefix + "<" + huge.substr(0, 3000))) << log.size();
  EXPECT_TRUE(log.ends_with("\n" + prefix + "<" + huge + ">\n")) << log.size();
  EXPECT_EQ(sc::testing::LiveBlocks(), blocks);
}

}  // namespace
