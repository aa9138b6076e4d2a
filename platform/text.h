// The conversion between 8-bit paths and 16-bit text. 8-bit strings are UTF-8; a byte that is
// not part of a valid UTF-8 sequence becomes the lone surrogate U+DC80..U+DCFF of the same
// low eight bits and turns back into that byte, so every byte string survives the round trip
// and a path stored as 16-bit text opens the same file when converted back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace sc::plat {

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

}  // namespace sc::plat
