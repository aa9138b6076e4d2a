#include <gtest/gtest.h>

#include <random>
#include <string>

#include "platform/text.h"

namespace sc::plat {
namespace {

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

TEST(Utf8, EncodingAndLenientDecoding) {
  // Round trips: the edges of each length, a surrogate pair encoded unit by unit, nothing.
  const std::pair<std::u16string, std::string> both[] = {
      {u"A\u00e9\u20ac", "\x41\xc3\xa9\xe2\x82\xac"}, {u"\u007f\u0080", "\x7f\xc2\x80"},
      {u"\u07ff\u0800", "\xdf\xbf\xe0\xa0\x80"},      {u"\uffff", "\xef\xbf\xbf"},
      {u"\xd83d\xde00", "\xed\xa0\xbd\xed\xb8\x80"},  {u"", ""}};
  for (const auto &[text, bytes] : both) {
    EXPECT_EQ(Encode(text), bytes);
    EXPECT_EQ(Decode(bytes), text);
  }
  // Decoding never refuses: overlong forms, a leading continuation byte, a four-byte lead,
  // and a NUL where a continuation byte is due, which ends the string.
  const std::pair<std::string, std::u16string> lenient[] = {{"\xc1\xbf", u"\u007f"},
                                                            {"\xe0\x9f\xbf", u"\u07ff"},
                                                            {"\x80\x80", std::u16string(1, 0)},
                                                            {"\xf4\x90\x80", u"\u4400"},
                                                            {"\xc3", u""},
                                                            {"a\xe2\x82", u"a"}};
  for (const auto &[bytes, text] : lenient)
    EXPECT_EQ(Decode(bytes), text);
}

// The unit-by-unit comparison must agree with decoding and comparing, for every string the
// lenient decoder accepts, including ones that decode to an early 0 unit.
TEST(Utf8, ComparisonAgreesWithDecoding) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  const char16_t alphabet[] = {u'a', u'b', u'Z', 0x7f, 0xe9, 0x7ff, 0x800, 0x20ac, 0xd83d, 0xffff};
  const unsigned char bytes[] = {'a', 'b', 0xc3, 0xa9, 0xe2, 0x82, 0xac, 0xc0, 0x80, 0xff};
  const auto sign = [](int value) { return (value > 0) - (value < 0); };
  for (int round = 0; round < 20000; ++round) {
    std::u16string key;
    for (int n = random() % 5; n > 0; --n)
      key += alphabet[random() % std::size(alphabet)];
    std::string utf8;
    if (random() % 2) {
      std::u16string other = key.substr(0, random() % (key.size() + 1));
      for (int n = random() % 3; n > 0; --n)
        other += alphabet[random() % std::size(alphabet)];
      utf8 = Encode(other);
    } else {
      for (int n = random() % 6; n > 0; --n)
        utf8 += static_cast<char>(bytes[random() % std::size(bytes)]);
    }
    // What decoding gives: the units up to the first 0 unit.
    const int expected = sign(key.compare(Decode(utf8).c_str()));
    const auto *begin = reinterpret_cast<const unsigned char *>(utf8.data());
    ASSERT_EQ(CompareWcsUTF8(key.c_str(), begin, begin + utf8.size() + 1), expected) << round;
    ASSERT_EQ(CompareWcsUTF8(key.c_str(), begin, nullptr), expected) << round;
  }
  // A bound ends the string where no NUL does, also in the middle of a sequence.
  const unsigned char abc[] = {'a', 'b', 'c'}, cut[] = {0xe2, 0x82};
  EXPECT_EQ(CompareWcsUTF8(u"ab", abc, abc + 2), 0);
  EXPECT_LT(CompareWcsUTF8(u"ab", abc, abc + 3), 0);
  EXPECT_EQ(CompareWcsUTF8(u"", cut, cut + 2), 0);
}

}  // namespace
}  // namespace sc::plat
