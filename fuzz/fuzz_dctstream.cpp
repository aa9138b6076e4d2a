// Arbitrary bytes as a dictionary text stream. The first byte picks the encoding, the second
// seeds the sizes of the pieces the stream is delivered in; the rest is the stream. Whatever
// was read is written out again in both writable encodings; that text, our own, must read
// back with every entry whenever the entries are of a form the writer writes as they read.
#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/text.h"
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

uint32_t Entries(SafeHandle dictionary) {
  EDCT_INFO info;
  if (edct_DctGetInfo(dictionary, &info) != 0) return 0;
  edct_DctFreeInfo(dictionary, &info);
  return info.NbrEntries;
}

// Whether 8-bit text is UTF-8 that the dictionaries' conversion reads as it was written: no
// malformed sequence (a lead byte could swallow the quote written after it) and nothing beyond
// U+FFFF. Such text converts to 16-bit units without escapes or surrogate pairs.
bool PlainUtf8(std::string_view bytes) {
  std::u16string units(sc::plat::BytesToUtf16(bytes, nullptr), u'\0');
  sc::plat::BytesToUtf16(bytes, units.data());
  return std::none_of(units.begin(), units.end(),
                      [](char16_t unit) { return unit >= 0xD800 && unit <= 0xDFFF; });
}

// Text that reads back as one token: not empty, no line break.
template <class Char>
bool OneToken(std::basic_string_view<Char> text) {
  const Char blank[] = {' ', 0}, breaks[] = {'\n', '\r'};
  return text.find_first_not_of(blank, 0, 2) != text.npos &&
         text.find_first_of(breaks, 0, 2) == text.npos;
}

// Whether every entry is written in a form that reads back as one entry. The writer may write
// what the reader takes otherwise: keys are quoted only for a blank, so a control character,
// an empty key or the key "[SubHeader]" changes the lines around it; string data is written
// as it is, so a line break in it ends the line early; empty data (an empty string, list or
// byte run) leaves an empty token, after which the reader takes the next line as the data;
// 8-bit text that is not plain UTF-8 may run into what follows it.
bool WrittenAsRead(SafeHandle dictionary) {
  SafeHandle iterator;
  if (edct_DctItOpen(g_vqNullHandle, dictionary, &iterator) != 0) return false;
  bool clean = true;
  uint32_t ended = 0;
  while (clean && edct_DctItHasEnded(iterator, &ended) == 0 && !ended) {
    const char16_t *key = nullptr;
    const EDCT_ENTRY *entries = nullptr;
    uint32_t count = 0;
    if (edct_DctItCurrent(iterator, &key, &entries, &count, nullptr) != 0) break;
    const std::u16string_view name(key);
    clean = !name.empty() && name != u"[SubHeader]" &&
            std::all_of(name.begin(), name.end(), [](char16_t unit) { return unit >= 0x20; });
    for (uint32_t i = 0; clean && i < count; ++i) {
      const EDCT_ENTRY &entry = entries[i];
      const auto *data = static_cast<const char *>(entry.Data);
      for (const char *attribute : {entry.Language, entry.Engine})
        clean = clean && (!attribute || PlainUtf8(attribute));
      if (entry.Model) clean = clean && PlainUtf8({entry.Model, strnlen(entry.Model, 128)});
      switch (entry.Representation) {
        case EDCT_REPR_BINARY:
          clean = clean && entry.DataSize > 0;
          break;
        case EDCT_REPR_WSZ_STRING:
          clean = clean && OneToken(std::u16string_view(reinterpret_cast<const char16_t *>(data)));
          break;
        case EDCT_REPR_SZ_STRING:
          clean = clean && OneToken(std::string_view(data)) && PlainUtf8(data);
          break;
        default:  // a list of strings, the first of which must not be empty
          clean = clean && *data;
          for (const char *piece = data; clean && *piece; piece += strlen(piece) + 1)
            clean = OneToken(std::string_view(piece)) && PlainUtf8(piece);
      }
    }
    edct_DctItIncrement(iterator);
  }
  edct_DctItClose(iterator);
  return clean;
}

// Writes the dictionary in one encoding; when every entry is written as it reads, the text
// must read back, in pieces, with every entry.
void WriteAndReadBack(SafeHandle dictionary, uint32_t format, uint32_t seed) {
  std::string text;
  if (const uint32_t code = edct_DctWriteStream(dictionary, Collect, format, &text))
    Fail("cannot be written", format, code);
  if (!WrittenAsRead(dictionary)) return;
  SafeHandle again;
  if (edct_DctOpen(g_vqNullHandle, nullptr, EDCT_OPEN_WRITABLE, nullptr, nullptr, &again) != 0)
    return;
  Pieces pieces{reinterpret_cast<const uint8_t *>(text.data()), text.size(), 0, seed};
  if (const uint32_t code = edct_DctReadStream(again, Pieces::Read, format, &pieces))
    Fail("does not read back", format, code);
  if (Entries(again) != Entries(dictionary)) Fail("reads back other entries", format, 0);
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
