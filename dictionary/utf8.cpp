#include "dictionary/utf8.h"

namespace sc::edct {
namespace {

uint32_t EncodedLength(char16_t unit) {
  return unit < 0x80 ? 1 : unit < 0x800 ? 2 : 3;
}

}  // namespace

uint32_t WcsToUTF8(const char16_t *source, char *destination) {
  auto *out = reinterpret_cast<unsigned char *>(destination);
  for (; *source; ++source) {
    const unsigned u = *source;
    if (u < 0x80) {
      *out++ = static_cast<unsigned char>(u);
    } else if (u < 0x800) {
      *out++ = static_cast<unsigned char>(0xC0 | (u >> 6));
      *out++ = static_cast<unsigned char>(0x80 | (u & 0x3F));
    } else {
      *out++ = static_cast<unsigned char>(0xE0 | (u >> 12));
      *out++ = static_cast<unsigned char>(0x80 | ((u >> 6) & 0x3F));
      *out++ = static_cast<unsigned char>(0x80 | (u & 0x3F));
    }
  }
  *out++ = 0;
  return static_cast<uint32_t>(out - reinterpret_cast<unsigned char *>(destination));
}

uint32_t WcsUTF8Size(const char16_t *source) {
  uint32_t size = 1;
  for (; *source; ++source)
    size += EncodedLength(*source);
  return size;
}

uint32_t UTF8ToWcs(const char *source, char16_t *destination) {
  const auto *cursor = reinterpret_cast<const unsigned char *>(source);
  char16_t *out = destination;
  char16_t unit;
  while (DecodeUTF8Unit(cursor, nullptr, &unit))
    *out++ = unit;
  *out++ = 0;
  return static_cast<uint32_t>(out - destination);
}

uint32_t UTF8WcsSize(const char *source) {
  const auto *cursor = reinterpret_cast<const unsigned char *>(source);
  uint32_t size = 1;
  char16_t unit;
  while (DecodeUTF8Unit(cursor, nullptr, &unit))
    ++size;
  return size;
}

int CompareWcsUTF8(const char16_t *key, const unsigned char *utf8, const unsigned char *end) {
  for (;; ++key) {
    char16_t unit = 0;
    if (!DecodeUTF8Unit(utf8, end, &unit)) unit = 0;
    if (*key != unit) return *key < unit ? -1 : 1;
    if (unit == 0) return 0;
  }
}

}  // namespace sc::edct
