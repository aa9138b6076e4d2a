// The text stream reader through edct_DctReadStream, and its tokenizer directly.
#include <gtest/gtest.h>

#include "core/edctspi/dctstrm/src/stream_common.h"
#include "core/edctspi/dctstrm/src/stream_input.h"
#include "edct/stream_test_util.h"
#include "test_util.h"

namespace {

using edct_test::Lookup;
using edct_test::Writable;
using namespace stream_test;
using Data = std::vector<std::string>;

std::string Section(const std::string &content, const std::string &representation,
                    const std::string &lines) {
  return "[Header]\n[SubHeader]\nContent = EDCT_CONTENT_" + content +
         "\nRepresentation = EDCT_REPR_" + representation + "\n[Data]\n" + lines;
}

std::string Sz(const std::string &text) {
  return text + '\0';
}

TEST(StreamReader, WorkedExampleInEveryEncodingAndSplit) {
  const std::pair<std::string, uint32_t> streams[] = {
      {kWorkedExample, EDCT_FORMAT_UTF8},
      {Utf16(Widen(kWorkedExample), false), EDCT_FORMAT_UCS2LE},
      {Utf16(Widen(kWorkedExample), true), EDCT_FORMAT_UCS2BE}};
  std::vector<std::string> first;
  for (const auto &[bytes, format] : streams) {
    for (const std::vector<uint32_t> &splits : {std::vector<uint32_t>{1024}, {1}, {5, 1, 7}}) {
      Writable dictionary;
      ASSERT_EQ(Read(dictionary, bytes, format, splits), 0u) << format << " " << splits[0];
      EXPECT_EQ(Info(dictionary), "Demo|Test|2");
      EXPECT_EQ(Lookup(dictionary, u"hello"), Data{Sz("hello world")});
      EXPECT_EQ(Lookup(dictionary, u"hi"), Data{Sz("hi")});
      if (first.empty()) first = Dump(dictionary);
      EXPECT_EQ(Dump(dictionary), first);
    }
  }
  EXPECT_EQ(first[0].substr(0, 22), "hello 2/2/ffffffff en ");
}

TEST(StreamReader, MalformedStreamsKeepWhatCameBefore) {
  const std::string fine = "good\t//g\n";
  const struct {
    std::string bytes;
    uint32_t format, code, kept;
  } cases[] = {
      {"[Header]\n", 0, 0, 0},
      {"\n  \r\n\t[Header] \r\n\n", 0, 0, 0},  // blank lines do not count
      {"[Header]", 0, kBadFormat, 0},
      {"", 0, kBadFormat, 0},
      {"\xEF\xBB\xBF[Header]\n", 0, kBadFormat, 0},  // a UTF-8 mark is part of the first line
      {"[header]\n", 0, kBadFormat, 0},
      {"[Data]\n[Header]\n", 0, kBadFormat, 0},
      {Utf16(u"[Header]\n", false), EDCT_FORMAT_UCS2BE, kBadFormat, 0},
      {Utf16(u"[Header]\n", true), EDCT_FORMAT_UCS2LE, kBadFormat, 0},
      {Utf16(u"[Header]\n", false).substr(2), EDCT_FORMAT_UCS2LE, kBadFormat, 0},
      {"\xFF", EDCT_FORMAT_UCS2LE, kBadFormat, 0},
      {"[Header]\nname = x\n", 0, kBadFormat, 0},
      {"[Header]\nName = cut", 0, kBadFormat, 0},
      {"[Header]\nName\n", 0, kBadFormat, 0},
      {"[Header]\nContent = EDCT_CONTENT_ANY\n", 0, kBadFormat, 0},
      {"[Header]\nRepresentation = EDCT_REPR_sz_STRING\n", 0, kBadFormat, 0},
      {"[Header]\n[Data]\nk\tv\n", 0, kBadFormat, 0},
      {"[Header]\nContent = EDCT_CONTENT_ORTHOGRAPHIC\n[Data]\nk\tv\n", 0, kBadFormat, 0},
      {"[Header]\n[SubHeader]\nLanguage = en\n[SubHeader]\n", 0, kBadFormat, 0},
      {"[Header]\n[SubHeader]\nLanguage = en\n", 0, kBadFormat, 0},
      {"[Header]\nModel = " + std::string(129, 'm') + "\n", 0, edct_test::kNoMemory, 0},
      {"[Header]\nModel = " + std::string(126, 'm') + "\xC3\xA9\xC3\xA9\n", 0, edct_test::kNoMemory,
       0},
      {Section("BROAD_NARROWS", "SZZ_STRING", fine + "bad\tone//two\nk\t//x\n"), 0, kBadFormat, 1},
      {Section("USERWORDS", "BINARY", "good\t01\nbad\t0G\nk\t00\n"), 0, kBadFormat, 1},
      {Section("USERWORDS", "BINARY", "good\t01\nbad\t0A\t0B\n"), 0, kBadFormat, 1},
      {Section("USERWORDS", "SZ_STRING", "bad\t00\n"), 0, kBadFormat, 0},
      {Section("ORTHOGRAPHIC", "BINARY", "bad\tx\n"), 0, kBadFormat, 0},
      {Section("BROAD_NARROWS", "WSZ_STRING", "bad\t//x\n"), 0, kBadFormat, 0},
  };
  for (const auto &c : cases) {
    Writable dictionary;
    EXPECT_EQ(Read(dictionary, c.bytes, c.format), c.code) << c.bytes;
    EXPECT_EQ(Info(dictionary), "(none)|(none)|" + std::to_string(c.kept)) << c.bytes;
  }
}

TEST(StreamReader, SectionKeysAndTheirValues) {
  Writable dictionary;
  ASSERT_EQ(Read(dictionary,
                 "[Header]\nName = a = b\nDescription=\n\n   the  text \n"
                 "Name = second\nNbrSubDct = 4\nPOS = 12\n[SubHeader]\n"
                 "Language = en\nEngine = e1\nModel = " +
                     std::string(128, 'm') +
                     "\nContent = EDCT_CONTENT_ORTHOGRAPHIC\nRepresentation = "
                     "EDCT_REPR_SZ_STRING\n[Data]\nk\tfirst\n[SubHeader]\n"
                     "Engine = e2\nModel=ab\n[Data]\nk\tsecond\nlast\tno line feed"),
            0u);
  EXPECT_EQ(Info(dictionary), "a = b|the  text|3");
  // A section changes only the attributes it names.
  const auto dump = Dump(dictionary);
  ASSERT_EQ(dump.size(), 3u);
  EXPECT_EQ(dump[0], "k 2/2/ffffffff en " + std::string(128, 'm') + " e1 " + Sz("first"));
  EXPECT_EQ(dump[1], "k 2/2/ffffffff en " + edct_test::ModelBlock("ab") + " e2 " + Sz("second"));
  EXPECT_EQ(Lookup(dictionary, u"last"), Data{Sz("no line feed")});

  // A Name already there stays; a Description that is not is taken.
  const EDCT_INFO mine{u"Mine", nullptr, 0, 0};
  ASSERT_EQ(edct_DctSetInfo(dictionary, &mine), 0u);
  ASSERT_EQ(Read(dictionary, "[Header]\nName=Theirs\nDescription=d\nDescription"), 0u);
  EXPECT_EQ(Info(dictionary), "Mine|d|3");

  // "[Data]" right after the header: one section, and a "[SubHeader]" line ends the read.
  // A key at the very end without data is dropped.
  for (const char *ending : {"[SubHeader]\nnever read\n", "alone", "alone\t", "alone\n\n \n"}) {
    Writable direct;
    EXPECT_EQ(Read(direct,
                   "[Header]\nContent = EDCT_CONTENT_ORTHOGRAPHIC\nRepresentation = "
                   "EDCT_REPR_SZ_STRING\n[Data]\na\t1\n" +
                       std::string(ending)),
              0u);
    EXPECT_EQ(Info(direct), "(none)|(none)|1") << ending;
  }
}

TEST(StreamReader, EntryKeysQuotesAndDataForms) {
  Writable dictionary;
  ASSERT_EQ(Read(dictionary,
                 Section("ORTHOGRAPHIC", "SZ_STRING",
                         "\"a b\"\tone\na\\\"b two\nplain three four\n"
                         "tab\t\"  padded value  \"  \nq\t\"say \\\"hi\\\"\"\ncr\t\"x\ry\"\r\n"
                         "  spaced\t\t  five\r\n\"\" y\"\tsix\nbs\\ seven\n") +
                     "[SubHeader]\nContent = EDCT_CONTENT_BROAD_NARROWS\n"
                     "Representation = EDCT_REPR_SZZ_STRING\n[Data]\n"
                     "three\t//one//two//three\nempty\t//\ntrailing //a//\nslashes\t///x\n"
                     "[SubHeader]\nContent = EDCT_CONTENT_USERWORDS\n"
                     "Representation = EDCT_REPR_BINARY\n[Data]\n"
                     "four\t0A 1b ff \\\n\n   00\nodd\t0A1\ngaps\t  0a0B   0c\nnone\t1\n"
                     "[SubHeader]\nRepresentation = EDCT_REPR_WSZ_STRING\n"
                     "Content = EDCT_CONTENT_ORTHOGRAPHIC\n[Data]\nwide\tab c\n"
                     "empty\n\n  next line  \n"),
            0u);
  const std::pair<std::u16string, Data> expected[] = {
      {u"a b", {Sz("one")}},
      {u"a\"b", {Sz("two")}},
      {u"plain", {Sz("three four")}},
      {u"tab", {Sz("padded value")}},  // quotes do not protect blanks at the ends
      {u"q", {Sz("say \"hi\"")}},
      {u"cr", {Sz("xy")}},
      {u"spaced", {Sz("five")}},
      {u"\" y", {Sz("six")}},  // the character after a quote switch is never a switch
      {u"bs", {Sz("seven")}},  // an escaped blank outside quotes still ends the key
      {u"three", {std::string("one\0two\0three\0\0", 15)}},
      {u"trailing", {std::string("a\0\0\0", 4)}},
      {u"slashes", {std::string("/x\0\0", 4)}},
      {u"four", {std::string("\x0A\x1B\xFF\x00", 4)}},
      {u"odd", {"\x0A"}},
      {u"gaps", {"\x0A\x0B\x0C"}},
      {u"none", {""}},
      {u"wide", {Bytes(u"ab c")}},
      // An empty data token takes the next non-empty line.
      {u"empty", {std::string("\0\0", 2), Bytes(u"next line")}},
  };
  for (const auto &[key, data] : expected)
    EXPECT_EQ(Lookup(dictionary, key), data) << Narrow(key.c_str());
}

uint32_t CountingNotify(SafeHandle, uint32_t action, const char16_t *, const EDCT_ENTRY *,
                        void *user) {
  static_cast<std::vector<uint32_t> *>(user)->push_back(action);
  return 0;
}

TEST(StreamReader, CallbacksAndRefusals) {
  std::vector<uint32_t> actions;
  Writable dictionary(CountingNotify, &actions);
  Source source{Section("ORTHOGRAPHIC", "SZ_STRING", "a\t1\nb\t2\na\t3\n") +
                std::string(3000, '\n') + "c\t3\n"};
  EXPECT_EQ(edct_DctReadStream(dictionary, nullptr, 0, &source), edct_test::kNullPointer);
  EXPECT_EQ(edct_DctReadStream(dictionary, Source::Read, 3, &source), kBadFormat);
  EXPECT_EQ(source.calls, 0);
  // The third delivery fails: what the first two brought stays, each entry notified.
  source.failAt = 3;
  source.failValue = 77;
  EXPECT_EQ(edct_DctReadStream(dictionary, Source::Read, 0, &source), 0x801E0002u);
  uint32_t callbackError = 0;
  EXPECT_EQ(edct_DctGetCallbackError(dictionary, &callbackError), 0u);
  EXPECT_EQ(callbackError, 77u);
  EXPECT_EQ(actions,
            (std::vector<uint32_t>{EDCT_NOTIFY_NEWKEY, EDCT_NOTIFY_NEWKEY, EDCT_NOTIFY_ADDED}));
  // After the end the callback is asked again; a good read leaves 0 in the slot.
  Source fine{"[Header]\n"};
  EXPECT_EQ(edct_DctReadStream(dictionary, Source::Read, 0, &fine), 0u);
  EXPECT_EQ(fine.calls, 3);
  EXPECT_EQ(edct_DctGetCallbackError(dictionary, &callbackError), 0u);
  EXPECT_EQ(callbackError, 0u);

  SafeHandle iterator;
  ASSERT_EQ(edct_DctItOpen(g_vqNullHandle, dictionary, &iterator), 0u);
  EXPECT_EQ(Read(dictionary, "[Header]\n"), 0x801E000Eu);
  EXPECT_EQ(edct_DctItClose(iterator), 0u);
  const edct_test::Image image = edct_test::Archive(dictionary);
  SafeHandle view;
  ASSERT_EQ(edct_test::Open(image.data(), EDCT_OPEN_READONLY, &view), 0u);
  EXPECT_EQ(Read(view, "[Header]\n"), edct_test::kReadOnly);
  EXPECT_EQ(edct_DctClose(view), 0u);
  // A stream of odd length: the half unit at the end is dropped.
  Writable odd;
  EXPECT_EQ(Read(odd, Utf16(Widen(Section("ORTHOGRAPHIC", "SZ_STRING", "k\tv")), false) + "x",
                 EDCT_FORMAT_UCS2LE, {3}),
            0u);
  EXPECT_EQ(Lookup(odd, u"k"), Data{Sz("v")});
}

TEST(StreamReader, OutOfMemoryLeavesNoLeakAndKeepsEarlierEntries) {
  sctest::AllocationFailureGuard guard;
  const std::string stream =
      "[Header]\nName = N\n[SubHeader]\nLanguage = en\nModel = m\nEngine = e\n"
      "Content = EDCT_CONTENT_BROAD_NARROWS\nRepresentation = EDCT_REPR_SZZ_STRING\n[Data]\n" +
      std::string(150, 'k') + "\t//" + std::string(150, 'x') + "//y\n" +
      Section("USERWORDS", "BINARY", "u\t" + std::string(300, '0') + "\n").substr(9) +
      Section("ORTHOGRAPHIC", "WSZ_STRING", "w\t\"" + std::string(250, 'w') + "\"\n").substr(9);
  Writable reference;
  ASSERT_EQ(Read(reference, stream), 0u);
  const auto complete = Dump(reference);
  ASSERT_EQ(complete.size(), 3u);
  for (uint64_t nth = 1;; ++nth) {
    ASSERT_LT(nth, 500u);
    const int64_t live = sc::testing::LiveBlocks();
    SafeHandle dictionary;
    ASSERT_EQ(edct_test::Open(nullptr, EDCT_OPEN_WRITABLE, &dictionary), 0u);
    sc::testing::FailNthAllocation(nth);
    const uint32_t result = Read(dictionary, stream);
    const bool failed = sc::testing::AllocationFailed();
    sc::testing::FailNthAllocation(0);
    const auto dump = Dump(dictionary);
    // What was added before the failure is a leading part of the whole, without the Name.
    EXPECT_EQ(result, failed ? edct_test::kNoMemory : 0u) << nth;
    EXPECT_EQ(Info(dictionary).substr(0, 2), failed ? "(n" : "N|");
    ASSERT_LE(dump.size(), complete.size());
    EXPECT_TRUE(std::equal(dump.begin(), dump.end(), complete.begin())) << nth;
    EXPECT_EQ(edct_DctClose(dictionary), 0u);
    EXPECT_EQ(sc::testing::LiveBlocks(), live) << nth;
    if (!failed) break;
  }
}

TEST(StreamTokenizer, TerminatorsQuotesNulsAndTheEnd) {
  using namespace sc::edct::stream;
  Resource *resource = nullptr;
  ASSERT_EQ(InitRsrcFunction(g_vqNullHandle, &resource), 0u);
  const auto tokens = [&](const std::string &bytes, uint32_t format,
                          std::vector<std::pair<uint32_t, bool>> reads) {
    Source source{bytes, {2}};
    InputContext input{};
    uint32_t error = 0;
    std::string out;
    EXPECT_EQ(Input_Open(&input, resource, Source::Read, format, &source, &error), 0u);
    for (const auto &[terminators, quote] : reads) {
      std::u16string_view token;
      const VQRESULT status = ReadwItem(&input, terminators, quote, &token);
      out += Utf8(std::u16string(token)) + (status == kEndOfStream ? "$" : "|");
    }
    Input_Release(&input);
    return out;
  };
  const uint32_t line = kEndsAtLineFeed, key = kEndsAtEquals | kEndsAtLineFeed,
                 word = kEndsAtBlank | kEndsAtLineFeed;
  EXPECT_EQ(tokens("key = v = w\nnext\n\n\n  \"q\n\"a \\\" b\" c\n\"\n\t open \n end", 0,
                   {{key, false},
                    {line, false},
                    {word, false},
                    {word, false},
                    {line, true},
                    {line, true},
                    {line, true}}),
            "key|v = w|next|\"q|a \" b c|open \n end$$");
  // A NUL ends the string it stands in, in either encoding.
  EXPECT_EQ(tokens(std::string("ab\0cd\nx", 7), 0, {{line, false}, {line, false}}), "ab|x$");
  EXPECT_EQ(tokens(Utf16(std::u16string(u"\u00e9b\0cd e", 7), true), EDCT_FORMAT_UCS2BE,
                   {{word, false}, {word, false}}),
            "\xC3\xA9"
            "b|e$");
}

}  // namespace
