// Text conversion between 8-bit and 16-bit strings, in the two encodings the library uses, and
// the views and copies built on them. Nothing here allocates on its own: a copy takes its
// allocator as a parameter, so the class heap, a Resource's heap and the process allocator
// all share one implementation.
//
// System text (paths, broker strings, printed trees) is UTF-8 with byte escapes: a byte that
// is not part of a valid UTF-8 sequence becomes the lone surrogate U+DC80..U+DCFF of the same
// low eight bits and turns back into that byte, so every byte string survives the round trip
// and a path stored as 16-bit text opens the same file when converted back.
//
// Dictionary text (keys in images, text streams, attribute strings) is encoded unit by unit in
// 1 to 3 bytes (surrogates are not paired), and decoding is lenient: it never refuses a byte
// sequence, so every stream and image reads the same way everywhere.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace sc::plat {

// A null string reads as empty.
inline std::u16string_view View(const char16_t *text) {
  return text ? std::u16string_view(text) : std::u16string_view();
}

// ---- System text ------------------------------------------------------------------------

// Returned by Utf16ToBytes in strict mode for text that no byte string converts to.
inline constexpr size_t kNoByteForm = SIZE_MAX;

// Writes the 16-bit form of `bytes` to `out` (when not null) and returns its length in units.
// No NUL is added. Never fails.
size_t BytesToUtf16(std::string_view bytes, char16_t *out);

// Writes the 8-bit form of `text` to `out` (when not null) and returns its length in bytes.
// No NUL is added. A lone surrogate outside U+DC80..U+DCFF has no byte form: strict mode
// returns kNoByteForm, display mode writes U+FFFD in its place.
enum class Unpaired { kStrict, kReplace };
size_t Utf16ToBytes(std::u16string_view text, char *out, Unpaired unpaired);

// ---- Dictionary text --------------------------------------------------------------------

// Each returns the count written (or that would be written), the terminator included. The
// caller sizes the destination with the matching size function.
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

// ---- Copies -----------------------------------------------------------------------------
// `allocate(bytes)` returns a block or null when memory runs out. Every copy is terminated.

template <class Allocate>
char16_t *CopyText(std::u16string_view text, Allocate &&allocate) {
  auto *copy = static_cast<char16_t *>(allocate((text.size() + 1) * sizeof(char16_t)));
  if (!copy) return nullptr;
  if (!text.empty()) std::memcpy(copy, text.data(), text.size() * sizeof(char16_t));
  copy[text.size()] = 0;
  return copy;
}

// The 16-bit form of system text.
template <class Allocate>
char16_t *WideFromBytes(std::string_view bytes, Allocate &&allocate) {
  const size_t units = BytesToUtf16(bytes, nullptr);
  auto *wide = static_cast<char16_t *>(allocate((units + 1) * sizeof(char16_t)));
  if (!wide) return nullptr;
  BytesToUtf16(bytes, wide);
  wide[units] = 0;
  return wide;
}

// The 8-bit form of system text, strict: null also when the text has no byte form, which
// *noByteForm (when given) tells apart from running out of memory.
template <class Allocate>
char *BytesFromWide(std::u16string_view text, Allocate &&allocate, bool *noByteForm = nullptr) {
  const size_t bytes = Utf16ToBytes(text, nullptr, Unpaired::kStrict);
  if (noByteForm) *noByteForm = bytes == kNoByteForm;
  if (bytes == kNoByteForm) return nullptr;
  auto *narrow = static_cast<char *>(allocate(bytes + 1));
  if (!narrow) return nullptr;
  Utf16ToBytes(text, narrow, Unpaired::kStrict);
  narrow[bytes] = 0;
  return narrow;
}

// The UTF-8 form of dictionary text.
template <class Allocate>
char *UTF8FromWcs(const char16_t *text, Allocate &&allocate) {
  auto *narrow = static_cast<char *>(allocate(WcsUTF8Size(text)));
  if (narrow) WcsToUTF8(text, narrow);
  return narrow;
}

}  // namespace sc::plat
