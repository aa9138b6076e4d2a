// UTF-8 and UTF-16 for the tool, malformed pieces replaced by U+FFFD.
#include "tools/text.h"

#include <cstdint>

namespace cli {
namespace {

// Decodes one character at `at`. A malformed piece (a byte that cannot start a character, or
// a start whose continuation breaks off or leaves the allowed range) is consumed as far as it
// went and gives U+FFFD, so the next character is read from where the piece ended.
char32_t Decode(std::string_view text, size_t &at) {
  const auto lead = static_cast<unsigned char>(text[at++]);
  if (lead < 0x80) return lead;
  size_t length;
  unsigned char low = 0x80, high = 0xBF;  // the range of the first continuation byte
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) low = 0xA0;   // shorter forms are overlong
    if (lead == 0xED) high = 0x9F;  // U+D800..U+DFFF are not characters
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;  // nothing beyond U+10FFFF
  } else {
    return kReplacement;  // a continuation byte, an overlong lead (C0, C1) or F5..FF
  }
  char32_t point = lead & (0x7F >> length);
  for (size_t k = 1; k < length; ++k) {
    if (at == text.size()) return kReplacement;
    const auto next = static_cast<unsigned char>(text[at]);
    if (next < (k == 1 ? low : 0x80) || next > (k == 1 ? high : 0xBF)) return kReplacement;
    point = point << 6 | (next & 0x3F);
    ++at;
  }
  return point;
}

void Append(std::string &out, char32_t point) {
  if (point < 0x80) {
    out += static_cast<char>(point);
  } else if (point < 0x800) {
    out += static_cast<char>(0xC0 | point >> 6);
    out += static_cast<char>(0x80 | (point & 0x3F));
  } else if (point < 0x10000) {
    out += static_cast<char>(0xE0 | point >> 12);
    out += static_cast<char>(0x80 | (point >> 6 & 0x3F));
    out += static_cast<char>(0x80 | (point & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | point >> 18);
    out += static_cast<char>(0x80 | (point >> 12 & 0x3F));
    out += static_cast<char>(0x80 | (point >> 6 & 0x3F));
    out += static_cast<char>(0x80 | (point & 0x3F));
  }
}

}  // namespace

std::u16string Utf16(std::string_view utf8) {
  std::u16string out;
  out.reserve(utf8.size());
  for (size_t at = 0; at < utf8.size();) {
    const char32_t point = Decode(utf8, at);
    if (point >= 0x10000) {
      out += static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10));
      out += static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF));
    } else {
      out += static_cast<char16_t>(point);
    }
  }
  return out;
}

std::string Utf8(std::u16string_view utf16) {
  std::string out;
  out.reserve(utf16.size());
  for (size_t i = 0; i < utf16.size(); ++i) {
    char32_t point = utf16[i];
    if (point >= 0xD800 && point < 0xDC00 && i + 1 < utf16.size() && utf16[i + 1] >= 0xDC00 &&
        utf16[i + 1] < 0xE000)
      point = 0x10000 + ((point - 0xD800) << 10) + (utf16[++i] - 0xDC00);
    else if (point >= 0xD800 && point < 0xE000)
      point = kReplacement;  // a surrogate without its partner
    Append(out, point);
  }
  return out;
}

std::string Utf8(const char16_t *utf16) {
  return utf16 ? Utf8(std::u16string_view(utf16)) : std::string();
}

bool IsUtf8(std::string_view bytes) {
  for (size_t at = 0; at < bytes.size();) {
    const size_t start = at;
    // A replacement character written as such in the text is well-formed.
    if (Decode(bytes, at) == kReplacement && bytes.substr(start, at - start) != "\xEF\xBF\xBD")
      return false;
  }
  return true;
}

size_t Characters(std::string_view utf8) {
  size_t count = 0;
  for (size_t at = 0; at < utf8.size(); ++count)
    Decode(utf8, at);
  return count;
}

}  // namespace cli
