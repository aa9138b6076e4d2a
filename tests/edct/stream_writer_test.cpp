// The text stream writer through edct_DctWriteStream: exact bytes, blocks, failures, round
// trips through the reader, and the trace lines of both directions.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "debug/dbg_fixture.h"
#include "edct/stream_test_util.h"
#include "test_util.h"

namespace {

using edct_test::Add;
using edct_test::Entry;
using edct_test::Writable;
using namespace stream_test;

Entry Make(uint32_t content, uint32_t representation, const std::string &data) {
  Entry entry;
  entry.content = content;
  entry.representation = representation;
  entry.data = data;
  return entry;
}

void BuildWorkedExample(SafeHandle dictionary) {
  const EDCT_INFO info{u"Demo", u"Test", 0, 0};
  ASSERT_EQ(edct_DctSetInfo(dictionary, &info), 0u);
  Entry entry = Make(2, 2, std::string("hello world", 12));
  entry.language = "en";
  ASSERT_EQ(Add(dictionary, u"hello", {entry}), 0u);
  entry.data = std::string("hi", 3);
  ASSERT_EQ(Add(dictionary, u"hi", {entry}), 0u);
}

TEST(StreamWriter, WorkedExampleFromEveryKindOfDictionary) {
  Writable dictionary;
  BuildWorkedExample(dictionary);
  SafeHandle iterator;  // an open iterator does not stop a write
  ASSERT_EQ(edct_DctItOpen(g_vqNullHandle, dictionary, &iterator), 0u);
  EXPECT_EQ(Write(dictionary), kWorkedExample);
  EXPECT_EQ(Write(dictionary, kOwnOrder), Utf16(Widen(kWorkedExample), kOwnOrder == 2));
  EXPECT_EQ(edct_DctItClose(iterator), 0u);
  const edct_test::Image image = edct_test::Archive(dictionary);
  SafeHandle view;
  ASSERT_EQ(edct_test::Open(image.data(), EDCT_OPEN_READONLY, &view), 0u);
  EXPECT_EQ(Write(view), kWorkedExample);
  EXPECT_EQ(edct_DctClose(view), 0u);
}

TEST(StreamWriter, EmptyDictionariesAndRefusedFormats) {
  Writable dictionary;
  Sink sink;
  ASSERT_EQ(edct_DctWriteStream(dictionary, Sink::Write, EDCT_FORMAT_UTF8, &sink), 0u);
  EXPECT_EQ(sink.bytes, "[Header]\r\n");
  EXPECT_EQ(sink.blocks, std::vector<uint32_t>{10});
  EXPECT_EQ(Write(dictionary, kOwnOrder).size(), 22u);
  // The other byte order and unknown formats are refused before anything is written.
  for (const auto &[format, code] :
       {std::pair{3u - kOwnOrder, kNotImplemented}, std::pair{3u, kBadFormat}}) {
    Sink refused;
    EXPECT_EQ(edct_DctWriteStream(dictionary, Sink::Write, format, &refused), code);
    EXPECT_TRUE(refused.blocks.empty());
  }
  EXPECT_EQ(edct_DctWriteStream(dictionary, nullptr, 0, &sink), edct_test::kNullPointer);
}

TEST(StreamWriter, QuotingAndDataLines) {
  std::string bytes;
  for (int i = 0; i < 18; ++i)
    bytes += static_cast<char>(i * 15);
  const std::string line17 = "00 0F 1E 2D 3C 4B 5A 69 78 87 96 A5 B4 C3 D2 E1 F0 ";
  const Entry sz = Make(2, 2, std::string("x", 2));
  const struct {
    std::u16string key;
    std::vector<Entry> entries;
    std::string lines;
  } cases[] = {
      {u"a b", {sz}, "\"a b\"\tx\r\n"},
      {u"a\"b", {sz}, "a\\\"b\tx\r\n"},
      {u"a\tb", {sz}, "a\tb\tx\r\n"},  // a tab calls for no quotes
      {u"a\\b", {sz}, "a\\\\b\tx\r\n"},
      {u"s",
       {Make(2, 2, std::string("say \"hi\" \\ \xC3\xA9", 14))},
       "s\t\"say \\\"hi\\\" \\\\ \xC3\xA9\"\r\n"},
      {u"w", {Make(2, 3, Bytes(u"w \u00e9\""))}, "w\t\"w \xC3\xA9\\\"\"\r\n"},
      {u"k", {Make(2, 2, "unterminated")}, "k\tunterminated\r\n"},
      {u"k", {Make(1, 1, bytes.substr(0, 17))}, "k\t" + line17 + "\r\n"},
      {u"k", {Make(1, 1, bytes)}, "k\t" + line17 + "\\\r\nFF \r\n"},
      {u"k", {Make(1, 1, "")}, "k\t\r\n"},
      {u"k", {Make(0, 0, std::string("one\0two\0three\0\0", 15))}, "k\t//one//two//three\r\n"},
      {u"k", {Make(0, 0, std::string("\0more\0\0", 7))}, "k\t\r\n"},
      {u"k", {Make(0, 0, std::string("ab\0cd", 5))}, "k\t//ab//cd\r\n"},
      // Three records of one key: one line each, in the order the iterator hands them out.
      {u"k", {Make(2, 2, "1"), Make(2, 2, "2"), Make(2, 2, "3")}, "k\t3\r\nk\t2\r\nk\t1\r\n"},
  };
  for (const auto &c : cases) {
    Writable dictionary;
    ASSERT_EQ(Add(dictionary, c.key, c.entries), 0u);
    const std::string text = Write(dictionary);
    EXPECT_EQ(text.substr(text.find("[Data]\r\n") + 8), c.lines);
  }
}

TEST(StreamWriter, SubHeaderSectionsAndRecordsThatDoNotFit) {
  Writable dictionary;
  const std::string model = edct_test::ModelBlock("m1"), full(128, 'M');
  Entry first = Make(2, 2, std::string("v", 2));
  first.language = "fr";
  first.model = model.c_str();
  first.engine = "e1";
  first.pos = 7;  // not written
  Entry second = Make(1, 1, "\x01");
  second.model = full.c_str();  // no NUL in the block: all 128 bytes are written
  ASSERT_EQ(Add(dictionary, u"k", {first, second}), 0u);
  EXPECT_EQ(Write(dictionary),
            "[Header]\r\n\r\n[SubHeader]\r\nLanguage = fr\r\nModel = m1\r\nEngine = e1\r\n"
            "Content = EDCT_CONTENT_ORTHOGRAPHIC\r\nRepresentation = EDCT_REPR_SZ_STRING\r\n\r\n"
            "[Data]\r\nk\tv\r\n\r\n[SubHeader]\r\nModel = " +
                full +
                "\r\nContent = EDCT_CONTENT_USERWORDS\r\nRepresentation = EDCT_REPR_BINARY\r\n"
                "\r\n[Data]\r\nk\t01 \r\n");
  for (const auto &[entry, code] :
       {std::pair{Make(1, 2, "x"), kBadFormat}, std::pair{Make(2, 1, "x"), kBadFormat},
        std::pair{Make(0, 3, "x"), kBadFormat}, std::pair{Make(7, 0, "x"), kNotImplemented},
        std::pair{Make(2, 9, "x"), kBadFormat}}) {
    Writable wrong;
    ASSERT_EQ(Add(wrong, u"k", {entry}), 0u);
    Sink sink;
    EXPECT_EQ(edct_DctWriteStream(wrong, Sink::Write, 0, &sink), code);
    EXPECT_TRUE(sink.blocks.empty());          // nothing half written is handed over
    EXPECT_EQ(Add(wrong, u"j", {entry}), 0u);  // the iterator was closed
  }
}

// Random keys and strings that survive a write and a read: no blanks at their ends, no tabs,
// line ends or NULs, no empty data, every attribute given (attributes carry over from one
// section to the next in a stream).
TEST(StreamWriter, RoundTripsInBlocksAndFailingCallbacks) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  const auto text = [&](size_t length) {
    static const char16_t kAlphabet[] = u"abcxyz\u00e9\u00e8\u00fc\u20ac\u0153 \"\\/=[]";
    std::u16string out;
    while (out.size() < length) {
      const char16_t unit = kAlphabet[random() % (std::size(kAlphabet) - 1)];
      if (unit != ' ' || (!out.empty() && out.size() + 1 < length)) out += unit;
    }
    return out;
  };
  Writable dictionary;
  const EDCT_INFO info{u"N\u00e4me \"x\"", u"d = \\", 0, 0};
  ASSERT_EQ(edct_DctSetInfo(dictionary, &info), 0u);
  const std::string models[] = {edct_test::ModelBlock("m"), edct_test::ModelBlock("\xC3\xA9")};
  for (int i = 0; i < 3000; ++i) {
    Entry entry = Make(i % 4 == 3 ? 2 : i % 4, 0, "");
    entry.representation = entry.content < 2 ? entry.content : i % 8 == 3 ? 2 : 3;
    entry.language = i % 3 ? "en" : "fr";
    entry.engine = i % 5 ? "e" : "\xC3\xA9ngine";
    entry.model = models[i % 7 == 0].c_str();
    if (entry.content == 1) {
      for (size_t n = 1 + random() % 40; n--;)
        entry.data += static_cast<char>(random());
    } else if (entry.content == 0) {
      for (size_t n = 1 + random() % 3; n--;) {
        std::u16string piece = text(1 + random() % 6);
        std::replace(piece.begin(), piece.end(), u'/', u'q');
        entry.data += Utf8(piece) + '\0';
      }
      entry.data += '\0';
    } else {
      const std::u16string value = text(1 + random() % 20);
      entry.data = entry.representation == 2 ? Utf8(value) + '\0' : Bytes(value);
    }
    ASSERT_EQ(Add(dictionary, text(1 + random() % 12), {entry}), 0u);
  }
  // The reader adds a key's lines in the order written, which turns its entries around.
  const auto sorted = [](std::vector<std::string> lines) {
    std::sort(lines.begin(), lines.end());
    return lines;
  };
  const auto expected = sorted(Dump(dictionary));
  for (const uint32_t format : {EDCT_FORMAT_UTF8, kOwnOrder}) {
    Sink sink;
    ASSERT_EQ(edct_DctWriteStream(dictionary, Sink::Write, format, &sink), 0u);
    ASSERT_GT(sink.blocks.size(), 10u);
    EXPECT_EQ(std::count(sink.blocks.begin(), sink.blocks.end(), 1024u),
              static_cast<long>(sink.blocks.size()) - 1);
    EXPECT_GE(sink.blocks.back(), 1u);
    Writable back;
    ASSERT_EQ(Read(back, sink.bytes, format, {7, 1, 1000}), 0u);
    EXPECT_EQ(sorted(Dump(back)), expected) << format;
    EXPECT_EQ(Info(back), Info(dictionary));
    // A callback that fails on its second block.
    Sink failing{{}, {}, 2, 9};
    EXPECT_EQ(edct_DctWriteStream(dictionary, Sink::Write, format, &failing), 0x801E0001u);
    EXPECT_EQ(failing.blocks.size(), 2u);
    uint32_t callbackError = 0;
    EXPECT_EQ(edct_DctGetCallbackError(dictionary, &callbackError), 0u);
    EXPECT_EQ(callbackError, 9u);
  }
}

TEST(StreamWriter, OutOfMemoryLeavesNoLeak) {
  Writable dictionary;
  BuildWorkedExample(dictionary);
  ASSERT_EQ(
      Add(dictionary, u"k \\",
          {Make(2, 3, Bytes(u"a \"\u00e9\"")), Make(2, 2, "x \xC3\xA9\"" + std::string(1, '\0')),
           Make(0, 0, std::string("\xC3\xA9\0b\0\0", 6)), Make(1, 1, std::string(40, 'u'))}),
      0u);
  sctest::AllocationFailureGuard guard;
  const auto before = Dump(dictionary);
  for (const uint32_t format : {EDCT_FORMAT_UTF8, kOwnOrder}) {
    const std::string whole = Write(dictionary, format);
    edct_test::FailEachAllocation(
        [&] {
          Sink sink;
          const uint32_t result = edct_DctWriteStream(dictionary, Sink::Write, format, &sink);
          EXPECT_TRUE(result || sink.bytes == whole);
          return result;
        },
        [&] { EXPECT_EQ(Dump(dictionary), before); }, edct_test::kAnyOutOfMemory);
  }
}

// ---- Trace lines -----------------------------------------------------------------------

class StreamTrace : public DbgTest {
 protected:
  void Start(const char *submodules, const char *info) {
    Set("VQ_MODULES", "EDCTSPI");
    Set("VQ_SUBMODULES", submodules);
    StartLogging("FUNC", info);
  }
  // Lines such as "> DctStream_Input" with the prefix of LEVEL MODULE SUBMOD FUNC.
  static std::string Lines(std::initializer_list<std::string> marks, const char *level = "Func") {
    std::string text;
    char line[256];
    for (const std::string &mark : marks) {
      std::snprintf(line, sizeof line, "Lv:%4s    EDCTSPI    DctStrm Fn:%20s %s\n", level,
                    mark.substr(2).c_str(),
                    level[0] == 'E'  ? "-2145517565"
                    : mark[0] == '>' ? "> "
                                     : "< ");
      text += line;
    }
    return text;
  }
};

TEST_F(StreamTrace, ReaderEntryExitAndFailure) {
  Start("DctStrm", "LEVEL MODULE SUBMOD FUNC");
  Writable dictionary;
  const std::string inner = Lines({"> DctStream_Input", "> Input_Initialize", "< Input_Initialize",
                                   "> Input_Finalize", "< Input_Finalize"});
  ASSERT_EQ(stream_test::Read(dictionary, "[Header]\n"), 0u);
  ASSERT_EQ(stream_test::Read(dictionary, "[Header"), kBadFormat);
  EXPECT_EQ(Read(Log()), inner + Lines({"< DctStream_Input"}) + inner +
                             Lines({"! DctStream_Input"}, "Err") + Lines({"< DctStream_Input"}));
}

TEST_F(StreamTrace, WriterItemsAndTheSourceUnit) {
  Start("full", "FUNC FILE");
  Writable dictionary;
  ASSERT_EQ(stream_test::Write(dictionary), "[Header]\r\n");
  const std::string log = Read(Log());
  std::string functions;
  for (size_t at = 0; (at = log.find("Fn:", at)) != std::string::npos; ++at) {
    const size_t start = log.find_first_not_of(' ', at + 3);
    functions += log.substr(start, log.find(' ', start) - start) + log[log.find('\n', at) - 2];
  }
  EXPECT_EQ(functions,
            "DctStream_Output>WritewItem>WriteItemToUTF8>WriteItemToUTF8<WritewItem<"
            "WritesItem>WriteItemToUTF8>WriteItemToUTF8<WritesItem<DctStream_Output<");
  EXPECT_NE(log.find(" core/edctspi/dctstrm/src/stream > \n"), std::string::npos) << log;
  // Two entries of one section: each key and string quoted, each data line handled.
  BuildWorkedExample(dictionary);
  ASSERT_EQ(stream_test::Write(dictionary), kWorkedExample);
  const std::string more = Read(Log()).substr(log.size());
  for (const auto &[function, lines] :
       {std::pair{"HandleOutputwQuotedString ", 4}, std::pair{"HandleOrthographicOutput ", 4},
        std::pair{"HandleOutputsQuotedString ", 4}, std::pair{"WriteSubHeader ", 2}}) {
    int count = 0;
    for (size_t at = 0; (at = more.find(function, at)) != std::string::npos; ++at)
      ++count;
    EXPECT_EQ(count, lines) << function;
  }
  // Without the submodule in VQ_SUBMODULES nothing is traced.
  Start(nullptr, nullptr);
  ASSERT_EQ(stream_test::Read(dictionary, kWorkedExample), 0u);
  ASSERT_FALSE(stream_test::Write(dictionary).empty());
  EXPECT_EQ(Read(Log()), "");
}

}  // namespace
