// Helpers of the text stream tests: streams in memory delivered in chosen pieces, a sink
// that records every block, 16-bit encodings, and a canonical dump of a dictionary.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "edct/edct_test_util.h"
#include "speechcommon.h"

namespace stream_test {

inline constexpr uint32_t kWriteFailed = 0x801E0001u;
inline constexpr uint32_t kReadFailed = 0x801E0002u;
inline constexpr uint32_t kBadFormat = 0x801E0003u;
inline constexpr uint32_t kIteratorOpen = 0x801E000Eu;
inline constexpr uint32_t kNotImplemented = 0x801E0081u;
inline constexpr bool kLittleEndianHost = std::endian::native == std::endian::little;

// Bytes delivered in pieces whose sizes cycle through `splits` (each at most the count the
// reader offers). The callback fails with `failValue` at call number `failAt` (1-based).
struct Source {
  std::string bytes;
  std::vector<uint32_t> splits{1024};
  size_t at = 0;
  size_t nextSplit = 0;
  int calls = 0;
  int afterEnd = 0;  // calls made once everything was delivered
  int failAt = 0;
  uint32_t failValue = 0;

  static uint32_t Read(void *user, void *buffer, uint32_t *count) {
    auto *self = static_cast<Source *>(user);
    ++self->calls;
    EXPECT_EQ(*count, 1024u);
    if (self->calls == self->failAt) return self->failValue;
    if (self->at == self->bytes.size()) ++self->afterEnd;
    uint32_t size = self->splits[self->nextSplit++ % self->splits.size()];
    size = std::min<uint32_t>({size, *count, static_cast<uint32_t>(self->bytes.size() - self->at)});
    std::memcpy(buffer, self->bytes.data() + self->at, size);
    self->at += size;
    *count = size;
    return 0;
  }
};

inline uint32_t Read(SafeHandle dictionary, const std::string &bytes,
                     uint32_t format = EDCT_FORMAT_UTF8, std::vector<uint32_t> splits = {1024}) {
  Source source;
  source.bytes = bytes;
  source.splits = std::move(splits);
  return edct_DctReadStream(dictionary, Source::Read, format, &source);
}

// Records each block handed over; fails with `failValue` at call `failAt`.
struct Sink {
  std::string bytes;
  std::vector<uint32_t> blocks;
  int failAt = 0;
  uint32_t failValue = 0;

  static uint32_t Write(void *user, const void *buffer, uint32_t count) {
    auto *self = static_cast<Sink *>(user);
    self->blocks.push_back(count);
    if (static_cast<int>(self->blocks.size()) == self->failAt) return self->failValue;
    self->bytes.append(static_cast<const char *>(buffer), count);
    return 0;
  }
};

// The stream written in one format; the result must be `expected`.
inline std::string Write(SafeHandle dictionary, uint32_t format = EDCT_FORMAT_UTF8,
                         uint32_t expected = 0) {
  Sink sink;
  EXPECT_EQ(edct_DctWriteStream(dictionary, Sink::Write, format, &sink), expected);
  return sink.bytes;
}

// A UTF-16 text as stream bytes with its byte-order mark, in either order.
inline std::string Utf16(const std::u16string &text, bool bigEndian) {
  std::string bytes;
  for (char16_t unit : u"\uFEFF" + text) {
    const char high = static_cast<char>(unit >> 8), low = static_cast<char>(unit & 0xFF);
    bytes += bigEndian ? std::string{high, low} : std::string{low, high};
  }
  return bytes;
}

// ASCII (and the \u escapes of u"" literals) widened unit by unit.
inline std::u16string Widen(const std::string &text) {
  return std::u16string(text.begin(), text.end());
}

// UTF-8, each unit encoded on its own.
inline std::string Utf8(const std::u16string &text) {
  std::string bytes;
  for (char16_t unit : text) {
    if (unit < 0x80) {
      bytes += static_cast<char>(unit);
    } else if (unit < 0x800) {
      bytes += static_cast<char>(0xC0 | unit >> 6);
      bytes += static_cast<char>(0x80 | (unit & 0x3F));
    } else {
      bytes += static_cast<char>(0xE0 | unit >> 12);
      bytes += static_cast<char>(0x80 | ((unit >> 6) & 0x3F));
      bytes += static_cast<char>(0x80 | (unit & 0x3F));
    }
  }
  return bytes;
}

inline std::string Hex(const void *data, uint32_t size) {
  std::string out;
  char pair[4];
  for (uint32_t i = 0; i < size; ++i) {
    std::snprintf(pair, sizeof pair, "%02x", static_cast<const unsigned char *>(data)[i]);
    out += pair;
  }
  return out;
}

inline std::string Narrow(const char16_t *text) {
  std::string out;
  for (; text && *text; ++text) {
    char unit[8];
    std::snprintf(unit, sizeof unit, *text < 0x80 ? "%c" : "<%04x>", static_cast<unsigned>(*text));
    out += unit;
  }
  return out;
}

// Every key with its entries in iterator order, one line per entry: key, the six attributes
// and the data in hex. Two dictionaries with the same dump hold the same things.
inline std::vector<std::string> Dump(SafeHandle dictionary) {
  std::vector<std::string> lines;
  SafeHandle iterator;
  EXPECT_EQ(edct_DctItOpen(g_vqNullHandle, dictionary, &iterator), 0u);
  uint32_t ended = 0;
  while (edct_DctItHasEnded(iterator, &ended) == 0 && !ended) {
    const char16_t *key = nullptr;
    const EDCT_ENTRY *entries = nullptr;
    uint32_t count = 0, newSection = 0;
    EXPECT_EQ(edct_DctItCurrent(iterator, &key, &entries, &count, &newSection), 0u);
    for (uint32_t i = 0; i < count; ++i) {
      const EDCT_ENTRY &e = entries[i];
      char numbers[64];
      std::snprintf(numbers, sizeof numbers, "%u/%u/%x", e.Content, e.Representation, e.POS);
      lines.push_back(Narrow(key) + " " + numbers + " L=" + (e.Language ? e.Language : "-") +
                      " M=" + (e.Model ? std::string(e.Model, 128) : "-") +
                      " E=" + (e.Engine ? e.Engine : "-") + " " + Hex(e.Data, e.DataSize));
    }
    EXPECT_EQ(edct_DctItIncrement(iterator), 0u);
  }
  EXPECT_EQ(edct_DctItClose(iterator), 0u);
  return lines;
}

struct Info {
  std::string name, description;
  uint32_t keys = 0, entries = 0;
};

inline Info GetInfo(SafeHandle dictionary) {
  EDCT_INFO info{};
  EXPECT_EQ(edct_DctGetInfo(dictionary, &info), 0u);
  Info out{info.Name ? Narrow(info.Name) : "(none)",
           info.Description ? Narrow(info.Description) : "(none)", info.NbrKeys, info.NbrEntries};
  EXPECT_EQ(edct_DctFreeInfo(dictionary, &info), 0u);
  return out;
}

// The worked example as the writer writes it and the reader reads it.
inline const std::string kWorkedExample =
    "[Header]\r\n"
    "Name = Demo\r\n"
    "Description = Test\r\n"
    "\r\n"
    "[SubHeader]\r\n"
    "Language = en\r\n"
    "Content = EDCT_CONTENT_ORTHOGRAPHIC\r\n"
    "Representation = EDCT_REPR_SZ_STRING\r\n"
    "\r\n"
    "[Data]\r\n"
    "hello\t\"hello world\"\r\n"
    "hi\thi\r\n";

}  // namespace stream_test
