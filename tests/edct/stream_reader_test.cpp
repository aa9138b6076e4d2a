// The text stream reader through edct_DctReadStream, and its tokenizer directly.
#include <gtest/gtest.h>

#include <random>

#include "core/edctspi/dctstrm/src/stream_common.h"
#include "core/edctspi/dctstrm/src/stream_input.h"
#include "edct/stream_test_util.h"
#include "test_util.h"

namespace {

using edct_test::Lookup;
using edct_test::Writable;
using namespace stream_test;

// One orthographic SZ section around the given entry lines.
std::string Orthographic(const std::string &lines) {
  return "[Header]\n[SubHeader]\nContent = EDCT_CONTENT_ORTHOGRAPHIC\n"
         "Representation = EDCT_REPR_SZ_STRING\n[Data]\n" +
         lines;
}

std::string Section(const char *content, const char *representation, const std::string &lines) {
  return std::string("[Header]\n[SubHeader]\nContent = ") + content +
         "\nRepresentation = " + representation + "\n[Data]\n" + lines;
}

std::string Sz(const std::string &text) {
  return text + std::string(1, '\0');
}

TEST(StreamReader, WorkedExampleInEveryEncodingAndSplit) {
  const std::u16string wide = Widen(kWorkedExample);
  const struct {
    std::string bytes;
    uint32_t format;
  } streams[] = {{kWorkedExample, EDCT_FORMAT_UTF8},
                 {Utf16(wide, false), EDCT_FORMAT_UCS2LE},
                 {Utf16(wide, true), EDCT_FORMAT_UCS2BE}};
  const std::vector<std::vector<uint32_t>> splits = {{1024}, {1}, {3}, {5, 1, 7}, {1023, 2}};
  std::vector<std::string> first;
  for (const auto &stream : streams) {
    for (const auto &split : splits) {
      SCOPED_TRACE(testing::Message() << "format " << stream.format << " split " << split[0]);
      Writable dictionary;
      ASSERT_EQ(Read(dictionary, stream.bytes, stream.format, split), 0u);
      const Info info = GetInfo(dictionary);
      EXPECT_EQ(info.name, "Demo");
      EXPECT_EQ(info.description, "Test");
      EXPECT_EQ(info.keys, 2u);
      EXPECT_EQ(info.entries, 2u);
      EXPECT_EQ(Lookup(dictionary, u"hello"), std::vector<std::string>{Sz("hello world")});
      EXPECT_EQ(Lookup(dictionary, u"hi"), std::vector<std::string>{Sz("hi")});
      const auto dump = Dump(dictionary);
      ASSERT_EQ(dump.size(), 2u);
      EXPECT_NE(dump[0].find("hello 2/2/ffffffff L=en M=- E=-"), std::string::npos) << dump[0];
      if (first.empty()) first = dump;
      EXPECT_EQ(dump, first);
    }
  }
}

TEST(StreamReader, UnitsAndSequencesSplitAcrossDeliveries) {
  // An accented key and data in every encoding, delivered one byte per call: UTF-8 sequences
  // and 16-bit units are cut in two between calls.
  const std::u16string text =
      u"[Header]\nName = Caf\u00e9\n[SubHeader]\nLanguage = fran\u00e7ais\n"
      u"Content = EDCT_CONTENT_ORTHOGRAPHIC\nRepresentation = EDCT_REPR_WSZ_STRING\n[Data]\n"
      u"\u00e9t\u00e9\t\u20ac \u00e0 l'\u0153il\n";
  const std::string utf8 = Utf8(text);
  for (const auto &[bytes, format] :
       {std::pair{utf8, EDCT_FORMAT_UTF8}, std::pair{Utf16(text, false), EDCT_FORMAT_UCS2LE},
        std::pair{Utf16(text, true), EDCT_FORMAT_UCS2BE}}) {
    Writable dictionary;
    ASSERT_EQ(Read(dictionary, bytes, format, {1}), 0u) << format;
    EXPECT_EQ(GetInfo(dictionary).name, "Caf<00e9>");
    const std::u16string data = u"\u20ac \u00e0 l'\u0153il";
    const std::string expected(reinterpret_cast<const char *>(data.c_str()), (data.size() + 1) * 2);
    EXPECT_EQ(Lookup(dictionary, u"\u00e9t\u00e9"), std::vector<std::string>{expected}) << format;
    const auto dump = Dump(dictionary);
    ASSERT_EQ(dump.size(), 1u);
    EXPECT_NE(dump[0].find("L=fran\xC3\xA7"
                           "ais"),
              std::string::npos)
        << dump[0];
  }
}

TEST(StreamReader, SmallestStreamsAndByteOrderMarks) {
  Writable dictionary;
  EXPECT_EQ(Read(dictionary, "[Header]\n"), 0u);
  EXPECT_EQ(Read(dictionary, "\n  \r\n\t[Header] \r\n\n"), 0u);  // blank lines do not count
  EXPECT_EQ(GetInfo(dictionary).keys, 0u);
  EXPECT_EQ(GetInfo(dictionary).name, "(none)");
  for (const std::string &bad :
       {std::string("[Header]"), std::string(), std::string("\xEF\xBB\xBF[Header]\n"),
        std::string("[header]\n"), std::string("[Data]\n[Header]\n")})
    EXPECT_EQ(Read(dictionary, bad), kBadFormat) << bad;
  // 16-bit streams need their mark, in the order the format names.
  EXPECT_EQ(Read(dictionary, Utf16(u"[Header]\n", false), EDCT_FORMAT_UCS2LE), 0u);
  EXPECT_EQ(Read(dictionary, Utf16(u"[Header]\n", true), EDCT_FORMAT_UCS2BE), 0u);
  EXPECT_EQ(Read(dictionary, Utf16(u"[Header]\n", false), EDCT_FORMAT_UCS2BE), kBadFormat);
  EXPECT_EQ(Read(dictionary, Utf16(u"[Header]\n", true), EDCT_FORMAT_UCS2LE), kBadFormat);
  EXPECT_EQ(Read(dictionary, Utf16(u"[Header]\n", false).substr(2), EDCT_FORMAT_UCS2LE),
            kBadFormat);
  EXPECT_EQ(Read(dictionary, "\xFF", EDCT_FORMAT_UCS2LE), kBadFormat);
  // A stream of odd length: the half unit at the end is dropped, so the last line still
  // counts as ended by the stream.
  Writable odd;
  EXPECT_EQ(Read(odd, Utf16(Widen(Orthographic("k\tv")), false) + "x", EDCT_FORMAT_UCS2LE, {3}),
            0u);
  EXPECT_EQ(Lookup(odd, u"k"), std::vector<std::string>{Sz("v")});
}

TEST(StreamReader, SectionKeyLines) {
  Writable dictionary;
  ASSERT_EQ(Read(dictionary,
                 "[Header]\nName = a = b\nDescription=\n\n   the  text \n"
                 "Name = second\nNbrSubDct = 4\nPOS = 12\n"),
            0u);
  EXPECT_EQ(GetInfo(dictionary).name, "a = b");
  EXPECT_EQ(GetInfo(dictionary).description, "the  text");
  // A dictionary that has a Name keeps it; the Description it lacks is taken.
  Writable named;
  const char16_t name[] = u"Mine";
  const EDCT_INFO info{name, nullptr, 0, 0};
  ASSERT_EQ(edct_DctSetInfo(named, &info), 0u);
  ASSERT_EQ(Read(named, "[Header]\nName=Theirs\nDescription=d\n"), 0u);
  EXPECT_EQ(GetInfo(named).name, "Mine");
  EXPECT_EQ(GetInfo(named).description, "d");

  for (const char *bad :
       {"[Header]\nname = x\n", "[Header]\nColour = red\n", "[Header]\nName = cut",
        "[Header]\nName\n", "[Header]\nContent = EDCT_CONTENT_ANY\n",
        "[Header]\nRepresentation = EDCT_REPR_sz_STRING\n"}) {
    Writable fresh;
    EXPECT_EQ(Read(fresh, bad), kBadFormat) << bad;
    // The Name is set only when the whole stream was read.
    EXPECT_EQ(GetInfo(fresh).name, "(none)") << bad;
  }
  // A key running into the end of the stream is no key line at all.
  Writable trailing;
  EXPECT_EQ(Read(trailing, "[Header]\nName = x\nDescription"), 0u);
  EXPECT_EQ(GetInfo(trailing).name, "x");
}

TEST(StreamReader, ModelBlocksUpTo128Bytes) {
  const std::string fits(128, 'm');
  Writable dictionary;
  ASSERT_EQ(Read(dictionary, "[Header]\n[SubHeader]\nModel = " + fits +
                                 "\nContent = EDCT_CONTENT_ORTHOGRAPHIC\n"
                                 "Representation = EDCT_REPR_SZ_STRING\n[Data]\nk\tv\n"),
            0u);
  EDCT_ENTRY *entries = nullptr;
  uint32_t count = 0;
  ASSERT_EQ(edct_DctGetEntryData(dictionary, u"k", nullptr, &entries, &count), 0u);
  ASSERT_NE(entries[0].Model, nullptr);
  EXPECT_EQ(std::string(entries[0].Model, 128), fits);
  edct_DctFreeEntryData(dictionary, entries, count);
  // A short Model is its text, a NUL and spaces up to the 128 bytes.
  Writable shortModel;
  ASSERT_EQ(Read(shortModel,
                 "[Header]\n[SubHeader]\nModel = ab\nContent = "
                 "EDCT_CONTENT_ORTHOGRAPHIC\nRepresentation = EDCT_REPR_SZ_STRING\n"
                 "[Data]\nk\tv\n"),
            0u);
  EDCT_FILTER filter = edct_test::AnyFilter();
  const std::string block = edct_test::ModelBlock("ab");
  filter.Model = block.data();
  EXPECT_EQ(Lookup(shortModel, u"k", &filter).size(), 1u);
  // 129 bytes do not fit, nor do 2-byte characters that make 130.
  Writable tooLong;
  EXPECT_EQ(Read(tooLong, "[Header]\nModel = " + fits + "m\n"), edct_test::kNoMemory);
  EXPECT_EQ(Read(tooLong, "[Header]\nModel = " + std::string(126, 'm') + "\xC3\xA9\xC3\xA9\n"),
            edct_test::kNoMemory);
}

TEST(StreamReader, EntryKeysQuotesAndTrimming) {
  Writable dictionary;
  ASSERT_EQ(Read(dictionary, Orthographic("\"a b\"\tone\n"
                                          "a\\\"b two\n"
                                          "plain three four\n"
                                          "tab\t\"  padded value  \"  \n"
                                          "q\t\"say \\\"hi\\\"\"\n"
                                          "cr\t\"x\ry\"\r\n"
                                          "  spaced\t\t  five\r\n"
                                          "\"\" y\"\tsix\n"
                                          "bs\\ seven\n")),
            0u);
  EXPECT_EQ(Lookup(dictionary, u"a b"), std::vector<std::string>{Sz("one")});
  EXPECT_EQ(Lookup(dictionary, u"a\"b"), std::vector<std::string>{Sz("two")});
  EXPECT_EQ(Lookup(dictionary, u"plain"), std::vector<std::string>{Sz("three four")});
  EXPECT_EQ(Lookup(dictionary, u"tab"), std::vector<std::string>{Sz("padded value")});
  EXPECT_EQ(Lookup(dictionary, u"q"), std::vector<std::string>{Sz("say \"hi\"")});
  EXPECT_EQ(Lookup(dictionary, u"cr"), std::vector<std::string>{Sz("xy")});
  EXPECT_EQ(Lookup(dictionary, u"spaced"), std::vector<std::string>{Sz("five")});
  // The character after a quote switch is taken as it comes, even a second quote.
  EXPECT_EQ(Lookup(dictionary, u"\" y"), std::vector<std::string>{Sz("six")});
  // An escaped blank outside quotes still ends the key.
  EXPECT_EQ(Lookup(dictionary, u"bs"), std::vector<std::string>{Sz("seven")});
  EXPECT_EQ(GetInfo(dictionary).keys, 9u);
}

TEST(StreamReader, DataLinesOfEveryContentKind) {
  Writable dictionary;
  ASSERT_EQ(Read(dictionary,
                 "[Header]\n[SubHeader]\nContent = EDCT_CONTENT_BROAD_NARROWS\n"
                 "Representation = EDCT_REPR_SZZ_STRING\n[Data]\n"
                 "three\t//one//two//three\nempty\t//\ntrailing //a//\nslashes\t///x\n"
                 "[SubHeader]\nContent = EDCT_CONTENT_USERWORDS\n"
                 "Representation = EDCT_REPR_BINARY\n[Data]\n"
                 "four\t0A 1b ff \\\n\n   00\nodd\t0A1\nspaced\t  0a0B   0c\nnone\t1\n"
                 "[SubHeader]\nContent = EDCT_CONTENT_ORTHOGRAPHIC\n"
                 "Representation = EDCT_REPR_WSZ_STRING\n[Data]\nwide\tab c\n"
                 "empty\n\n  next line  \n"),
            0u);
  EXPECT_EQ(Lookup(dictionary, u"three"),
            std::vector<std::string>{std::string("one\0two\0three\0\0", 15)});
  EXPECT_EQ(Lookup(dictionary, u"trailing"), std::vector<std::string>{std::string("a\0\0\0", 4)});
  EXPECT_EQ(Lookup(dictionary, u"slashes"), std::vector<std::string>{std::string("/x\0\0", 4)});
  EXPECT_EQ(Lookup(dictionary, u"four"),
            std::vector<std::string>{std::string("\x0A\x1B\xFF\x00", 4)});
  EXPECT_EQ(Lookup(dictionary, u"odd"), std::vector<std::string>{"\x0A"});
  EXPECT_EQ(Lookup(dictionary, u"spaced"), std::vector<std::string>{"\x0A\x0B\x0C"});
  EXPECT_EQ(Lookup(dictionary, u"none"), std::vector<std::string>{""});
  EXPECT_EQ(Lookup(dictionary, u"wide"),
            std::vector<std::string>{std::string("a\0b\0 \0c\0\0\0", 10)});
  // The key "empty" is in two SubDictionaries; an empty data token takes the next line.
  EXPECT_EQ(Lookup(dictionary, u"empty"),
            (std::vector<std::string>{std::string("\0\0", 2),
                                      std::string("n\0e\0x\0t\0 \0l\0i\0n\0e\0\0\0", 20)}));
}

TEST(StreamReader, MalformedDataKeepsWhatCameBefore) {
  const struct {
    const char *content, *representation, *lines;
    uint32_t kept;
  } cases[] = {
      {"EDCT_CONTENT_BROAD_NARROWS", "EDCT_REPR_SZZ_STRING", "good\t//g\nbad\tone//two\n", 1},
      {"EDCT_CONTENT_USERWORDS", "EDCT_REPR_BINARY", "good\t01\nbad\t0G\n", 1},
      {"EDCT_CONTENT_USERWORDS", "EDCT_REPR_BINARY", "good\t01\nbad\t0A\t0B\n", 1},
      {"EDCT_CONTENT_USERWORDS", "EDCT_REPR_SZ_STRING", "bad\t00\n", 0},
      {"EDCT_CONTENT_ORTHOGRAPHIC", "EDCT_REPR_BINARY", "bad\tx\n", 0},
      {"EDCT_CONTENT_BROAD_NARROWS", "EDCT_REPR_WSZ_STRING", "bad\t//x\n", 0},
  };
  for (const auto &c : cases) {
    Writable dictionary;
    EXPECT_EQ(Read(dictionary,
                   Section(c.content, c.representation, std::string(c.lines) + "after\t//x\n")),
              kBadFormat)
        << c.lines;
    EXPECT_EQ(GetInfo(dictionary).entries, c.kept) << c.lines;
    EXPECT_TRUE(Lookup(dictionary, u"bad").empty());
    EXPECT_TRUE(Lookup(dictionary, u"after").empty());
  }
  // Entries without Content or Representation, and sections out of order.
  for (const char *bad :
       {"[Header]\n[Data]\nk\tv\n", "[Header]\nContent = EDCT_CONTENT_ORTHOGRAPHIC\n[Data]\nk\tv\n",
        "[Header]\n[SubHeader]\nLanguage = en\n[SubHeader]\n",
        "[Header]\n[SubHeader]\nLanguage = en\n", "[Header]\n[SubHeader]\nName = x"}) {
    Writable dictionary;
    EXPECT_EQ(Read(dictionary, bad), kBadFormat) << bad;
  }
}

TEST(StreamReader, SectionsCarryAttributesAndEndsOfStream) {
  Writable dictionary;
  ASSERT_EQ(Read(dictionary,
                 "[Header]\n[SubHeader]\nLanguage = en\nEngine = e1\n"
                 "Content = EDCT_CONTENT_ORTHOGRAPHIC\n"
                 "Representation = EDCT_REPR_SZ_STRING\n[Data]\nk\tfirst\n"
                 "[SubHeader]\nEngine = e2\n[Data]\nk\tsecond\n"
                 "last\tno line feed"),
            0u);
  const auto dump = Dump(dictionary);
  ASSERT_EQ(dump.size(), 3u);
  EXPECT_NE(dump[0].find("k 2/2/ffffffff L=en M=- E=e1"), std::string::npos) << dump[0];
  EXPECT_NE(dump[1].find("k 2/2/ffffffff L=en M=- E=e2"), std::string::npos) << dump[1];
  EXPECT_EQ(Lookup(dictionary, u"last"), std::vector<std::string>{Sz("no line feed")});

  // "[Data]" right after the header: one section, and a "[SubHeader]" line ends the read.
  Writable direct;
  ASSERT_EQ(Read(direct,
                 "[Header]\nContent = EDCT_CONTENT_ORTHOGRAPHIC\n"
                 "Representation = EDCT_REPR_SZ_STRING\n[Data]\na\t1\n[SubHeader]\n"
                 "this is never read\n"),
            0u);
  EXPECT_EQ(GetInfo(direct).entries, 1u);

  // A key at the very end without data is dropped, also after blank lines.
  for (const char *ending : {"k\tv\nalone", "k\tv\nalone\t", "k\tv\nalone\n\n \n"}) {
    Writable ends;
    EXPECT_EQ(Read(ends, Orthographic(ending)), 0u) << ending;
    EXPECT_EQ(GetInfo(ends).entries, 1u) << ending;
  }
}

uint32_t CountingNotify(SafeHandle, uint32_t action, const char16_t *, const EDCT_ENTRY *,
                        void *user) {
  static_cast<std::vector<uint32_t> *>(user)->push_back(action);
  return 0;
}

TEST(StreamReader, AddsThroughTheDictionaryAndAddsToWhatIsThere) {
  std::vector<uint32_t> actions;
  Writable dictionary(CountingNotify, &actions);
  ASSERT_EQ(edct_test::Add(dictionary, u"k", "old"), 0u);
  ASSERT_EQ(Read(dictionary, Orthographic("k\tnew\nj\tx\nk\tnewer\n")), 0u);
  EXPECT_EQ(actions, (std::vector<uint32_t>{EDCT_NOTIFY_NEWKEY, EDCT_NOTIFY_ADDED,
                                            EDCT_NOTIFY_NEWKEY, EDCT_NOTIFY_ADDED}));
  // All three share one SubDictionary, newest first (the test's own entry has no NUL).
  EXPECT_EQ(Lookup(dictionary, u"k"), (std::vector<std::string>{Sz("newer"), Sz("new"), "old"}));
}

TEST(StreamReader, RefusalsAndFailingCallbacks) {
  Writable dictionary;
  Source source;
  source.bytes = Orthographic("a\t1\nb\t2\n") + std::string(3000, '\n') + "c\t3\n";
  EXPECT_EQ(edct_DctReadStream(dictionary, nullptr, EDCT_FORMAT_UTF8, &source),
            edct_test::kNullPointer);
  EXPECT_EQ(edct_DctReadStream(dictionary, Source::Read, 3, &source), kBadFormat);
  EXPECT_EQ(source.calls, 0);

  // A failure on the third delivery: what the first two brought stays.
  source.failAt = 3;
  source.failValue = 77;
  EXPECT_EQ(edct_DctReadStream(dictionary, Source::Read, EDCT_FORMAT_UTF8, &source), kReadFailed);
  uint32_t callbackError = 0;
  EXPECT_EQ(edct_DctGetCallbackError(dictionary, &callbackError), 0u);
  EXPECT_EQ(callbackError, 77u);
  EXPECT_EQ(GetInfo(dictionary).entries, 2u);
  // A read that succeeds leaves the last result, 0, and asks again after the end.
  Source fine;
  fine.bytes = "[Header]\n";
  EXPECT_EQ(edct_DctReadStream(dictionary, Source::Read, EDCT_FORMAT_UTF8, &fine), 0u);
  EXPECT_EQ(edct_DctGetCallbackError(dictionary, &callbackError), 0u);
  EXPECT_EQ(callbackError, 0u);
  EXPECT_GE(fine.afterEnd, 1);

  SafeHandle iterator;
  ASSERT_EQ(edct_DctItOpen(g_vqNullHandle, dictionary, &iterator), 0u);
  EXPECT_EQ(Read(dictionary, "[Header]\n"), kIteratorOpen);
  EXPECT_EQ(edct_DctItClose(iterator), 0u);

  const edct_test::Image image = edct_test::Archive(dictionary);
  SafeHandle view;
  ASSERT_EQ(edct_test::Open(image.data(), EDCT_OPEN_READONLY, &view), 0u);
  EXPECT_EQ(Read(view, "[Header]\n"), edct_test::kReadOnly);
  EXPECT_EQ(edct_DctClose(view), 0u);
  EXPECT_EQ(edct_DctReadStream(SafeHandle{}, Source::Read, 0, &source) & 0x80000000u, 0x80000000u);
}

TEST(StreamReader, OutOfMemoryLeavesNoLeakAndKeepsEarlierEntries) {
  sctest::AllocationFailureGuard guard;
  const std::string stream =
      "[Header]\nName = N\nDescription = D\n[SubHeader]\nLanguage = en\nModel = m\nEngine = e\n"
      "Content = EDCT_CONTENT_BROAD_NARROWS\nRepresentation = EDCT_REPR_SZZ_STRING\n[Data]\n" +
      std::string(150, 'k') + "\t//" + std::string(150, 'x') + "//y\n" +
      "[SubHeader]\nContent = EDCT_CONTENT_USERWORDS\nRepresentation = EDCT_REPR_BINARY\n"
      "[Data]\nu\t" +
      std::string(300, '0') +
      "\n[SubHeader]\nContent = EDCT_CONTENT_ORTHOGRAPHIC\n"
      "Representation = EDCT_REPR_WSZ_STRING\n[Data]\nw\t\"" +
      std::string(250, 'w') + "\"\n";
  std::vector<std::string> complete;
  {
    Writable reference;
    ASSERT_EQ(Read(reference, stream), 0u);
    complete = Dump(reference);
    ASSERT_EQ(complete.size(), 3u);
  }
  int failures = 0;
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
    if (!failed) {
      EXPECT_EQ(result, 0u);
      EXPECT_EQ(dump, complete);
      EXPECT_EQ(GetInfo(dictionary).name, "N");
      EXPECT_EQ(edct_DctClose(dictionary), 0u);
      break;
    }
    ++failures;
    EXPECT_EQ(result, edct_test::kNoMemory) << "allocation " << nth;
    // What was added before the failure is a leading part of the whole.
    ASSERT_LE(dump.size(), complete.size());
    EXPECT_TRUE(std::equal(dump.begin(), dump.end(), complete.begin())) << "allocation " << nth;
    EXPECT_EQ(GetInfo(dictionary).name, "(none)");
    EXPECT_EQ(edct_DctClose(dictionary), 0u);
    EXPECT_EQ(sc::testing::LiveBlocks(), live) << "allocation " << nth;
  }
  EXPECT_GT(failures, 10);
}

// ---- The tokenizer on its own ------------------------------------------------------------

class Tokenizer : public ::testing::Test {
 protected:
  void Open(const std::string &bytes, uint32_t format = EDCT_FORMAT_UTF8,
            std::vector<uint32_t> splits = {1024}) {
    source_ = Source{};
    source_.bytes = bytes;
    source_.splits = std::move(splits);
    Resource *resource = nullptr;
    ASSERT_EQ(InitRsrcFunction(g_vqNullHandle, &resource), 0u);
    ASSERT_EQ(
        sc::edct::stream::Input_Open(&input_, resource, Source::Read, format, &source_, &error_),
        0u);
  }
  void TearDown() override { sc::edct::stream::Input_Release(&input_); }
  // A token as text, with the status that came with it.
  std::string Next(uint32_t terminators, bool quote, uint32_t expected = 0) {
    std::u16string_view token;
    EXPECT_EQ(sc::edct::stream::ReadwItem(&input_, terminators, quote, &token), expected);
    return Narrow(std::u16string(token).c_str());
  }

  Source source_;
  sc::edct::stream::InputContext input_{};
  uint32_t error_ = 0;
};

using sc::edct::stream::kEndOfStream;
using sc::edct::stream::kEndsAtBlank;
using sc::edct::stream::kEndsAtEquals;
using sc::edct::stream::kEndsAtLineFeed;

TEST_F(Tokenizer, TerminatorSetsQuoteModeAndTheEnd) {
  Open("key = value = more\nnext\n\n\n  \"q\n\"a \\\" b\" c\n\"open \n quote", EDCT_FORMAT_UTF8,
       {2});
  EXPECT_EQ(Next(kEndsAtEquals | kEndsAtLineFeed, false), "key");
  EXPECT_EQ(Next(kEndsAtLineFeed, false), "value = more");
  EXPECT_EQ(Next(kEndsAtBlank | kEndsAtLineFeed, false), "next");
  // Empty tokens are skipped; without quote mode quotes are ordinary characters.
  EXPECT_EQ(Next(kEndsAtBlank | kEndsAtLineFeed, false), "\"q");
  // Quotes protect the blank; after the closing quote the blank and c are outside.
  EXPECT_EQ(Next(kEndsAtLineFeed, true), "a \" b c");
  // Inside quotes a line feed belongs to the token; the stream's end ends it.
  EXPECT_EQ(Next(kEndsAtLineFeed, true, kEndOfStream), "open \n quote");
  EXPECT_EQ(Next(kEndsAtLineFeed, true, kEndOfStream), "");
  EXPECT_GE(source_.afterEnd, 2);
}

TEST_F(Tokenizer, SixteenBitUnitsSplitAndNulsCutTokens) {
  std::string bytes = Utf16(u"ab\u00e9 cd\n", true);
  bytes.insert(bytes.size() - 2, std::string("\0\0\0x", 4));  // U+0000 and x before the end
  Open(bytes, EDCT_FORMAT_UCS2BE, {1, 2});
  std::u16string_view token;
  ASSERT_EQ(sc::edct::stream::ReadwItem(&input_, kEndsAtBlank, false, &token), 0u);
  EXPECT_EQ(token, u"ab\u00e9");
  std::string_view narrow;
  ASSERT_EQ(sc::edct::stream::ReadsItem(&input_, kEndsAtLineFeed, false, &narrow), 0u);
  EXPECT_EQ(narrow, "cd");
  // A NUL in a UTF-8 stream ends the string it stands in.
  TearDown();
  Open(std::string("ab\0cd\n", 6));
  EXPECT_EQ(Next(kEndsAtLineFeed, false), "ab");
}

}  // namespace
