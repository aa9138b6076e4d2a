// Helpers of the text stream tests: streams in memory delivered in chosen pieces, a sink
// that records every block, encodings, and a canonical dump of a dictionary.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "edct/edct_test_util.h"

namespace stream_test {

inline constexpr uint32_t kBadFormat = 0x801E0003u;
inline constexpr uint32_t kNotImplemented = 0x801E0081u;
inline constexpr uint32_t kOwnOrder = std::endian::native == std::endian::little ? 1u : 2u;

// Bytes delivered in pieces whose sizes cycle through `splits`; call number `failAt` fails
// with `failValue`.
struct Source {
  std::string bytes;
  std::vector<uint32_t> splits{1024};
  size_t at = 0, next = 0;
  int calls = 0, failAt = 0;
  uint32_t failValue = 0;

  static uint32_t Read(void *user, void *buffer, uint32_t *count) {
    auto *self = static_cast<Source *>(user);
    EXPECT_EQ(*count, 1024u);
    if (++self->calls == self->failAt) return self->failValue;
    const size_t size = std::min<size_t>(self->splits[self->next++ % self->splits.size()],
                                         self->bytes.size() - self->at);
    std::memcpy(buffer, self->bytes.data() + self->at, size);
    self->at += size;
    *count = static_cast<uint32_t>(size);
    return 0;
  }
};

inline uint32_t Read(SafeHandle dictionary, const std::string &bytes,
                     uint32_t format = EDCT_FORMAT_UTF8, std::vector<uint32_t> splits = {1024}) {
  Source source{bytes, std::move(splits)};
  return edct_DctReadStream(dictionary, Source::Read, format, &source);
}

// Records each block handed over; call number `failAt` fails with `failValue`.
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

inline std::string Write(SafeHandle dictionary, uint32_t format = EDCT_FORMAT_UTF8) {
  Sink sink;
  EXPECT_EQ(edct_DctWriteStream(dictionary, Sink::Write, format, &sink), 0u);
  return sink.bytes;
}

// Stream bytes of a 16-bit text with its byte-order mark.
inline std::string Utf16(const std::u16string &text, bool bigEndian) {
  std::string bytes;
  for (char16_t unit : u"\uFEFF" + text) {
    const char high = static_cast<char>(unit >> 8), low = static_cast<char>(unit & 0xFF);
    bytes += bigEndian ? std::string{high, low} : std::string{low, high};
  }
  return bytes;
}

// UTF-8, each unit encoded on its own.
inline std::string Utf8(const std::u16string &text) {
  std::string bytes;
  for (char16_t u : text) {
    if (u < 0x80) {
      bytes += static_cast<char>(u);
    } else if (u < 0x800) {
      bytes += {static_cast<char>(0xC0 | u >> 6), static_cast<char>(0x80 | (u & 0x3F))};
    } else {
      bytes += {static_cast<char>(0xE0 | u >> 12), static_cast<char>(0x80 | ((u >> 6) & 0x3F)),
                static_cast<char>(0x80 | (u & 0x3F))};
    }
  }
  return bytes;
}

inline std::u16string Widen(const std::string &ascii) {
  return std::u16string(ascii.begin(), ascii.end());
}

inline std::string Bytes(const std::u16string &text) {
  return std::string(reinterpret_cast<const char *>(text.c_str()), (text.size() + 1) * 2);
}

inline std::string Narrow(const char16_t *text) {
  return text ? Utf8(text) : "(none)";
}

// One line per entry in iterator order: key, the six attributes and the data.
inline std::vector<std::string> Dump(SafeHandle dictionary) {
  std::vector<std::string> lines;
  SafeHandle iterator;
  EXPECT_EQ(edct_DctItOpen(g_vqNullHandle, dictionary, &iterator), 0u);
  uint32_t ended = 0;
  while (edct_DctItHasEnded(iterator, &ended) == 0 && !ended) {
    const char16_t *key = nullptr;
    const EDCT_ENTRY *entries = nullptr;
    uint32_t count = 0;
    EXPECT_EQ(edct_DctItCurrent(iterator, &key, &entries, &count, nullptr), 0u);
    for (const EDCT_ENTRY &e : std::vector<EDCT_ENTRY>(entries, entries + count)) {
      char numbers[40];
      std::snprintf(numbers, sizeof numbers, " %u/%u/%x ", e.Content, e.Representation, e.POS);
      lines.push_back(Narrow(key) + numbers + (e.Language ? e.Language : "-") + " " +
                      (e.Model ? std::string(e.Model, 128) : "-") + " " +
                      (e.Engine ? e.Engine : "-") + " " +
                      std::string(static_cast<const char *>(e.Data), e.DataSize));
    }
    EXPECT_EQ(edct_DctItIncrement(iterator), 0u);
  }
  EXPECT_EQ(edct_DctItClose(iterator), 0u);
  return lines;
}

// Name, Description and the entry count.
inline std::string Info(SafeHandle dictionary) {
  EDCT_INFO info{};
  EXPECT_EQ(edct_DctGetInfo(dictionary, &info), 0u);
  const std::string text =
      Narrow(info.Name) + "|" + Narrow(info.Description) + "|" + std::to_string(info.NbrEntries);
  EXPECT_EQ(edct_DctFreeInfo(dictionary, &info), 0u);
  return text;
}

// The worked example as the writer writes it and the reader reads it.
inline const std::string kWorkedExample =
    "[Header]\r\nName = Demo\r\nDescription = Test\r\n\r\n[SubHeader]\r\nLanguage = en\r\n"
    "Content = EDCT_CONTENT_ORTHOGRAPHIC\r\nRepresentation = EDCT_REPR_SZ_STRING\r\n\r\n"
    "[Data]\r\nhello\t\"hello world\"\r\nhi\thi\r\n";

}  // namespace stream_test
