// The tool's one conversion between UTF-8 and UTF-16, with one rule for malformed input: each
// maximal piece that does not form a character becomes U+FFFD, in either direction. So a lone
// surrogate, an overlong form, a stray continuation byte or a sequence cut short never turns
// into a different character, and conversion never fails.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace cli {

inline constexpr char32_t kReplacement = 0xFFFD;

std::u16string Utf16(std::string_view utf8);
std::string Utf8(std::u16string_view utf16);
// A null pointer gives "".
std::string Utf8(const char16_t *utf16);

// Whether the bytes are well-formed UTF-8 (no piece would be replaced).
bool IsUtf8(std::string_view bytes);

// Characters (code points) in UTF-8 text: what a column counts.
size_t Characters(std::string_view utf8);

}  // namespace cli
