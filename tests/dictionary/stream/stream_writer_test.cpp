// The text stream writer through edct_DctWriteStream: exact bytes, blocks, failures, round
// trips through the reader, and the trace lines of both directions.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <regex>

#include "debug/dbg_fixture.h"
#include "dictionary/stream/stream_test_util.h"
#include "test_util.h"

namespace {

using edct_test::Add;
using edct_test::Entry;
using edct_test::Writable;
using namespace stream_test;
using namespace std::string_literals;

// An entry in English, as those of the worked example.
Entry Make(uint32_t content, uint32_t representation, std::string data) {
  return Entry{content, representation, 0xFFFFFFFFu, "en", nullptr, nullptr, std::move(data)};
}

void BuildWorkedExample(SafeHandle dictionary) {
  const EDCT_INFO info{u"Demo", u"Test", 0, 0};
  ASSERT_EQ(edct_DctSetInfo(dictionary, &info), 0u);
  ASSERT_EQ(Add(dictionary, u"hello", {Make(2, 2, "hello world\0"s)}), 0u);
  ASSERT_EQ(Add(dictionary, u"hi", {Make(2, 2, "hi\0"s)}), 0u);
}

TEST(StreamWriter, WorkedExampleBothWaysEmptyDictionariesAndRefusals) {
  Writable dictionary;
  Sink sink;
  ASSERT_EQ(edct_DctWriteStream(dictionary, Sink::Write, EDCT_FORMAT_UTF8, &sink), 0u);
  EXPECT_EQ(std::tuple(sink.bytes, sink.blocks),
            std::tuple("[Header]\r\n", std::vector<uint32_t>{10}));
  EXPECT_EQ(Write(dictionary, kOwnOrder), Utf16("[Header]\r\n", kOwnOrder == 2));
  // The other byte order and unknown formats are refused before anything is written.
  for (const auto &[format, code] :
       {std::pair{3u - kOwnOrder, EDCT_E_NOT_IMPLEMENTED}, std::pair{3u, EDCT_E_UNKNOWN_FORMAT}}) {
    Sink refused;
    EXPECT_EQ(edct_DctWriteStream(dictionary, Sink::Write, format, &refused), code);
    EXPECT_TRUE(refused.blocks.empty());
  }
  EXPECT_EQ(edct_DctWriteStream(dictionary, nullptr, 0, &sink), EDCT_E_NULL_POINTER);

  BuildWorkedExample(dictionary);
  SafeHandle iterator;  // an open iterator does not stop a write
  ASSERT_EQ(edct_DctItOpen(g_vqNullHandle, dictionary, &iterator), 0u);
  EXPECT_EQ(Write(dictionary), kWorkedExample);
  EXPECT_EQ(Write(dictionary, kOwnOrder), Utf16(kWorkedExample, kOwnOrder == 2));
  EXPECT_EQ(edct_DctItClose(iterator), 0u);
  const edct_test::Image image = edct_test::Archive(dictionary);
  edct_test::Opened view(image.data(), EDCT_OPEN_READONLY);
  EXPECT_EQ(Write(view), kWorkedExample);
}

TEST(StreamWriter, QuotingDataLinesAndRecordsThatDoNotFit) {
  std::string bytes;
  for (int i = 0; i < 18; ++i)
    bytes += static_cast<char>(i * 15);
  const std::string line17 = "00 0F 1E 2D 3C 4B 5A 69 78 87 96 A5 B4 C3 D2 E1 F0 ";
  const Entry sz = Make(2, 2, "x\0"s);
  const struct {
    std::u16string key;
    std::vector<Entry> entries;
    std::string lines;
    uint32_t code = 0;
  } cases[] = {
      {u"a b", {sz}, "\"a b\"\tx\r\n"},
      {u"a\"b", {sz}, "a\\\"b\tx\r\n"},
      {u"a\tb", {sz}, "a\tb\tx\r\n"},  // a tab calls for no quotes
      {u"s", {Make(2, 2, "say \"hi\" \\ \xC3\xA9\0"s)}, "s\t\"say \\\"hi\\\" \\\\ \xC3\xA9\"\r\n"},
      {u"w", {Make(2, 3, Bytes(u"w \u00e9\""))}, "w\t\"w \xC3\xA9\\\"\"\r\n"},
      {u"k", {Make(1, 1, bytes)}, "k\t" + line17 + "\\\r\nFF \r\n"},
      {u"k", {Make(1, 1, "")}, "k\t\r\n"},
      {u"k", {Make(0, 0, "one\0two\0three\0\0"s)}, "k\t//one//two//three\r\n"},
      {u"k", {Make(0, 0, "ab\0cd"s)}, "k\t//ab//cd\r\n"},
      // Three records of one key: one line each, in the order the iterator hands them out.
      {u"k", {Make(2, 2, "1"), Make(2, 2, "2"), Make(2, 2, "3")}, "k\t3\r\nk\t2\r\nk\t1\r\n"},
      // Nothing half written is handed over.
      {u"k", {Make(1, 2, "x")}, "", EDCT_E_UNKNOWN_FORMAT},
      {u"k", {Make(3, 0, "x")}, "", EDCT_E_NOT_IMPLEMENTED},
  };
  for (const auto &c : cases) {
    Writable dictionary;
    ASSERT_EQ(Add(dictionary, c.key, c.entries), 0u);
    Sink sink;
    EXPECT_EQ(edct_DctWriteStream(dictionary, Sink::Write, 0, &sink), c.code);
    EXPECT_EQ(c.code ? sink.bytes : sink.bytes.substr(sink.bytes.find("[Data]\r\n") + 8), c.lines);
    EXPECT_EQ(Add(dictionary, u"j", c.entries), 0u);  // the iterator was closed
  }
}

TEST(StreamWriter, SubHeaderSections) {
  Writable dictionary;
  const std::string model = edct_test::ModelBlock("m1"), full(128, 'M');
  // POS is not written; a Model without a NUL in its block is written whole.
  const Entry first{2, 2, 7, "fr", model.c_str(), "e1", "v\0"s};
  const Entry second{1, 1, 0xFFFFFFFFu, nullptr, full.c_str(), nullptr, "\x01"};
  ASSERT_EQ(Add(dictionary, u"k", {first, second}), 0u);
  EXPECT_EQ(Write(dictionary),
            "[Header]\r\n\r\n[SubHeader]\r\nLanguage = fr\r\nModel = m1\r\nEngine = e1\r\n"
            "Content = EDCT_CONTENT_ORTHOGRAPHIC\r\nRepresentation = EDCT_REPR_SZ_STRING\r\n\r\n"
            "[Data]\r\nk\tv\r\n\r\n[SubHeader]\r\nModel = " +
                full +
                "\r\nContent = EDCT_CONTENT_USERWORDS\r\nRepresentation = EDCT_REPR_BINARY\r\n"
                "\r\n[Data]\r\nk\t01 \r\n");
}

// Every kind of entry, long enough to make every buffer grow, with the characters that call
// for quotes and escapes, beyond ASCII, and every byte value.
TEST(StreamWriter, RoundTripsInBlocksFailingCallbacksAndOutOfMemory) {
  Writable dictionary;
  BuildWorkedExample(dictionary);
  std::string bytes;
  for (int i = 0; i < 256; ++i)
    bytes += static_cast<char>(i);
  Entry words = Make(1, 1, bytes);
  const std::string model = edct_test::ModelBlock("\xC3\xA9");
  words.model = model.c_str();
  words.engine = "\xC3\xA9ngine";
  ASSERT_EQ(Add(dictionary, u"[k] \"=\\\u00e9",
                {Make(2, 3, Bytes(std::u16string(250, u'w') + u" \"\u20ac\"")),
                 Make(2, 2, "x \xC3\xA9\"\0"s),
                 Make(0, 0, std::string(150, 'x') + "\0\xC3\xA9\0\0"s), words}),
            0u);
  ASSERT_EQ(Add(dictionary, std::u16string(150, u'k'), {Make(2, 2, "v\0"s)}), 0u);
  sctest::AllocationFailureGuard guard;
  const auto before = Dump(dictionary);
  for (const uint32_t format : {EDCT_FORMAT_UTF8, kOwnOrder}) {
    Sink sink;
    ASSERT_EQ(edct_DctWriteStream(dictionary, Sink::Write, format, &sink), 0u);
    ASSERT_GT(sink.blocks.size(), 1u);
    EXPECT_EQ(std::count(sink.blocks.begin(), sink.blocks.end(), 1024u),
              static_cast<long>(sink.blocks.size()) - 1);
    EXPECT_GE(sink.blocks.back(), 1u);
    // A callback that fails on its second block.
    Sink failing{{}, {}, 2, 9};
    EXPECT_EQ(edct_DctWriteStream(dictionary, Sink::Write, format, &failing),
              EDCT_E_WRITESTREAM_FAILED);
    uint32_t error = 0;
    EXPECT_EQ(edct_DctGetCallbackError(dictionary, &error), 0u);
    EXPECT_EQ(std::tuple(failing.blocks.size(), error), std::tuple(2u, 9u));
    edct_test::FailEachAllocation(
        [&] {
          Sink partial;
          const uint32_t result = edct_DctWriteStream(dictionary, Sink::Write, format, &partial);
          EXPECT_TRUE(result || partial.bytes == sink.bytes);
          return result;
        },
        [&] { EXPECT_EQ(Dump(dictionary), before); }, edct_test::kAnyOutOfMemory);
    // Read back in deliveries that cut UTF-8 sequences and 16-bit units, a failing read keeps
    // the entries added before the failure, and the Name only once it is done.
    std::optional<Writable> back{std::in_place};
    sctest::ForEachAllocationFailure(
        [&] {
          return Read(*back, sink.bytes, format, {7, 1, 1000});
        },
        EDCT_E_OUT_OF_MEMORY,
        [&] {
          const auto dump = Dump(*back);
          ASSERT_LE(dump.size(), before.size());
          EXPECT_TRUE(std::equal(dump.begin(), dump.end(), before.begin()));
          EXPECT_EQ(edct_test::Summary(*back).substr(0, 2), "-|");
          back.emplace();
        });
    EXPECT_EQ(Dump(*back), before);
    EXPECT_EQ(edct_test::Summary(*back), edct_test::Summary(dictionary));
  }
}

// ---- Trace lines -----------------------------------------------------------------------

class StreamTrace : public DbgTest {
 protected:
  // The function and the mark or code of each line since the last call, without the
  // other fields and the blanks.
  std::string Calls() {
    const std::string log = Read(Log()), fresh = log.substr(seen_);
    seen_ = log.size();
    return std::regex_replace(fresh, std::regex("Lv:.*Fn:| core/edctspi/dctstrm/src/stream| "), "");
  }
  size_t seen_ = 0;
};

TEST_F(StreamTrace, EntryExitAndFailureLines) {
  Set("VQ_MODULES", "EDCTSPI");
  Set("VQ_SUBMODULES", "DctStrm");
  StartLogging("FUNC", "LEVEL MODULE SUBMOD FUNC FILE");
  Writable dictionary;
  ASSERT_EQ(stream_test::Read(dictionary, "[Header"), EDCT_E_UNKNOWN_FORMAT);
  const std::string log = Read(Log());
  const char *const prefix =
      "    EDCTSPI    DctStrm Fn:     DctStream_Input core/edctspi/dctstrm/src/stream";
  EXPECT_EQ(log.substr(0, log.find('\n') + 1), "Lv:Func" + std::string(prefix) + " > \n");
  EXPECT_NE(log.find("Lv: Err" + std::string(prefix) + " -2145517565\n"), std::string::npos) << log;
  // Every function entered is left, the writer's as the reader's.
  BuildWorkedExample(dictionary);
  ASSERT_EQ(stream_test::Write(dictionary), kWorkedExample);
  const std::string calls = Calls();
  EXPECT_NE(calls.find("HandleOrthographicOutput>"), std::string::npos) << calls;
  EXPECT_EQ(std::count(calls.begin(), calls.end(), '>'),
            std::count(calls.begin(), calls.end(), '<'));
  // Without the submodule in VQ_SUBMODULES nothing is traced.
  Set("VQ_SUBMODULES", nullptr);
  StartLogging("FUNC", nullptr);
  ASSERT_EQ(stream_test::Read(dictionary, kWorkedExample), 0u);
  ASSERT_FALSE(stream_test::Write(dictionary).empty());
  EXPECT_EQ(Read(Log()), "");
}

}  // namespace
