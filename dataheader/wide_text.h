// The 16-bit strings of the data header family: views, copies from the process allocator,
// paths in their 8-bit and 16-bit forms, and the decimal numbers of OFFSET and SIZE.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "foundation/alloc.h"
#include "platform/text.h"
#include "sc_common.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace sc::hdr {

using plat::View;

// Calls `visit` with the place of every c in [at, end), in order, while it returns true; false
// when a call returned false. Four characters are compared at once.
template <class Visit>
bool ForEachChar(const char16_t *at, const char16_t *end, char16_t c, Visit &&visit) {
#if defined(__SSE2__)
  // Eight at once where the instructions are there; the same places in the same order.
  const __m128i needle = _mm_set1_epi16(static_cast<short>(c));
  for (; end - at >= 8; at += 8) {
    const __m128i chars = _mm_loadu_si128(reinterpret_cast<const __m128i *>(at));
    for (unsigned hits = unsigned(_mm_movemask_epi8(_mm_cmpeq_epi16(chars, needle))); hits;) {
      const int lane = std::countr_zero(hits) / 2;  // two bits per character
      hits &= ~(3u << (2 * lane));
      if (!visit(at + lane)) return false;
    }
  }
#endif
  constexpr uint64_t kLow = 0x7FFF7FFF7FFF7FFFu;
  constexpr uint64_t kHigh = 0x8000800080008000u;
  const uint64_t pattern = uint64_t{c} * 0x0001000100010001u;
  for (; end - at >= 4; at += 4) {
    uint64_t word;
    std::memcpy(&word, at, sizeof word);
    const uint64_t x = word ^ pattern;
    // The top bit of each character that equals c, exactly (no carries between characters).
    for (uint64_t hits = ~(((x & kLow) + kLow) | x) & kHigh; hits;) {
      int lane;
      if constexpr (std::endian::native == std::endian::little) {
        lane = std::countr_zero(hits) / 16;
        hits &= hits - 1;
      } else {
        lane = std::countl_zero(hits) / 16;
        hits &= ~(uint64_t{1} << (63 - std::countl_zero(hits)));
      }
      if (!visit(at + lane)) return false;
    }
  }
  for (; at < end; ++at)
    if (*at == c && !visit(at)) return false;
  return true;
}

// The first c in [at, end), or end.
inline const char16_t *FindChar(const char16_t *at, const char16_t *end, char16_t c) {
  const char16_t *found = end;
  ForEachChar(at, end, c, [&](const char16_t *place) {
    found = place;
    return false;
  });
  return found;
}

// A NUL-terminated copy, or null when out of memory.
inline char16_t *CopyText(std::u16string_view text) {
  return plat::CopyText(text, RawAlloc);
}

// The 16-bit form of an 8-bit path, or null when out of memory.
inline char16_t *WidePathFromBytes(const char *path) {
  return plat::WideFromBytes(path, RawAlloc);
}
// The 8-bit form of a stored path: 0, the out-of-memory code, or the bad-state code for a null
// path or one that no byte string converts to.
VQRESULT BytesPathFromWide(const char16_t *path, char **out);

// Leading white space, an optional sign and decimal digits, as a 32-bit number (saturated);
// 0 when no digit follows.
int32_t ParseDecimal(const char16_t *text);
// The number right-aligned in 12 characters, padded with blanks; returns the 12.
inline constexpr size_t kNumberField = 12;
void FormatNumberField(int32_t value, char16_t (&field)[kNumberField]);

}  // namespace sc::hdr
