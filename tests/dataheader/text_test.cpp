// The 8-bit / 16-bit conversion of paths.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "platform/text.h"

namespace {

using sc::plat::Unpaired;

std::u16string ToWide(std::string_view bytes) {
  std::u16string wide(sc::plat::BytesToUtf16(bytes, nullptr), u'\0');
  sc::plat::BytesToUtf16(bytes, wide.data());
  return wide;
}

std::string ToBytes(std::u16string_view wide, Unpaired unpaired = Unpaired::kStrict) {
  const size_t length = sc::plat::Utf16ToBytes(wide, nullptr, unpaired);
  if (length == sc::plat::kNoByteForm) return "<none>";
  std::string bytes(length, '\0');
  sc::plat::Utf16ToBytes(wide, bytes.data(), unpaired);
  return bytes;
}

TEST(PathText, KnownFormsBothWays) {
  const struct {
    std::string bytes;
    std::u16string wide;
  } cases[] = {
      {"dir/a.hdr", u"dir/a.hdr"},
      {"\xC3\xA9\xE2\x82\xAC\xEF\xBF\xBF", u"\u00E9\u20AC\uFFFF"},
      {"\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF", u"\U0001F600\U0010FFFF"},
      // Bytes that are not UTF-8: stray, overlong, an encoded surrogate, cut short, past
      // U+10FFFF; a valid sequence right after a broken one still decodes.
      {"a\x80\xFF", u"a\xDC80\xDCFF"},
      {"\xC0\xAF\xED\xA0\x80", u"\xDCC0\xDCAF\xDCED\xDCA0\xDC80"},
      {"\xE2\x82\xC3\xA9", u"\xDCE2\xDC82\u00E9"},
      {"\xF4\x90\x80\x80", u"\xDCF4\xDC90\xDC80\xDC80"},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(ToWide(c.bytes), c.wide);
    EXPECT_EQ(ToBytes(c.wide), c.bytes);
  }
  // Lone surrogates outside the byte range have no 8-bit form, unless shown for display.
  EXPECT_EQ(ToBytes(u"a\xD800"), "<none>");
  EXPECT_EQ(ToBytes(u"\xDC7F"), "<none>");
  EXPECT_EQ(ToBytes(u"a\xD800"
                    "b\xDC41",
                    Unpaired::kReplace),
            "a\xEF\xBF\xBD"
            "b\xEF\xBF\xBD");
}

TEST(PathText, EveryByteStringSurvivesTheRoundTrip) {
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

}  // namespace
