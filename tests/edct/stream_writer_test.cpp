// The text stream writer through edct_DctWriteStream: exact bytes, blocks, failures, and
// round trips through the reader.
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
  Entry entry;
  entry.language = "en";
  entry.data = std::string("hello world", 12);
  ASSERT_EQ(Add(dictionary, u"hello", {entry}), 0u);
  entry.data = std::string("hi", 3);
  ASSERT_EQ(Add(dictionary, u"hi", {entry}), 0u);
}

TEST(StreamWriter, WorkedExampleByteForByteAndBack) {
  Writable dictionary;
  BuildWorkedExample(dictionary);
  EXPECT_EQ(Write(dictionary), kWorkedExample);
  const uint32_t own = kLittleEndianHost ? EDCT_FORMAT_UCS2LE : EDCT_FORMAT_UCS2BE;
  EXPECT_EQ(Write(dictionary, own), Utf16(Widen(kWorkedExample), !kLittleEndianHost));
  Writable back;
  ASSERT_EQ(Read(back, kWorkedExample), 0u);
  EXPECT_EQ(Dump(back), Dump(dictionary));
  EXPECT_EQ(GetInfo(back).description, "Test");
}

TEST(StreamWriter, EmptyDictionariesAndFormats) {
  Writable dictionary;
  Sink sink;
  ASSERT_EQ(edct_DctWriteStream(dictionary, Sink::Write, EDCT_FORMAT_UTF8, &sink), 0u);
  EXPECT_EQ(sink.bytes, "[Header]\r\n");
  EXPECT_EQ(sink.blocks, std::vector<uint32_t>{10});
  const uint32_t own = kLittleEndianHost ? EDCT_FORMAT_UCS2LE : EDCT_FORMAT_UCS2BE;
  const uint32_t other = kLittleEndianHost ? EDCT_FORMAT_UCS2BE : EDCT_FORMAT_UCS2LE;
  EXPECT_EQ(Write(dictionary, own), Utf16(u"[Header]\r\n", !kLittleEndianHost));
  EXPECT_EQ(Write(dictionary, own).size(), 22u);
  // The other byte order and unknown formats are refused before anything is written.
  for (const auto &[format, code] :
       {std::pair{other, kNotImplemented}, std::pair{3u, kBadFormat}}) {
    Sink refused;
    EXPECT_EQ(edct_DctWriteStream(dictionary, Sink::Write, format, &refused), code);
    EXPECT_TRUE(refused.blocks.empty());
  }
  EXPECT_EQ(edct_DctWriteStream(dictionary, nullptr, 0, &sink), edct_test::kNullPointer);
}

TEST(StreamWriter, QuotingOfKeysAndStrings) {
  Writable dictionary;
  const Entry sz = Make(EDCT_CONTENT_ORTHOGRAPHIC, EDCT_REPR_SZ_STRING, std::string("x", 2));
  for (const char16_t *key : {u"a b", u"a\"b", u"a\tb", u"a\\b", u"x \"y\" z"})
    ASSERT_EQ(Add(dictionary, key, {sz}), 0u);
  ASSERT_EQ(Add(dictionary, u"s",
                {Make(EDCT_CONTENT_ORTHOGRAPHIC, EDCT_REPR_SZ_STRING,
                      std::string("say \"hi\" \\ there", 17))}),
            0u);
  const std::u16string wide = u"w \u00e9\"";
  ASSERT_EQ(
      Add(dictionary, u"w",
          {Make(EDCT_CONTENT_ORTHOGRAPHIC, EDCT_REPR_WSZ_STRING,
                std::string(reinterpret_cast<const char *>(wide.c_str()), (wide.size() + 1) * 2))}),
      0u);
  const std::string text = Write(dictionary);
  for (const char *line :
       {"\"a b\"\tx", "a\\\"b\tx", "a\tb\tx", "a\\\\b\tx", "\"x \\\"y\\\" z\"\tx",
        "s\t\"say \\\"hi\\\" \\\\ there\"", "w\t\"w \xC3\xA9\\\"\""})
    EXPECT_NE(text.find(std::string("\r\n") + line + "\r\n"), std::string::npos) << line;
}

TEST(StreamWriter, DataLinesOfEveryContentKind) {
  std::string seventeen, eighteen;
  for (int i = 0; i < 18; ++i)
    (i < 17 ? seventeen : eighteen) += static_cast<char>(i * 15);
  eighteen = seventeen + eighteen;
  const struct {
    Entry entry;
    std::string line;
  } cases[] = {
      {Make(1, 1, seventeen), "k\t00 0F 1E 2D 3C 4B 5A 69 78 87 96 A5 B4 C3 D2 E1 F0 \r\n"},
      {Make(1, 1, eighteen), "k\t00 0F 1E 2D 3C 4B 5A 69 78 87 96 A5 B4 C3 D2 E1 F0 \\\r\nFF \r\n"},
      {Make(1, 1, ""), "k\t\r\n"},
      {Make(0, 0, std::string("one\0two\0three\0\0", 15)), "k\t//one//two//three\r\n"},
      {Make(0, 0, std::string("\0more\0\0", 7)), "k\t\r\n"},
      {Make(0, 0, std::string("ab\0cd", 5)), "k\t//ab//cd\r\n"},  // no closing NULs
      {Make(2, 2, "unterminated"), "k\tunterminated\r\n"},
  };
  for (const auto &c : cases) {
    Writable dictionary;
    ASSERT_EQ(Add(dictionary, u"k", {c.entry}), 0u);
    const std::string text = Write(dictionary);
    const size_t data = text.find("[Data]\r\n");
    ASSERT_NE(data, std::string::npos);
    EXPECT_EQ(text.substr(data + 8), c.line);
  }
  // Three records of one key: three lines in the order the iterator hands them out.
  Writable three;
  ASSERT_EQ(Add(three, u"k", {Make(2, 2, "1"), Make(2, 2, "2"), Make(2, 2, "3")}), 0u);
  const std::string text = Write(three);
  EXPECT_EQ(text.substr(text.find("[Data]\r\n") + 8), "k\t3\r\nk\t2\r\nk\t1\r\n");
}

TEST(StreamWriter, SubHeaderSections) {
  Writable dictionary;
  const std::string model = edct_test::ModelBlock("m1");
  const std::string full(128, 'M');
  Entry first = Make(2, 2, std::string("v", 2));
  first.language = "fr";
  first.model = model.c_str();
  first.engine = "e1";
  first.pos = 7;
  Entry second = Make(1, 1, "\x01");
  second.model = full.c_str();
  ASSERT_EQ(Add(dictionary, u"k", {first, second}), 0u);
  EXPECT_EQ(Write(dictionary),
            "[Header]\r\n"
            "\r\n[SubHeader]\r\nLanguage = fr\r\nModel = m1\r\nEngine = e1\r\n"
            "Content = EDCT_CONTENT_ORTHOGRAPHIC\r\n"
            "Representation = EDCT_REPR_SZ_STRING\r\n\r\n[Data]\r\nk\tv\r\n"
            "\r\n[SubHeader]\r\nModel = " +
                full +
                "\r\nContent = EDCT_CONTENT_USERWORDS\r\n"
                "Representation = EDCT_REPR_BINARY\r\n\r\n[Data]\r\nk\t01 \r\n");
}

TEST(StreamWriter, RecordsThatDoNotFitTheirKind) {
  for (const auto &[entry, code] :
       {std::pair{Make(1, 2, "x"), kBadFormat}, std::pair{Make(2, 1, "x"), kBadFormat},
        std::pair{Make(0, 3, "x"), kBadFormat}, std::pair{Make(7, 0, "x"), kNotImplemented},
        std::pair{Make(2, 9, "x"), kBadFormat}}) {
    Writable dictionary;
    ASSERT_EQ(Add(dictionary, u"k", {entry}), 0u);
    Sink sink;
    EXPECT_EQ(edct_DctWriteStream(dictionary, Sink::Write, 0, &sink), code);
    EXPECT_TRUE(sink.blocks.empty());               // nothing half written is handed over
    EXPECT_EQ(Add(dictionary, u"j", {entry}), 0u);  // the iterator was closed
  }
}

// A dictionary of every kind with keys and strings that survive a write and a read: no
// blanks at their ends, no tabs, line ends or NULs, no empty data, no missing attributes.
class RoundTrip : public ::testing::Test {
 protected:
  void SetUp() override {
    const unsigned seed = std::random_device{}();
    std::printf("round trip seed %u\n", seed);
    random_.seed(seed);
    SCOPED_TRACE(seed);
    const EDCT_INFO info{u"N\u00e4me \"x\"", u"d = \\", 0, 0};
    ASSERT_EQ(edct_DctSetInfo(dictionary_, &info), 0u);
    // Attributes carry over from section to section in a stream, so every one is given.
    const std::string models[] = {edct_test::ModelBlock("model"),
                                  edct_test::ModelBlock("m\xC3\xA9")};
    for (int i = 0; i < 3000; ++i) {
      Entry entry;
      entry.language = i % 3 ? "en" : "fr";
      entry.engine = i % 5 == 0 ? "\xC3\xA9ngine" : "e";
      entry.model = models[i % 7 == 0].c_str();
      entry.content = i % 4 == 3 ? 2 : i % 4;
      entry.representation = entry.content == 0 ? 0 : entry.content == 1 ? 1 : i % 8 == 3 ? 2 : 3;
      entry.data = Data(entry.content, entry.representation);
      ASSERT_EQ(Add(dictionary_, Text(1 + random_() % 12), {entry}), 0u);
    }
  }

  std::u16string Text(size_t length) {
    static const char16_t kAlphabet[] = u"abcxyz\u00e9\u00e8\u00fc\u20ac\u0153 \"\\/=[]";
    std::u16string text;
    while (text.size() < length) {
      const char16_t unit = kAlphabet[random_() % (std::size(kAlphabet) - 1)];
      if (unit == ' ' && (text.empty() || text.size() + 1 == length)) continue;
      text += unit;
    }
    return text;
  }

  std::string Data(uint32_t content, uint32_t representation) {
    std::string data;
    if (content == 1) {
      for (size_t n = 1 + random_() % 40; n--;)
        data += static_cast<char>(random_());
    } else if (content == 0) {
      for (size_t n = 1 + random_() % 3; n--;) {
        std::string piece = Utf8(Text(1 + random_() % 6));
        std::replace(piece.begin(), piece.end(), '/', 'q');
        data += piece + '\0';
      }
      data += '\0';
    } else if (representation == 2) {
      data = Utf8(Text(1 + random_() % 20)) + '\0';
    } else {
      const std::u16string wide = Text(1 + random_() % 20);
      data.assign(reinterpret_cast<const char *>(wide.c_str()), (wide.size() + 1) * 2);
    }
    return data;
  }

  static std::vector<std::string> Sorted(std::vector<std::string> lines) {
    std::sort(lines.begin(), lines.end());
    return lines;
  }

  std::mt19937 random_;
  Writable dictionary_;
};

TEST_F(RoundTrip, WrittenInBlocksAndReadBack) {
  // The reader adds a key's lines in the order written, so each key's entries come back
  // in reverse order: compare sorted.
  const auto expected = Sorted(Dump(dictionary_));
  for (const uint32_t format : {EDCT_FORMAT_UTF8, kLittleEndianHost ? 1u : 2u}) {
    Sink sink;
    ASSERT_EQ(edct_DctWriteStream(dictionary_, Sink::Write, format, &sink), 0u);
    ASSERT_GT(sink.blocks.size(), 10u);
    for (size_t i = 0; i + 1 < sink.blocks.size(); ++i)
      ASSERT_EQ(sink.blocks[i], 1024u);
    EXPECT_GE(sink.blocks.back(), 1u);
    EXPECT_LE(sink.blocks.back(), 1024u);
    for (const std::vector<uint32_t> &splits : {std::vector<uint32_t>{1024}, {7, 1, 1000}}) {
      Writable back;
      ASSERT_EQ(Read(back, sink.bytes, format, splits), 0u);
      EXPECT_EQ(Sorted(Dump(back)), expected) << format;
      EXPECT_EQ(GetInfo(back).name, GetInfo(dictionary_).name);
      EXPECT_EQ(GetInfo(back).description, "d = \\");
      EXPECT_EQ(GetInfo(back).entries, GetInfo(dictionary_).entries);
    }
  }
}

TEST_F(RoundTrip, FailingCallback) {
  // A WriteStream callback that fails on its second block.
  Sink failing;
  failing.failAt = 2;
  failing.failValue = 9;
  EXPECT_EQ(edct_DctWriteStream(dictionary_, Sink::Write, 0, &failing), kWriteFailed);
  EXPECT_EQ(failing.blocks.size(), 2u);
  uint32_t callbackError = 0;
  EXPECT_EQ(edct_DctGetCallbackError(dictionary_, &callbackError), 0u);
  EXPECT_EQ(callbackError, 9u);
}

TEST(StreamWriter, OutOfMemoryLeavesNoLeak) {
  Writable dictionary;
  BuildWorkedExample(dictionary);
  const std::u16string wide = u"a \"\u00e9\"";
  ASSERT_EQ(
      Add(dictionary, u"k \\",
          {Make(2, 3,
                std::string(reinterpret_cast<const char *>(wide.c_str()), (wide.size() + 1) * 2)),
           Make(2, 2, std::string("x \u00e9\"", 6)), Make(0, 0, std::string("\xC3\xA9\0b\0\0", 6)),
           Make(1, 1, std::string(40, 'u'))}),
      0u);
  sctest::AllocationFailureGuard guard;
  const auto before = Dump(dictionary);
  for (const uint32_t format : {EDCT_FORMAT_UTF8, kLittleEndianHost ? 1u : 2u}) {
    const std::string whole = Write(dictionary, format);
    edct_test::FailEachAllocation(
        [&] {
          Sink sink;
          const uint32_t result = edct_DctWriteStream(dictionary, Sink::Write, format, &sink);
          if (!result) {
            EXPECT_EQ(sink.bytes, whole);
          }
          return result;
        },
        [&] { EXPECT_EQ(Dump(dictionary), before); }, edct_test::kAnyOutOfMemory);
  }
}

TEST(StreamWriter, ReadOnlyViewsAndOpenIterators) {
  Writable dictionary;
  BuildWorkedExample(dictionary);
  SafeHandle iterator;
  ASSERT_EQ(edct_DctItOpen(g_vqNullHandle, dictionary, &iterator), 0u);
  EXPECT_EQ(Write(dictionary), kWorkedExample);
  EXPECT_EQ(edct_DctItClose(iterator), 0u);
  const edct_test::Image image = edct_test::Archive(dictionary);
  SafeHandle view;
  ASSERT_EQ(edct_test::Open(image.data(), EDCT_OPEN_READONLY, &view), 0u);
  EXPECT_EQ(Write(view), kWorkedExample);
  EXPECT_EQ(edct_DctClose(view), 0u);
}

// ---- Trace lines ---------------------------------------------------------------------------

class StreamTrace : public DbgTest {
 protected:
  void Start(const char *submodules, const char *info) {
    Set("VQ_MODULES", "EDCTSPI");
    Set("VQ_SUBMODULES", submodules);
    StartLogging("FUNC", info);
  }
  static std::string Line(const char *level, const char *function, const char *text) {
    char line[256];
    std::snprintf(line, sizeof line, "Lv:%4s    EDCTSPI    DctStrm Fn:%20s %s\n", level, function,
                  text);
    return line;
  }
  static std::string Lines(std::initializer_list<const char *> marks) {
    std::string text;
    for (const char *mark : marks)
      text += Line("Func", mark + 2, mark[0] == '>' ? "> " : "< ");
    return text;
  }
};

TEST_F(StreamTrace, ReaderEntryExitAndFailure) {
  Start("DctStrm", "LEVEL MODULE SUBMOD FUNC");
  Writable dictionary;
  ASSERT_EQ(stream_test::Read(dictionary, "[Header]\n"), 0u);
  const std::string success =
      Lines({"> DctStream_Input", "> Input_Initialize", "< Input_Initialize", "> Input_Finalize",
             "< Input_Finalize", "< DctStream_Input"});
  EXPECT_EQ(Read(Log()), success);
  ASSERT_EQ(stream_test::Read(dictionary, "[Header"), kBadFormat);
  EXPECT_EQ(Read(Log()), success +
                             Lines({"> DctStream_Input", "> Input_Initialize", "< Input_Initialize",
                                    "> Input_Finalize", "< Input_Finalize"}) +
                             Line("Err", "DctStream_Input", "-2145517565") +
                             Lines({"< DctStream_Input"}));
}

TEST_F(StreamTrace, WriterItemsAndTheSourceUnit) {
  Start("full", "FUNC FILE");
  Writable dictionary;
  ASSERT_EQ(stream_test::Write(dictionary), "[Header]\r\n");
  const std::string log = Read(Log());
  std::vector<std::string> functions;
  for (size_t at = 0; (at = log.find("Fn:", at)) != std::string::npos; ++at) {
    const size_t start = log.find_first_not_of(' ', at + 3);
    functions.push_back(log.substr(start, log.find(' ', start) - start) + " " +
                        log.substr(log.find('\n', at) - 2, 1));
  }
  EXPECT_EQ(functions, (std::vector<std::string>{
                           "DctStream_Output >", "WritewItem >", "WriteItemToUTF8 >",
                           "WriteItemToUTF8 <", "WritewItem <", "WritesItem >", "WriteItemToUTF8 >",
                           "WriteItemToUTF8 <", "WritesItem <", "DctStream_Output <"}));
  EXPECT_NE(log.find(" core/edctspi/dctstrm/src/stream > \n"), std::string::npos) << log;
  // One entry: its key quoted, its data handled, a section written.
  BuildWorkedExample(dictionary);
  ASSERT_EQ(stream_test::Write(dictionary), kWorkedExample);
  const std::string more = Read(Log()).substr(log.size());
  const auto count = [&](const std::string &what) {
    size_t n = 0;
    for (size_t at = 0; (at = more.find(what, at)) != std::string::npos; ++at)
      ++n;
    return n;
  };
  EXPECT_EQ(count("HandleOutputwQuotedString "), 4u);
  EXPECT_EQ(count("HandleOrthographicOutput "), 4u);
  EXPECT_EQ(count("HandleOutputsQuotedString "), 4u);
  EXPECT_EQ(count("WriteSubHeader "), 2u);
}

TEST_F(StreamTrace, SilentUnlessTheSubmoduleIsActive) {
  Start(nullptr, nullptr);
  Writable dictionary;
  ASSERT_EQ(stream_test::Read(dictionary, kWorkedExample), 0u);
  ASSERT_EQ(stream_test::Write(dictionary), kWorkedExample);
  EXPECT_EQ(Read(Log()), "");
}

}  // namespace
