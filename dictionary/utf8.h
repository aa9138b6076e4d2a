// The one conversion between 16-bit strings and UTF-8 of the dictionaries. Units are encoded
// one by one in 1 to 3 bytes (surrogates are not paired), and decoding is lenient: it never
// refuses a byte sequence, so every stream and image reads the same way everywhere.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sc::edct {

// Each returns the count written (or that would be written), the terminator included.
uint32_t WcsToUTF8(const char16_t *source, char *destination);
uint32_t UTF8ToWcs(const char *source, char16_t *destination);
uint32_t WcsUTF8Size(const char16_t *source);
uint32_t UTF8WcsSize(const char *source);

// Decodes one unit at *cursor, never reading at or past `end` (reaching `end` reads as a NUL;
// a null `end` bounds nothing). Returns false at the end of the string; a decoded unit may
// itself be 0.
inline bool DecodeUTF8Unit(const unsigned char *&cursor, const unsigned char *end, char16_t *unit) {
  const auto ended = [end](const unsigned char *at) { return (end && at >= end) || *at == 0; };
  if (ended(cursor)) return false;
  const unsigned b0 = cursor[0];
  if (b0 < 0x80) {
    *unit = static_cast<char16_t>(b0);
    cursor += 1;
    return true;
  }
  if (ended(cursor + 1)) return false;
  const unsigned b1 = cursor[1];
  if (b0 < 0xE0) {
    *unit = static_cast<char16_t>(((b0 & 0x1F) << 6) | (b1 & 0x3F));
    cursor += 2;
    return true;
  }
  if (ended(cursor + 2)) return false;
  const unsigned b2 = cursor[2];
  *unit = static_cast<char16_t>(((b0 & 0x0F) << 12) | ((b1 & 0x3F) << 6) | (b2 & 0x3F));
  cursor += 3;
  return true;
}

// The sign of comparing `key` with the decoded form of the UTF-8 bytes [utf8, end), as an
// ordinal comparison of 16-bit units would give it after decoding (a decoded 0 unit ends the
// string, as it would there). Decodes on the fly, so nothing is allocated.
int CompareWcsUTF8(const char16_t *key, const unsigned char *utf8, const unsigned char *end);

}  // namespace sc::edct
