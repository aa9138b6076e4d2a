#include "platform/text.h"

namespace sc::plat {
namespace {

constexpr char16_t kEscapeBase = 0xDC00;
constexpr char32_t kReplacement = 0xFFFD;

// ---- System text ------------------------------------------------------------------------

bool IsContinuation(unsigned char byte) {
  return (byte & 0xC0) == 0x80;
}

// Length of the valid UTF-8 sequence at the start of `rest` and its code point, or 0 when the
// first byte does not start one (overlong forms, surrogates and values past U+10FFFF included).
size_t DecodeOne(std::string_view rest, char32_t &point) {
  const auto at = [&](size_t i) { return static_cast<unsigned char>(rest[i]); };
  const unsigned char lead = at(0);
  if (lead < 0x80) {
    point = lead;
    return 1;
  }
  size_t length;
  unsigned char low = 0x80, high = 0xBF;  // allowed range of the second byte
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
    point = lead & 0x1F;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    point = lead & 0x0F;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    point = lead & 0x07;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    return 0;
  }
  if (rest.size() < length || at(1) < low || at(1) > high) return 0;
  for (size_t i = 1; i < length; ++i) {
    if (!IsContinuation(at(i))) return 0;
    point = (point << 6) | (at(i) & 0x3F);
  }
  return length;
}

size_t EncodeOne(char32_t point, char *out) {
  char buffer[4];
  size_t length;
  if (point < 0x80) {
    buffer[0] = static_cast<char>(point);
    length = 1;
  } else if (point < 0x800) {
    buffer[0] = static_cast<char>(0xC0 | (point >> 6));
    buffer[1] = static_cast<char>(0x80 | (point & 0x3F));
    length = 2;
  } else if (point < 0x10000) {
    buffer[0] = static_cast<char>(0xE0 | (point >> 12));
    buffer[1] = static_cast<char>(0x80 | ((point >> 6) & 0x3F));
    buffer[2] = static_cast<char>(0x80 | (point & 0x3F));
    length = 3;
  } else {
    buffer[0] = static_cast<char>(0xF0 | (point >> 18));
    buffer[1] = static_cast<char>(0x80 | ((point >> 12) & 0x3F));
    buffer[2] = static_cast<char>(0x80 | ((point >> 6) & 0x3F));
    buffer[3] = static_cast<char>(0x80 | (point & 0x3F));
    length = 4;
  }
  if (out)
    for (size_t i = 0; i < length; ++i)
      out[i] = buffer[i];
  return length;
}

// ---- Dictionary text --------------------------------------------------------------------

uint32_t EncodedLength(char16_t unit) {
  return unit < 0x80 ? 1 : unit < 0x800 ? 2 : 3;
}

}  // namespace

size_t BytesToUtf16(std::string_view bytes, char16_t *out) {
  size_t units = 0;
  const auto put = [&](char16_t unit) {
    if (out) out[units] = unit;
    ++units;
  };
  size_t i = 0;
  while (i < bytes.size()) {
    char32_t point;
    const size_t length = DecodeOne(bytes.substr(i), point);
    if (length == 0) {
      put(static_cast<char16_t>(kEscapeBase | static_cast<unsigned char>(bytes[i])));
      ++i;
      continue;
    }
    i += length;
    if (point >= 0x10000) {
      point -= 0x10000;
      put(static_cast<char16_t>(0xD800 | (point >> 10)));
      put(static_cast<char16_t>(0xDC00 | (point & 0x3FF)));
    } else {
      put(static_cast<char16_t>(point));
    }
  }
  return units;
}

size_t Utf16ToBytes(std::u16string_view text, char *out, Unpaired unpaired) {
  size_t bytes = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    const char16_t unit = text[i];
    char *at = out ? out + bytes : nullptr;
    if (unit >= 0xD800 && unit <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
        text[i + 1] <= 0xDFFF) {
      const char32_t point = 0x10000 + ((char32_t(unit) - 0xD800) << 10) + (text[i + 1] - 0xDC00);
      bytes += EncodeOne(point, at);
      ++i;
    } else if (unit >= 0xDC80 && unit <= 0xDCFF) {
      if (at) *at = static_cast<char>(unit & 0xFF);
      ++bytes;
    } else if (unit >= 0xD800 && unit <= 0xDFFF) {
      if (unpaired == Unpaired::kStrict) return kNoByteForm;
      bytes += EncodeOne(kReplacement, at);
    } else {
      bytes += EncodeOne(unit, at);
    }
  }
  return bytes;
}

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

}  // namespace sc::plat
