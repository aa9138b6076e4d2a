// The tool's UTF-8 and UTF-16 conversion: every malformed piece becomes one U+FFFD.
#include "tools/text.h"

#include <gtest/gtest.h>

namespace {

using cli::Utf16;
using cli::Utf8;

TEST(ToolText, MalformedUtf8BecomesOneReplacementPerPiece) {
  const std::pair<std::string, std::u16string> cases[] = {
      {"a\x80z", u"a\uFFFDz"},                            // a stray continuation byte
      {"\xBF\xBF", u"\uFFFD\uFFFD"},                      // two of them
      {"\xC0\xAF", u"\uFFFD\uFFFD"},                      // an overlong "/": C0 never starts one
      {"\xE0\x80\xAF", u"\uFFFD\uFFFD\uFFFD"},            // overlong in three bytes
      {"\xF0\x8F\xBF\xBF", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // overlong in four
      {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},            // a surrogate written in UTF-8
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // beyond U+10FFFF
      {"\xF5\xFF", u"\uFFFD\uFFFD"},                      // bytes that start nothing
      {"\xE2\x82", u"\uFFFD"},                            // cut short at the end
      {"\xE2\x82z", u"\uFFFDz"},                          // cut short inside: one piece, then z
      {"\xF0\x9F\x98", u"\uFFFD"},
      {"caf\xC3\xA9 \xF0\x9F\x98\x80", u"caf\u00E9 \U0001F600"},  // well-formed
      {"\xEF\xBF\xBD", u"\uFFFD"},                                // a replacement character as such
  };
  for (const auto &[bytes, units] : cases) {
    EXPECT_EQ(Utf16(bytes), units) << bytes;
    EXPECT_EQ(cli::IsUtf8(bytes),
              units.find(u'\uFFFD') == std::u16string::npos || bytes == "\xEF\xBF\xBD")
        << bytes;
    // A column counts what the conversion gives: a pair is one character.
    size_t characters = 0;
    for (const char16_t unit : units)
      characters += unit < 0xDC00 || unit > 0xDFFF;
    EXPECT_EQ(cli::Characters(bytes), characters) << bytes;
  }
}

TEST(ToolText, LoneSurrogatesBecomeReplacementsAndPairsOneCharacter) {
  EXPECT_EQ(Utf8(u"a\xD800z"), "a\xEF\xBF\xBDz");                // a high one without its partner
  EXPECT_EQ(Utf8(u"a\xDC00"), "a\xEF\xBF\xBD");                  // a low one alone
  EXPECT_EQ(Utf8(u"\xDC00\xD800"), "\xEF\xBF\xBD\xEF\xBF\xBD");  // the wrong order
  EXPECT_EQ(Utf8(u"\xD83D\xDE00"), "\xF0\x9F\x98\x80");          // a pair
  EXPECT_EQ(Utf8(u"\u00E9\u20AC\U0010FFFF"), "\xC3\xA9\xE2\x82\xAC\xF4\x8F\xBF\xBF");
  EXPECT_EQ(Utf8(static_cast<const char16_t *>(nullptr)), "");
  // Well-formed text makes the round trip in both directions.
  const std::u16string text = u"\u0000x\u007F\u0080\u07FF\u0800\uFFFF\U00010000\U0010FFFF";
  EXPECT_EQ(Utf16(Utf8(text)), text);
}

}  // namespace
