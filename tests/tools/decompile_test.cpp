// dict decompile: the text it writes compiles back into the dictionary it came from, and a
// dictionary that the text form cannot carry is refused, naming the key and the reason.
#include <gtest/gtest.h>

#include <filesystem>

#include "dictionary/edct_test_util.h"
#include "dictionary/stream/stream_test_util.h"
#include "tools/run_tool.h"

namespace {

using namespace tooltest;
using edct_test::Entry;

struct Keyed {
  std::u16string key;
  Entry entry;
};

Entry Sz(const std::string &text, const char *language = "en") {
  return {EDCT_CONTENT_ORTHOGRAPHIC,
          EDCT_REPR_SZ_STRING,
          0xFFFFFFFFu,
          language,
          nullptr,
          nullptr,
          text + '\0'};
}
Entry Wsz(const std::u16string &text) {
  return {EDCT_CONTENT_ORTHOGRAPHIC, EDCT_REPR_WSZ_STRING, 0xFFFFFFFFu, "fr", nullptr, nullptr,
          stream_test::Bytes(text)};
}
Entry List(const std::string &pieces) {  // each piece with its NUL, then the closing NUL
  return {EDCT_CONTENT_BROAD_NARROWS,
          EDCT_REPR_SZZ_STRING,
          0xFFFFFFFFu,
          "de",
          nullptr,
          nullptr,
          pieces + '\0'};
}
Entry Bytes(const std::string &bytes) {
  return {EDCT_CONTENT_USERWORDS, EDCT_REPR_BINARY, 0xFFFFFFFFu, "nl", nullptr, nullptr, bytes};
}

// What a read-back must keep: name, description, counts, sections, and every entry's key,
// attributes and data bytes in iterator order.
std::vector<std::string> Fingerprint(SafeHandle dictionary) {
  std::vector<std::string> lines = stream_test::Dump(dictionary);
  SafeHandle iterator;
  EXPECT_EQ(edct_DctItOpen(g_vqNullHandle, dictionary, &iterator), 0u);
  uint32_t ended = 0, sections = 0;
  while (edct_DctItHasEnded(iterator, &ended) == 0 && !ended) {
    const char16_t *key = nullptr;
    const EDCT_ENTRY *entries = nullptr;
    uint32_t count = 0, newSection = 0;
    EXPECT_EQ(edct_DctItCurrent(iterator, &key, &entries, &count, &newSection), 0u);
    sections += newSection;
    EXPECT_EQ(edct_DctItIncrement(iterator), 0u);
  }
  EXPECT_EQ(edct_DctItClose(iterator), 0u);
  lines.insert(lines.begin(), edct_test::Summary(dictionary) + " " + std::to_string(sections));
  return lines;
}

std::vector<std::string> ImageFingerprint(const std::string &bytes) {
  std::vector<uint32_t> words(bytes.size() / 4 + 1);
  std::memcpy(words.data(), bytes.data(), bytes.size());
  edct_test::Opened view(words.data(), EDCT_OPEN_READONLY);
  return Fingerprint(view);
}

// The image of a dictionary made through the API, named "Demo".
std::string MakeImage(const std::vector<Keyed> &entries) {
  edct_test::Writable dictionary;
  for (const auto &[key, entry] : entries)
    EXPECT_EQ(edct_test::Add(dictionary, key, {entry}), 0u);
  const EDCT_INFO info{u"Demo", u"a test", 0, 0};
  EXPECT_EQ(edct_DctSetInfo(dictionary, &info), 0u);
  const edct_test::Image image = edct_test::Archive(dictionary);
  return std::string(reinterpret_cast<const char *>(image.data()), image.size);
}

const std::string kModel = edct_test::ModelBlock("alphabet:x-sampa");

TEST(Decompile, EveryEntryKindComesBackThroughTextInEachEncoding) {
  Entry modelled = Sz("m", "la");
  modelled.model = kModel.c_str();
  modelled.engine = "e 1";
  // A section with an Engine and a Model alone: one without them after it would take them.
  const std::string images[] = {
      MakeImage({{u"m", modelled}}),
      MakeImage({
          {u"plain", Sz("word")},
          {u"N. Y.", Sz("New York")},
          {u"q\"b\\s", Sz("say \"hi\" \\ back")},
          {u"tab\tin key", Sz("a\tb")},
          {u"line a\nb", Sz("two\nlines here\n")},  // in quotes, a line feed is kept
          {u"caf\u00E9", Sz("caf\xC3\xA9")},
          {u"[Data]", Sz("=x")},
          {u"multi", Sz("one")},
          {u"multi", Sz("two")},
          {u"wide", Wsz(u"w\u00E9 d\U0001F600")},
          {u"list", List(std::string("a\0b c\0\"q\"\0x/\0", 13))},
          {u"one", List(std::string("/\0", 2))},
          {u"bytes", Bytes(std::string("\0\xFF", 2))},
          {u"long", Bytes(std::string(18, '\x5A'))},  // over two lines
      })};
  TempDir dir;
  for (const auto &[image, encoding] : {std::pair{images[0], "utf8"},
                                        {images[1], "utf8"},
                                        {images[1], "ucs2le"},
                                        {images[1], "ucs2be"}}) {
    SCOPED_TRACE(encoding);
    dir.Write("in.img", image);
    ToolRun run = RunTool(
        {"dict", "decompile", dir.Path("in.img"), "-o", dir.Path("t.txt"), "--encoding", encoding});
    ASSERT_EQ(run.status, 0) << run.err;
    run = RunTool({"dict", "compile", dir.Path("t.txt"), "-o", dir.Path("back.img")});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(ImageFingerprint(dir.Read("back.img")), ImageFingerprint(image));
  }
}

TEST(Decompile, RefusesWhatTheTextFormCannotCarryAndNamesKeyAndReason) {
  Entry positioned = Sz("x");
  positioned.pos = 7;
  Entry padded = Sz("x");
  std::string block = kModel;
  block[100] = 'z';  // after the text's NUL
  padded.model = block.c_str();
  struct Case {
    std::vector<Keyed> entries;
    std::string message;      // the key and the reason
    bool utf8Refused = true;  // else only a 16-bit stream loses it
  };
  const Case cases[] = {
      {{{u"", Sz("x")}}, "key \"\": the key is empty"},
      {{{u"k", Sz("")}}, "key \"k\": the data \"\" is empty"},
      {{{u"k", Wsz(u"")}}, "key \"k\": the data \"\" is empty"},
      {{{u"k", Bytes("")}}, "key \"k\": the data is empty"},
      {{{u"k", List(std::string("\0x\0", 3))}}, "key \"k\": the list is empty or begins with"},
      {{{u"k", List(std::string("a\0\0b\0", 5))}}, "key \"k\": an empty piece in the list"},
      {{{u"k", List(std::string("a/\0b\0", 5))}}, "key \"k\": the list \"//a///b\" reads back as"},
      {{{u"k", List(std::string("a \0", 3))}}, "key \"k\": the list \"//a \" reads back as"},
      {{{u"[SubHeader]", Sz("x")}}, "key \"[SubHeader]\": the key [SubHeader] is written"},
      {{{u"a\tb", Sz("x")}}, "key \"a\\tb\": a key with a tab and no blank"},
      {{{u" a", Sz("x")}}, "key \" a\": the key has blanks at its ends"},
      {{{u"a\nb", Sz("x")}}, "key \"a\\nb\": the key holds a line feed"},
      {{{u"a b\rc", Sz("x")}}, "the key holds a carriage return"},
      {{{u"k", Sz("x\ny")}}, "key \"k\": the data \"x\\ny\" holds a line feed"},
      {{{u"k", Sz("\nx y")}}, "key \"k\": the data \"\\nx y\" begins with a line feed"},
      {{{u"k", Sz(std::string("a\0b", 3))}}, "key \"k\": the data is not one string"},
      {{{u"k", Sz("x", "")}}, "key \"k\": the Language \"\" is empty"},
      {{{u"k", Sz("x", "\xF0\x9F\x98\x80")}}, "the Language \"\xF0\x9F\x98\x80\" is not UTF-8"},
      {{{u"k", Sz("\xF0\x9F\x98\x80")}}, "key \"k\": the data \"\xF0\x9F\x98\x80\" is not", false},
      {{{u"k", Sz("\xC0\xAF")}}, "is not UTF-8 of one to three bytes", false},
      {{{u"k", positioned}}, "key \"k\": POS 7 is not written"},
      {{{u"k", padded}}, "the Model block holds more than its text"},
  };
  TempDir dir;
  for (const Case &c : cases) {
    SCOPED_TRACE(c.message);
    const std::string image = MakeImage(c.entries);
    dir.Write("in.img", image);
    edct_test::Opened view(reinterpret_cast<const void *>(image.data()), EDCT_OPEN_READONLY);
    for (const bool sixteen : {false, true}) {
      const std::string out = dir.Path("out.txt");
      const ToolRun run = RunTool({"dict", "decompile", dir.Path("in.img"), "-o", out, "--encoding",
                                   sixteen ? "ucs2le" : "utf8"});
      // Refused exactly when the library's own writer and reader change the dictionary.
      edct_test::Writable back;
      const uint32_t format = sixteen ? stream_test::kOwnOrder : EDCT_FORMAT_UTF8;
      stream_test::Read(back, stream_test::Write(view, format), format);
      const bool lost = Fingerprint(back) != Fingerprint(view);
      EXPECT_EQ(lost, sixteen || c.utf8Refused);
      if (!lost) {
        EXPECT_EQ(run.status, 0) << run.err;
        std::filesystem::remove(out);
        continue;
      }
      EXPECT_EQ(run.status, 1);
      EXPECT_TRUE(Has(run.err, c.message)) << run.err;
      EXPECT_TRUE(Has(run.err, "so none is written")) << run.err;
      EXPECT_FALSE(std::filesystem::exists(out));
    }
  }
}

// Sections alike or a key twice in a section: an image can hold them, a dictionary read from
// text cannot.
TEST(Decompile, RefusesImagesWhoseSectionsOrKeysWouldMerge) {
  const auto patched = [](std::string image, const std::string &from, const std::string &to) {
    const size_t at = image.find(from);
    EXPECT_NE(at, std::string::npos);
    EXPECT_EQ(image.find(from, at + 1), std::string::npos);
    return image.replace(at, from.size(), to);
  };
  TempDir dir;
  dir.Write("sections.img", patched(MakeImage({{u"a", Sz("x", "aa")}, {u"b", Sz("y", "ab")}}),
                                    std::string("ab\0", 3), std::string("aa\0", 3)));
  dir.Write("keys.img", patched(MakeImage({{u"k1", Sz("x")}, {u"k2", Sz("y")}}),
                                std::string("k2\0", 3), std::string("k1\0", 3)));
  for (const auto &[name, message] :
       {std::pair{"sections.img", "an earlier section has the same attributes"},
        {"keys.img", "key \"k1\": the key comes twice in its section"}}) {
    const ToolRun run = RunTool({"dict", "decompile", dir.Path(name), "-o", "-"});
    EXPECT_EQ(run.status, 1) << name;
    EXPECT_TRUE(Has(run.err, message)) << run.err;
    EXPECT_EQ(run.out, "");
  }
}

}  // namespace
