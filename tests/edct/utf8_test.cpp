#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

#include "core/edctspi/utf8.h"

namespace sc::edct {
namespace {

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

int Sign(int value) {
  return (value > 0) - (value < 0);
}

TEST(Utf8, EncodesOneToThreeBytesPerUnit) {
  EXPECT_EQ(Encode(u"A\u00e9\u20ac"), "\x41\xc3\xa9\xe2\x82\xac");
  EXPECT_EQ(WcsUTF8Size(u"A\u00e9\u20ac"), 7u);
  EXPECT_EQ(Decode("\x41\xc3\xa9\xe2\x82\xac"), u"A\u00e9\u20ac");
  EXPECT_EQ(UTF8WcsSize("\x41\xc3\xa9\xe2\x82\xac"), 4u);
  // The edges of each length.
  EXPECT_EQ(Encode(u"\u007f"), "\x7f");
  EXPECT_EQ(Encode(u"\u0080"), "\xc2\x80");
  EXPECT_EQ(Encode(u"\u07ff"), "\xdf\xbf");
  EXPECT_EQ(Encode(u"\u0800"), "\xe0\xa0\x80");
  EXPECT_EQ(Encode(u"\uffff"), "\xef\xbf\xbf");
  // The empty string is the terminator alone.
  EXPECT_EQ(WcsUTF8Size(u""), 1u);
  EXPECT_EQ(UTF8WcsSize(""), 1u);
}

TEST(Utf8, SurrogatesAreEncodedOneByOne) {
  const std::u16string pair = u"\xd83d\xde00";
  const std::string bytes = Encode(pair);
  EXPECT_EQ(bytes, "\xed\xa0\xbd\xed\xb8\x80");
  EXPECT_EQ(Decode(bytes), pair);
}

TEST(Utf8, DecodingIsLenient) {
  EXPECT_EQ(Decode("\xc1\xbf"), u"\u007f");             // overlong two bytes
  EXPECT_EQ(Decode("\xe0\x9f\xbf"), u"\u07ff");         // overlong three bytes
  EXPECT_EQ(Decode("\x80\x80"), std::u16string(1, 0));  // a continuation byte leads
  EXPECT_EQ(Decode("\xf4\x90\x80"), u"\u4400");         // four-byte leads take three
  // A NUL where a continuation byte is due ends the string.
  EXPECT_EQ(UTF8WcsSize("\xc3"), 1u);
  EXPECT_EQ(Decode("a\xe2\x82"), u"a");
  EXPECT_EQ(UTF8WcsSize("a\xe2\x82"), 2u);
}

// The unit-by-unit comparison must agree with decoding and comparing, for every string the
// lenient decoder accepts, including ones that decode to an early 0 unit.
TEST(Utf8, ComparisonAgreesWithDecoding) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  const char16_t alphabet[] = {u'a', u'b', u'Z', 0x7f, 0xe9, 0x7ff, 0x800, 0x20ac, 0xd83d, 0xffff};
  const unsigned char bytes[] = {'a', 'b', 0xc3, 0xa9, 0xe2, 0x82, 0xac, 0xc0, 0x80, 0xff};
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
    const std::u16string decoded = Decode(utf8);
    // What decoding gives: the units up to the first 0 unit.
    const std::u16string asString(decoded.c_str());
    const int expected = Sign(key.compare(asString));
    const auto *begin = reinterpret_cast<const unsigned char *>(utf8.data());
    ASSERT_EQ(CompareWcsUTF8(key.c_str(), begin, begin + utf8.size() + 1), expected)
        << "round " << round;
    ASSERT_EQ(CompareWcsUTF8(key.c_str(), begin, nullptr), expected) << "round " << round;
  }
}

TEST(Utf8, ComparisonStopsAtTheBound) {
  const unsigned char bytes[] = {'a', 'b', 'c'};  // no NUL: the bound ends the string
  EXPECT_EQ(CompareWcsUTF8(u"ab", bytes, bytes + 2), 0);
  EXPECT_LT(CompareWcsUTF8(u"ab", bytes, bytes + 3), 0);
  const unsigned char cut[] = {0xe2, 0x82};  // a sequence cut by the bound
  EXPECT_EQ(CompareWcsUTF8(u"", cut, cut + 2), 0);
}

}  // namespace
}  // namespace sc::edct
