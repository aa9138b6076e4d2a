// The byte layout of an archive image, shared by the read-only view, the writer and the
// loader. Nothing in an image is a pointer: references are byte offsets, strings are inline,
// and every alignment counts from the image's first byte. Multi-byte values are in the
// writer's byte order (the readers accept only their own), and are read with memcpy so that
// an image at any address reads the same.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "sc_edct.h"

namespace sc::edct::image {

inline constexpr uint32_t kFormat = 3;
inline constexpr uint32_t kModelSize = 128;
// The writer fills its whole buffer with this byte first, so padding holds it; the data
// block of every section also starts with it.
inline constexpr unsigned char kMarker = 0xAA;

// Key encodings of a section.
inline constexpr uint32_t kKeysUtf8 = 0;
inline constexpr uint32_t kKeysUtf16Le = 1;
inline constexpr uint32_t kKeysUtf16Be = 2;
inline constexpr uint32_t kKeysUtf16Host =
    std::endian::native == std::endian::little ? kKeysUtf16Le : kKeysUtf16Be;
inline constexpr uint32_t kKeysUtf16Foreign = kKeysUtf16Le + kKeysUtf16Be - kKeysUtf16Host;

// At offset 0.
struct Header {
  uint32_t format;
  uint32_t imageSize;  // from offset 0 to the end of the last section, padding included
  uint32_t reserved;
  uint32_t nbrKeys;
  uint32_t nbrEntries;
  uint32_t sectionCount;
};

// At the start of each section, 4-aligned. After it: the Language string, the 128-byte Model
// block and the Engine string (each when present); the key offset table (keyCount + 1 u32,
// 4-aligned) and the key block; the data offset table (keyCount + 1 i32, 4-aligned) and the
// data block, which begins with the marker byte.
struct SectionHeader {
  uint32_t sectionSize;  // from this header to the end of the data block
  uint32_t keyEncoding;
  uint32_t content;
  uint32_t representation;
  uint32_t pos;
  uint32_t languagePresent;
  uint32_t modelPresent;
  uint32_t enginePresent;
  uint32_t keyCount;
  uint32_t entryCount;
  uint32_t keyBlockSize;
  uint32_t dataBlockSize;  // from the marker to the end of the last item
};

static_assert(sizeof(Header) == 24 && sizeof(SectionHeader) == 48);

// A data offset table entry i >= 0 is where key i's single item begins; a negative one is
// minus the offset of its item list: (pad to 2, u16 length, bytes) per item, then pad to 2.
// Entry keyCount is the data block size, so |entry i+1| ends key i's data.

constexpr uint64_t PadTo(uint64_t offset, uint32_t alignment) {
  return (offset + alignment - 1) / alignment * alignment;
}

// UTF-8 keys are chosen only when they are strictly smaller than their UTF-16 form.
constexpr bool KeysAsUtf8(uint64_t utf8Bytes, uint64_t utf16Bytes) {
  return utf8Bytes < utf16Bytes;
}

// The data of orthographic entries in wide strings are 16-bit units and follow the byte
// order of the image; all other data are byte strings.
constexpr bool DataAreUnits(uint32_t content, uint32_t representation) {
  return content == EDCT_CONTENT_ORTHOGRAPHIC && representation == EDCT_REPR_WSZ_STRING;
}

template <class T>
T Load(const unsigned char *at) {
  T value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

template <class T>
void Store(unsigned char *at, T value) {
  std::memcpy(at, &value, sizeof value);
}

// The value with its bytes in the opposite order.
template <class T>
T Reversed(T value) {
  unsigned char bytes[sizeof(T)];
  std::memcpy(bytes, &value, sizeof value);
  for (size_t i = 0; i < sizeof(T) / 2; ++i) {
    const unsigned char held = bytes[i];
    bytes[i] = bytes[sizeof(T) - 1 - i];
    bytes[sizeof(T) - 1 - i] = held;
  }
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

// Exchanges the two bytes of each 16-bit unit of [bytes, bytes + size); an odd last byte
// stays.
inline void ReverseUnits(unsigned char *bytes, size_t size) {
  for (size_t i = 0; i + 1 < size; i += 2) {
    const unsigned char held = bytes[i];
    bytes[i] = bytes[i + 1];
    bytes[i + 1] = held;
  }
}

}  // namespace sc::edct::image
