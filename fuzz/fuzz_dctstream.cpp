// Arbitrary bytes as a dictionary text stream. The first byte picks the encoding, the second
// seeds the sizes of the pieces the stream is delivered in; the rest is the stream. Whatever
// was read is written out again in both writable encodings, and that text read back.
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "speechcommon.h"

namespace {

// Larger inputs only repeat what smaller ones show.
constexpr size_t kLargestStream = 64 * 1024;

struct Pieces {
  const uint8_t *data;
  size_t size;
  size_t at;
  uint32_t state;  // the next piece size comes from here

  static uint32_t Read(void *user, void *buffer, uint32_t *count) {
    auto *self = static_cast<Pieces *>(user);
    self->state = self->state * 1103515245u + 12345u;
    // Mostly small pieces, so that characters and units are cut between deliveries.
    uint32_t piece = (self->state >> 16) % 8 == 0 ? *count : 1 + (self->state >> 16) % 5;
    if (piece > self->size - self->at) piece = static_cast<uint32_t>(self->size - self->at);
    std::memcpy(buffer, self->data + self->at, piece);
    self->at += piece;
    *count = piece;
    return 0;
  }
};

uint32_t Collect(void *user, const void *buffer, uint32_t count) {
  static_cast<std::string *>(user)->append(static_cast<const char *>(buffer), count);
  return 0;
}

// Writes the dictionary in one encoding and reads the text into a fresh dictionary.
void WriteAndReadBack(SafeHandle dictionary, uint32_t format, uint32_t seed) {
  std::string text;
  if (edct_DctWriteStream(dictionary, Collect, format, &text) != 0) return;
  SafeHandle again;
  if (edct_DctOpen(g_vqNullHandle, nullptr, EDCT_OPEN_WRITABLE, nullptr, nullptr, &again) != 0)
    return;
  Pieces pieces{reinterpret_cast<const uint8_t *>(text.data()), text.size(), 0, seed};
  edct_DctReadStream(again, Pieces::Read, format, &pieces);
  edct_DctClose(again);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 2 || size > kLargestStream) return 0;
  const uint32_t format = data[0] % 3;
  SafeHandle dictionary;
  if (edct_DctOpen(g_vqNullHandle, nullptr, EDCT_OPEN_WRITABLE, nullptr, nullptr, &dictionary) != 0)
    return 0;
  Pieces pieces{data + 2, size - 2, 0, data[1]};
  edct_DctReadStream(dictionary, Pieces::Read, format, &pieces);
  const uint32_t ownOrder =
      std::endian::native == std::endian::little ? EDCT_FORMAT_UCS2LE : EDCT_FORMAT_UCS2BE;
  WriteAndReadBack(dictionary, EDCT_FORMAT_UTF8, data[1]);
  WriteAndReadBack(dictionary, ownOrder, data[1]);
  edct_DctClose(dictionary);
  return 0;
}
