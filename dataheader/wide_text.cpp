#include "dataheader/wide_text.h"

#include "sc_hdrpars.h"

namespace sc::hdr {

VQRESULT BytesPathFromWide(const char16_t *path, char **out) {
  *out = nullptr;
  if (!path) return HDRPARS_E_UNEXPECTED;
  bool noByteForm = false;
  *out = plat::BytesFromWide(path, RawAlloc, &noByteForm);
  if (*out) return 0;
  return noByteForm ? HDRPARS_E_UNEXPECTED : HDRPARS_E_OUT_OF_MEMORY;
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
