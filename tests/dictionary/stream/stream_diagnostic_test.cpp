// Where edct_DctReadStreamEx says a read stopped, and why.
#include <gtest/gtest.h>

#include <tuple>

#include "dictionary/stream/stream_test_util.h"

namespace {

using edct_test::Writable;
using namespace stream_test;

struct Outcome {
  VQRESULT code;
  EDCT_STREAM_DIAGNOSTIC diagnostic;
};

Outcome ReadEx(const std::string &bytes, uint32_t format, std::vector<uint32_t> splits,
               EDCT_NOTIFY_FN notify = nullptr) {
  Writable dictionary(notify);
  Source source{bytes, std::move(splits)};
  Outcome outcome{};
  outcome.code =
      edct_DctReadStreamEx(dictionary, Source::Read, format, &source, &outcome.diagnostic);
  return outcome;
}

// 16-bit little-endian stream bytes, mark first.
std::string Units(std::u16string_view text) {
  std::string bytes = "\xFF\xFE";
  for (const char16_t unit : text)
    bytes += {static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)};
  return bytes;
}

TEST(StreamDiagnostic, NamesTheReasonLineColumnAndTextOfEveryMalformedStream) {
  const std::string header = "[Header]\n";
  const auto section = [&](const char *content, const char *representation) {
    return header + "[SubHeader]\nContent = EDCT_CONTENT_" + content +
           "\nRepresentation = EDCT_REPR_" + representation + "\n[Data]\n";
  };
  struct Case {
    std::string bytes;
    uint32_t reason, line, column;
    std::string found;
    VQRESULT code = EDCT_E_UNKNOWN_FORMAT;
    uint32_t format = EDCT_FORMAT_UTF8;
  };
  const Case cases[] = {
      {"", EDCT_STREAM_NO_HEADER, 1, 1, ""},
      {header + "Name = x\n  Colour = blue\n", EDCT_STREAM_UNKNOWN_KEY, 3, 3, "Colour"},
      {header + "[Bogus]\n", EDCT_STREAM_UNKNOWN_SECTION, 2, 1, "[Bogus]"},
      {"[Header]\r\nContent = EDCT_CONTENT_BOGUS\r\n", EDCT_STREAM_UNKNOWN_CONTENT, 2, 11,
       "EDCT_CONTENT_BOGUS"},
      {header + "Representation =\n\n  sz\n", EDCT_STREAM_UNKNOWN_REPRESENTATION, 4, 3, "sz"},
      {header + "Model = " + std::string(129, 'm') + "\n", EDCT_STREAM_MODEL_TOO_LONG, 2, 9,
       std::string(127, 'm'), EDCT_E_OUT_OF_MEMORY},
      {header + "[SubHeader]\nLanguage = en\n", EDCT_STREAM_SECTION_ORDER, 4, 1, ""},
      {section("USERWORDS", "SZ_STRING") + "k\tv\n", EDCT_STREAM_KIND_MISMATCH, 6, 1, "k"},
      {header + "[Data]\n  \"a b\"\tv\n", EDCT_STREAM_KIND_MISMATCH, 3, 3, "a b"},
      // Columns count characters: four for "café".
      {section("BROAD_NARROWS", "SZZ_STRING") + "ok\t//o\ncaf\xC3\xA9\tkafe\n",
       EDCT_STREAM_BAD_BROAD_NARROWS, 7, 6, "kafe"},
      {section("USERWORDS", "BINARY") + "k\t0A \\\n  0Z\n", EDCT_STREAM_BAD_HEX, 7, 3, "0Z"},
      // A unit pair is one character; 16-bit streams count from after their mark.
      {Units(u"[Header]\n[Data]\na\U0001F600b\tx\n"), EDCT_STREAM_KIND_MISMATCH, 3, 1,
       "a\xF0\x9F\x98\x80"
       "b",
       EDCT_E_UNKNOWN_FORMAT, EDCT_FORMAT_UCS2LE},
      {"\xFE\xFF\0[", EDCT_STREAM_NO_BYTE_ORDER_MARK, 1, 1, "", EDCT_E_UNKNOWN_FORMAT,
       EDCT_FORMAT_UCS2LE},
      // The found text is cut to whole characters.
      {header + std::string(100, 'x') + "\xC3\xA9" + std::string(200, 'y') + " = v\n",
       EDCT_STREAM_UNKNOWN_KEY, 2, 1, std::string(100, 'x') + "\xC3\xA9" + std::string(25, 'y')},
  };
  // Delivered whole and in pieces that cut runs of the tokenizer anywhere.
  for (const std::vector<uint32_t> &splits : {std::vector<uint32_t>{1024}, {1}, {5, 2}}) {
    for (const Case &c : cases) {
      SCOPED_TRACE(c.bytes.substr(0, 60) + " in pieces of " + std::to_string(splits[0]));
      const Outcome outcome = ReadEx(c.bytes, c.format, splits);
      const EDCT_STREAM_DIAGNOSTIC &d = outcome.diagnostic;
      EXPECT_EQ(std::tuple(outcome.code, d.Reason, d.Line, d.Column, std::string(d.Found)),
                std::tuple(c.code, c.reason, c.line, c.column, c.found));
      ASSERT_NE(outcome.diagnostic.Text, nullptr);
      EXPECT_GT(std::strlen(outcome.diagnostic.Text), 5u);
      // The same read without a diagnostic gives the same code.
      Writable plain;
      EXPECT_EQ(Read(plain, c.bytes, c.format, splits), c.code);
    }
  }
}

uint32_t Refuse(SafeHandle, uint32_t, const char16_t *key, const EDCT_ENTRY *, void *) {
  return key[0] == u'n';
}

TEST(StreamDiagnostic, SuccessesRefusedCallsAndFailuresThatAreNoFaultOfTheText) {
  // A [SubHeader] line ends a stream whose [Data] follows [Header]: success, and where.
  Outcome outcome = ReadEx(
      "[Header]\nContent = EDCT_CONTENT_ORTHOGRAPHIC\nRepresentation = EDCT_REPR_SZ_STRING\n"
      "[Data]\na\t1\n [SubHeader]\nb\t2\n",
      EDCT_FORMAT_UTF8, {7});
  EXPECT_EQ(std::tuple(outcome.code, outcome.diagnostic.Reason, outcome.diagnostic.Line,
                       outcome.diagnostic.Column),
            std::tuple(0u, EDCT_STREAM_OK, 6u, 2u));

  // The dictionary refuses the second entry, through its Notify callback.
  outcome = ReadEx(
      "[Header]\n[SubHeader]\nContent = EDCT_CONTENT_ORTHOGRAPHIC\nRepresentation = "
      "EDCT_REPR_SZ_STRING\n[Data]\nyes\t1\n\tno\t2\n",
      EDCT_FORMAT_UTF8, {1024}, Refuse);
  EXPECT_EQ(std::tuple(outcome.code, outcome.diagnostic.Reason, outcome.diagnostic.Line,
                       outcome.diagnostic.Column),
            std::tuple(EDCT_E_NOTIFY_FAILED, EDCT_STREAM_ENTRY_REFUSED, 7u, 2u));
  EXPECT_STREQ(outcome.diagnostic.Found, "no");

  // A failing callback: the place reached, no fault of the text.
  Writable dictionary;
  Source failing{"[Header]\nName = x\n", {4}, 0, 0, 0, 3, 77};
  EDCT_STREAM_DIAGNOSTIC diagnostic{};
  EXPECT_EQ(edct_DctReadStreamEx(dictionary, Source::Read, EDCT_FORMAT_UTF8, &failing, &diagnostic),
            EDCT_E_READSTREAM_FAILED);
  EXPECT_EQ(std::tuple(diagnostic.Reason, diagnostic.Line, diagnostic.Column),
            std::tuple(EDCT_STREAM_STOPPED, 1u, 9u));

  // A call refused before reading has no place; the diagnostic is optional.
  Source source{"[Header]\n"};
  EXPECT_EQ(edct_DctReadStreamEx(dictionary, nullptr, EDCT_FORMAT_UTF8, &source, &diagnostic),
            EDCT_E_NULL_POINTER);
  EXPECT_EQ(diagnostic.Line, 0u);
  EXPECT_EQ(edct_DctReadStreamEx(dictionary, Source::Read, EDCT_FORMAT_UTF8, &source, nullptr), 0u);
}

}  // namespace
