// The 16-bit strings of the data header family: views, copies from the process allocator,
// paths in their 8-bit and 16-bit forms, and the decimal numbers of OFFSET and SIZE.
#pragma once

#include <cstdint>
#include <string_view>

#include "foundation/alloc.h"
#include "platform/text.h"
#include "sc_common.h"

namespace sc::hdr {

using plat::View;

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
