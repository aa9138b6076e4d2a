// The text stream reader through edct_DctReadStream.
#include <gtest/gtest.h>

#include "dictionary/stream/stream_test_util.h"

namespace {

using edct_test::Data;
using edct_test::Lookup;
using edct_test::Summary;
using edct_test::Writable;
using namespace stream_test;
using namespace std::string_literals;

std::string Section(const std::string &content, const std::string &representation) {
  return "[SubHeader]\nContent = EDCT_CONTENT_" + content + "\nRepresentation = EDCT_REPR_" +
         representation + "\n[Data]\n";
}

std::string Sz(const std::string &text) {
  return text + '\0';
}

TEST(StreamReader, StreamsEndingEarlyOrBreakingTheGrammarKeepWhatCameBefore) {
  const std::string header = "[Header]\n", ortho = header + Section("ORTHOGRAPHIC", "SZ_STRING");
  const std::string words = header + Section("USERWORDS", "BINARY") + "good\t01\n";
  // "[Data]" right after the header: one section, and a "[SubHeader]" line ends the read.
  const std::string direct = header +
                             "Content = EDCT_CONTENT_ORTHOGRAPHIC\nRepresentation = "
                             "EDCT_REPR_SZ_STRING\n[Data]\na\t1\n";
  struct Case {
    std::string bytes;
    uint32_t code = EDCT_E_UNKNOWN_FORMAT, kept = 0, format = EDCT_FORMAT_UTF8;
  };
  std::vector<Case> cases = {
      {header, 0},
      {"\n  \r\n\t[Header] \r\n\n", 0} /* blank lines do not count */,
      {direct + "[SubHeader]\nnever read\n", 0, 1},
      {direct + "alone", 0, 1} /* a key at the very end without data is dropped */,
      {header + "Model = " + std::string(126, 'm') + "\xC3\xA9\xC3\xA9\n", EDCT_E_OUT_OF_MEMORY},
      {header + Section("BROAD_NARROWS", "SZZ_STRING") + "good\t//g\nbad\tone//two\nk\t//x\n",
       EDCT_E_UNKNOWN_FORMAT, 1},
      {words + "bad\t0A\t0B\n", EDCT_E_UNKNOWN_FORMAT, 1},
      {Utf16(header, true), EDCT_E_UNKNOWN_FORMAT, 0, EDCT_FORMAT_UCS2LE}};
  // Streams refused as a bad format with nothing added (more in tests/corpus/dctstream).
  for (const std::string &bytes : std::vector<std::string>{
           "\xEF\xBB\xBF[Header]\n" /* a UTF-8 mark is part of the line */, header + "Name = cut",
           header + "Content = EDCT_CONTENT_ORTHOGRAPHIC\n[Data]\nk\tv\n",
           header + Section("ORTHOGRAPHIC", "BINARY") + "bad\tx\n",
           header + Section("BROAD_NARROWS", "WSZ_STRING") + "bad\t//x\n"})
    cases.push_back({bytes});
  for (const uint32_t split : {1024u, 1u}) {
    for (const auto &c : cases) {
      Writable dictionary;
      EXPECT_EQ(Read(dictionary, c.bytes, c.format, {split}), c.code) << c.bytes;
      const std::string kept = std::to_string(c.kept);
      EXPECT_EQ(Summary(dictionary), "-|-|" + kept + "|" + kept) << c.bytes;
    }
  }
  // Big-endian units beyond ASCII, cut between deliveries; a half unit at the end is dropped.
  Writable wide;
  ASSERT_EQ(Read(wide, Utf16(ortho + "\xE9\tv", true) + "x", EDCT_FORMAT_UCS2BE, {3}), 0u);
  EXPECT_EQ(Lookup(wide, u"\u00e9"), Data{Sz("v")});
}

TEST(StreamReader, SectionKeysAndTheirValues) {
  Writable dictionary;
  ASSERT_EQ(Read(dictionary,
                 "[Header]\nName = \"a\" = b\nDescription=\n\n   the  text \n"
                 "Name = second\nDescription = second\nNbrSubDct = 4\nPOS = 12\n[SubHeader]\n"
                 "Language = en\nEngine = e1\nModel = " +
                     std::string(128, 'm') +
                     "\nContent = EDCT_CONTENT_ORTHOGRAPHIC\nRepresentation = "
                     "EDCT_REPR_SZ_STRING\n[Data]\nk\tfirst\n[SubHeader]\n"
                     "Engine = e2\nModel=ab\n[Data]\nk\tsecond\nlast\tno line feed"),
            0u);
  EXPECT_EQ(Summary(dictionary), "\"a\" = b|the  text|2|3");
  // A section changes only the attributes it names.
  const auto dump = Dump(dictionary);
  ASSERT_EQ(dump.size(), 3u);
  EXPECT_EQ(dump[0], "k 2/2/4294967295 en " + std::string(128, 'm') + " e1 " + Sz("first"));
  EXPECT_EQ(dump[1], "k 2/2/4294967295 en " + edct_test::ModelBlock("ab") + " e2 " + Sz("second"));
  EXPECT_EQ(Lookup(dictionary, u"last"), Data{Sz("no line feed")});
  // A Name already there stays; a Description that is not is taken.
  const EDCT_INFO mine{u"Mine", nullptr, 0, 0};
  ASSERT_EQ(edct_DctSetInfo(dictionary, &mine), 0u);
  ASSERT_EQ(Read(dictionary, "[Header]\nName=Theirs\nDescription=d\nDescription"), 0u);
  EXPECT_EQ(Summary(dictionary), "Mine|d|2|3");
}

TEST(StreamReader, EntryKeysQuotesAndDataForms) {
  const std::string narrows = Section("BROAD_NARROWS", "SZZ_STRING"),
                    words = Section("USERWORDS", "BINARY"),
                    wide =
                        "[SubHeader]\nRepresentation = EDCT_REPR_WSZ_STRING\n"
                        "Content = EDCT_CONTENT_ORTHOGRAPHIC\n[Data]\n";
  const struct {
    std::string lines;
    std::u16string key;
    Data data;
  } rows[] = {
      {Section("ORTHOGRAPHIC", "SZ_STRING") + "\"a b\"\tone\n", u"a b", {Sz("one")}},
      {"a\\\"b two\n", u"a\"b", {Sz("two")}},
      {"tab\t\"  padded value  \"  \n", u"tab", {Sz("padded value")}},  // blanks at the ends go
      {"q\t\"say \\\"hi\\\"\"\n", u"q", {Sz("say \"hi\"")}},
      {"\"\" y\"\tsix\n", u"\" y", {Sz("six")}},   // what follows a quote switch is no switch
      {"bs\\ seven\n", u"bs", {Sz("seven")}},      // an escaped blank outside quotes ends the key
      {"ql\t\"\n x\ny\"\n", u"ql", {Sz("x\ny")}},  // line feeds inside quotes stay but at the start
      {"\xC3\xA9\tab\0cd\n"s, u"\u00e9", {Sz("ab")}},  // a NUL ends the string it stands in
      {narrows + "three\t//one//two//three\n", u"three", {"one\0two\0three\0\0"s}},
      {"empty\t//\n", u"empty", {"\0\0"s}},
      {"trailing //a//\n", u"trailing", {"a\0\0\0"s}},
      {words + "four\t0A 1b ff \\\n\n   00\n", u"four", {"\x0A\x1B\xFF\x00"s}},
      {"odd\t0A1\n", u"odd", {"\x0A"}},
      {wide + "wide\tab c\n", u"wide", {Bytes(u"ab c")}},
      {"skip\n\n  next line  \n", u"skip", {Bytes(u"next line")}},  // empty data reads on
      {"open\t\"a\n b", u"open", {Bytes(u"a\n b")}},                // an open quote runs to the end
  };
  std::string stream = "[Header]\n";
  for (const auto &row : rows)
    stream += row.lines;
  Writable dictionary;
  ASSERT_EQ(Read(dictionary, stream, EDCT_FORMAT_UTF8, {1}), 0u);
  for (const auto &row : rows)
    EXPECT_EQ(Lookup(dictionary, row.key), row.data) << row.lines;
}

uint32_t CountingNotify(SafeHandle, uint32_t action, const char16_t *, const EDCT_ENTRY *,
                        void *user) {
  static_cast<std::vector<uint32_t> *>(user)->push_back(action);
  return 0;
}

TEST(StreamReader, CallbacksAndRefusals) {
  std::vector<uint32_t> actions;
  Writable dictionary(CountingNotify, &actions);
  Source source{"[Header]\n" + Section("ORTHOGRAPHIC", "SZ_STRING") + "a\t1\nb\t2\na\t3\n" +
                std::string(3000, '\n') + "c\t3\n"};
  EXPECT_EQ(edct_DctReadStream(dictionary, nullptr, 0, &source), EDCT_E_NULL_POINTER);
  EXPECT_EQ(edct_DctReadStream(dictionary, Source::Read, 3, &source), EDCT_E_UNKNOWN_FORMAT);
  EXPECT_EQ(source.calls, 0);
  // The third delivery fails: what the first two brought stays, each entry notified.
  source.failAt = 3;
  source.failValue = 77;
  EXPECT_EQ(edct_DctReadStream(dictionary, Source::Read, 0, &source), EDCT_E_READSTREAM_FAILED);
  uint32_t error = 0;
  EXPECT_EQ(edct_DctGetCallbackError(dictionary, &error), 0u);
  EXPECT_EQ(error, 77u);
  EXPECT_EQ(actions,
            (std::vector<uint32_t>{EDCT_NOTIFY_NEWKEY, EDCT_NOTIFY_NEWKEY, EDCT_NOTIFY_ADDED}));
  // After the end the callback is asked again; a good read leaves 0 in the slot.
  Source fine{"[Header]\n"};
  EXPECT_EQ(edct_DctReadStream(dictionary, Source::Read, 0, &fine), 0u);
  EXPECT_EQ(edct_DctGetCallbackError(dictionary, &error), 0u);
  EXPECT_EQ(std::tuple(fine.calls, error), std::tuple(3, 0u));

  SafeHandle iterator;
  ASSERT_EQ(edct_DctItOpen(g_vqNullHandle, dictionary, &iterator), 0u);
  EXPECT_EQ(Read(dictionary, "[Header]\n"), EDCT_E_ITERATOR_OPEN);
  EXPECT_EQ(edct_DctItClose(iterator), 0u);
  const edct_test::Image image = edct_test::Archive(dictionary);
  edct_test::Opened view(image.data(), EDCT_OPEN_READONLY);
  EXPECT_EQ(Read(view, "[Header]\n"), EDCT_E_READ_ONLY);
}

}  // namespace
