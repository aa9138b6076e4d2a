// Arbitrary bytes as a dictionary text stream. The first byte picks the encoding, the second
// seeds the sizes of the pieces the stream is delivered in; the rest is the stream. Whatever
// was read is written out again in both writable encodings; that text, our own, must read
// back whole and, twice through, come out again byte for byte.
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
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

[[noreturn]] void Fail(const char *what, uint32_t format, uint32_t code) {
  std::fprintf(stderr, "dctstream: our own text in format %u %s (0x%08X)\n", format, what, code);
  std::abort();
}

std::string WriteOut(SafeHandle dictionary, uint32_t format) {
  std::string text;
  if (const uint32_t code = edct_DctWriteStream(dictionary, Collect, format, &text))
    Fail("cannot be written", format, code);
  return text;
}

// Reads our own text into a fresh dictionary, in pieces, and writes that out again.
std::string ReadAndWrite(const std::string &text, uint32_t format, uint32_t seed) {
  SafeHandle again;
  if (edct_DctOpen(g_vqNullHandle, nullptr, EDCT_OPEN_WRITABLE, nullptr, nullptr, &again) != 0)
    return text;
  Pieces pieces{reinterpret_cast<const uint8_t *>(text.data()), text.size(), 0, seed};
  if (const uint32_t code = edct_DctReadStream(again, Pieces::Read, format, &pieces))
    Fail("does not read back", format, code);
  std::string written = WriteOut(again, format);
  edct_DctClose(again);
  return written;
}

// The writer hands out a key's records newest first and the reader adds them in the order
// read, so each pass through the text turns the records of a key around: the second pass
// must give the first text back exactly.
void WriteAndReadBack(SafeHandle dictionary, uint32_t format, uint32_t seed) {
  const std::string text = WriteOut(dictionary, format);
  const std::string once = ReadAndWrite(text, format, seed);
  if (once.size() != text.size() || ReadAndWrite(once, format, seed + 1) != text)
    Fail("reads back as something else", format, 0);
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
