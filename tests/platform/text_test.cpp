// Both text encodings: system text with its byte escapes, and the dictionaries' unit-by-unit
// UTF-8 with its lenient decoding.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <tuple>

#include "platform/text.h"

namespace sc::plat {
namespace {

std::u16string ToWide(std::string_view bytes) {
  std::u16string wide(BytesToUtf16(bytes, nullptr), u'\0');
  BytesToUtf16(bytes, wide.data());
  return wide;
}

std::string ToBytes(std::u16string_view wide) {
  const size_t length = Utf16ToBytes(wide, nullptr, Unpaired::kStrict);
  if (length == kNoByteForm) return "<none>";
  std::string bytes(length, '\0');
  Utf16ToBytes(wide, bytes.data(), Unpaired::kStrict);
  return bytes;
}

TEST(SystemText, KnownFormsAndEveryByteStringBothWays) {
  const std::pair<std::string, std::u16string> cases[] = {
      {"dir/a.hdr", u"dir/a.hdr"},
      {"\xC3\xA9\xE2\x82\xAC\xEF\xBF\xBF", u"\u00E9\u20AC\uFFFF"},
      {"\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF", u"\U0001F600\U0010FFFF"},
      // Bytes that are not UTF-8: stray, overlong, an encoded surrogate, cut short, past
      // U+10FFFF; a valid sequence right after a broken one still decodes.
      {"a\x80\xFF", u"a\xDC80\xDCFF"},
      {"\xC0\xAF\xED\xA0\x80\xE2\x82\xC3\xA9", u"\xDCC0\xDCAF\xDCED\xDCA0\xDC80\xDCE2\xDC82\u00E9"},
      {"\xF4\x90\x80\x80", u"\xDCF4\xDC90\xDC80\xDC80"},
  };
  for (const auto &[bytes, wide] : cases) {
    EXPECT_EQ(ToWide(bytes), wide);
    EXPECT_EQ(ToBytes(wide), bytes);
  }
  // Lone surrogates outside the byte range have no 8-bit form (the printer shows them as
  // U+FFFD, see the writer tests).
  EXPECT_EQ(ToBytes(u"a\xD800"), "<none>");
  EXPECT_EQ(ToBytes(u"\xDC7F"), "<none>");

  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  for (int round = 0; round < 2000; ++round) {
    std::string bytes(random() % 24, '\0');
    for (char &b : bytes)
      b = static_cast<char>(random() % 4 ? 0x80 + random() % 0x80 : random() % 0x80);
    ASSERT_EQ(ToBytes(ToWide(bytes)), bytes);
  }
}

// Each conversion must write exactly the count its size function announced, the terminator
// included.
std::string Encode(const std::u16string &text) {
  std::string out(WcsUTF8Size(text.c_str()), '\x7f');
  EXPECT_EQ(WcsToUTF8(text.c_str(), out.data()), out.size());
  EXPECT_EQ(out.back(), '\0');
  out.pop_back();
  return out;
}

std::u16string Decode(const std::string &bytes) {
  std::u16string out(UTF8WcsSize(bytes.c_str()), u'\x7f');
  EXPECT_EQ(UTF8ToWcs(bytes.c_str(), out.data()), out.size());
  EXPECT_EQ(out.back(), u'\0');
  out.pop_back();
  return out;
}

TEST(DictionaryText, EncodingAndLenientDecoding) {
  // Both ways: the edges of each length, surrogates encoded unit by unit (a pair, a lone one
  // of each kind, a pair in the wrong order), nothing.
  const std::pair<std::u16string, std::string> both[] = {
      {u"A\u00e9\u20ac", "\x41\xc3\xa9\xe2\x82\xac"},
      {u"\u007f\u0080", "\x7f\xc2\x80"},
      {u"\u07ff\u0800\uffff", "\xdf\xbf\xe0\xa0\x80\xef\xbf\xbf"},
      {u"\xd83d\xde00", "\xed\xa0\xbd\xed\xb8\x80"},
      {u"a\xd800\xdc00z", "a\xed\xa0\x80\xed\xb0\x80z"},
      {u"", ""}};
  for (const auto &[text, bytes] : both) {
    EXPECT_EQ(Encode(text), bytes);
    EXPECT_EQ(Decode(bytes), text);
  }
  // Decoding never refuses: the lead byte alone decides the length and continuation bytes
  // are not checked, so overlong forms decode to their value (an overlong NUL to a 0 unit),
  // stray continuation bytes and leads of four bytes start sequences of two and three bytes,
  // and a NUL where a continuation byte is due ends the string.
  const std::pair<std::string, std::u16string> lenient[] = {
      {"\xc1\xbf", u"\u007f"},
      {"\xe0\x9f\xbf", u"\u07ff"},
      {"\xc0\x80z", std::u16string(1, 0) + u"z"},
      {"\xbf\xbf", u"\u07ff"},
      {"a\x80"
       "b",
       u"a\u0022"},
      {"\xc3\x41", u"\u00c1"},
      {"\xf4\x90\x80", u"\u4400"},
      {"\xc3", u""},
      {"a\xe2\x82", u"a"},
      {"ab\xf0\x9f", u"ab"}};
  for (const auto &[bytes, text] : lenient)
    EXPECT_EQ(Decode(bytes), text) << ::testing::PrintToString(bytes);
}

// The unit-by-unit comparison gives the sign an ordinal comparison of the decoded units would:
// a decoded 0 unit ends the string, and so does the bound, even in the middle of a sequence.
TEST(DictionaryText, ComparisonAsIfDecoded) {
  constexpr size_t kWhole = std::string::npos;
  const std::tuple<std::u16string, std::string, size_t, int> cases[] = {
      {u"ab", "ab", kWhole, 0},
      {u"ab", "abc", kWhole, -1},
      {u"\u00e9", "z", kWhole, 1},
      {u"z", "\xc3\xa9", kWhole, -1},
      {u"\xd83d", "\xed\xa0\xbd", kWhole, 0},
      {u"a",
       "a\xc0\x80"
       "b",
       kWhole, 0},
      {u"a\u0080", "a\xc2\x80", kWhole, 0},
      {u"ab", "abc", 2, 0},
      {u"abc", "abc", 2, 1},
      {u"", "\xe2\x82", 2, 0},
      {u"\u20ac", "\xe2\x82\xac", 2, 1}};
  for (const auto &[key, bytes, bound, sign] : cases) {
    const auto *begin = reinterpret_cast<const unsigned char *>(bytes.c_str());
    const auto *end = bound == kWhole ? nullptr : begin + bound;
    const int compared = CompareWcsUTF8(key.c_str(), begin, end);
    EXPECT_EQ((compared > 0) - (compared < 0), sign) << ::testing::PrintToString(bytes);
    if (!end) {  // a bound past the NUL changes nothing
      EXPECT_EQ(CompareWcsUTF8(key.c_str(), begin, begin + bytes.size() + 1), compared);
    }
  }
}

}  // namespace
}  // namespace sc::plat
