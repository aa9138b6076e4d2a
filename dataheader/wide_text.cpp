#include "dataheader/wide_text.h"

#include <cstring>

#include "foundation/alloc.h"
#include "platform/text.h"
#include "sc_hdrpars.h"

namespace sc::hdr {

char16_t *CopyText(std::u16string_view text) {
  auto *copy = static_cast<char16_t *>(RawAlloc((text.size() + 1) * sizeof(char16_t)));
  if (!copy) return nullptr;
  if (!text.empty()) std::memcpy(copy, text.data(), text.size() * sizeof(char16_t));
  copy[text.size()] = 0;
  return copy;
}

char16_t *WidePathFromBytes(const char *path) {
  const std::string_view bytes(path);
  const size_t units = plat::BytesToUtf16(bytes, nullptr);
  auto *wide = static_cast<char16_t *>(RawAlloc((units + 1) * sizeof(char16_t)));
  if (!wide) return nullptr;
  plat::BytesToUtf16(bytes, wide);
  wide[units] = 0;
  return wide;
}

VQRESULT BytesPathFromWide(const char16_t *path, char **out) {
  *out = nullptr;
  if (!path) return HDRPARS_E_UNEXPECTED;
  const std::u16string_view wide(path);
  const size_t bytes = plat::Utf16ToBytes(wide, nullptr, plat::Unpaired::kStrict);
  if (bytes == plat::kNoByteForm) return HDRPARS_E_UNEXPECTED;
  auto *narrow = static_cast<char *>(RawAlloc(bytes + 1));
  if (!narrow) return HDRPARS_E_OUT_OF_MEMORY;
  plat::Utf16ToBytes(wide, narrow, plat::Unpaired::kStrict);
  narrow[bytes] = 0;
  *out = narrow;
  return 0;
}

int32_t ParseDecimal(const char16_t *text) {
  if (!text) return 0;
  const auto space = [](char16_t c) { return c == u' ' || (c >= u'\t' && c <= u'\r'); };
  while (space(*text))
    ++text;
  bool negative = false;
  if (*text == u'+' || *text == u'-') negative = *text++ == u'-';
  int64_t value = 0;
  for (; *text >= u'0' && *text <= u'9'; ++text) {
    value = value * 10 + (*text - u'0');
    if (value > INT64_C(0x80000000)) value = INT64_C(0x80000000);  // saturated below
  }
  if (negative) value = -value;
  if (value > INT32_MAX) return INT32_MAX;
  if (value < INT32_MIN) return INT32_MIN;
  return static_cast<int32_t>(value);
}

void FormatNumberField(int32_t value, char16_t (&field)[kNumberField]) {
  int64_t magnitude = value < 0 ? -static_cast<int64_t>(value) : value;
  size_t at = kNumberField;
  do {
    field[--at] = static_cast<char16_t>(u'0' + magnitude % 10);
    magnitude /= 10;
  } while (magnitude != 0);
  if (value < 0) field[--at] = u'-';
  while (at > 0)
    field[--at] = u' ';
}

}  // namespace sc::hdr
