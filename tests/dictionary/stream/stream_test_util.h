// Helpers of the text stream tests: streams in memory delivered in chosen pieces, a sink
// that records every block, encodings, and a canonical dump of a dictionary.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <string>
#include <vector>

#include "platform/text.h"
#include "dictionary/edct_test_util.h"

namespace stream_test {

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

// Stream bytes of a Latin-1 text as 16-bit units after their byte-order mark.
inline std::string Utf16(const std::string &text, bool bigEndian) {
  std::string bytes = bigEndian ? "\xFE\xFF" : "\xFF\xFE";
  for (const char character : text)
    bytes += bigEndian ? std::string{'\0', character} : std::string{character, '\0'};
  return bytes;
}

// The data of a WSZ entry: the units and their terminator.
inline std::string Bytes(const std::u16string &text) {
  return std::string(reinterpret_cast<const char *>(text.c_str()), (text.size() + 1) * 2);
}

// One line per entry in iterator order: key (in UTF-8), content/representation/POS, the three
// attributes ("-" when absent) and the data.
inline std::vector<std::string> Dump(SafeHandle dictionary) {
  std::vector<std::string> lines;
  const auto text = [](const char *s, size_t n = 0) {
    return s ? std::string(s, n ? n : std::strlen(s)) : "-";
  };
  SafeHandle iterator;
  EXPECT_EQ(edct_DctItOpen(g_vqNullHandle, dictionary, &iterator), 0u);
  uint32_t ended = 0;
  while (edct_DctItHasEnded(iterator, &ended) == 0 && !ended) {
    const char16_t *key = nullptr;
    const EDCT_ENTRY *entries = nullptr;
    uint32_t count = 0;
    EXPECT_EQ(edct_DctItCurrent(iterator, &key, &entries, &count, nullptr), 0u);
    std::string name(3 * std::char_traits<char16_t>::length(key) + 1, '\0');
    name.resize(sc::plat::WcsToUTF8(key, name.data()) - 1);
    for (const EDCT_ENTRY &e : std::vector<EDCT_ENTRY>(entries, entries + count))
      lines.push_back(name + " " + std::to_string(e.Content) + "/" +
                      std::to_string(e.Representation) + "/" + std::to_string(e.POS) + " " +
                      text(e.Language) + " " + text(e.Model, 128) + " " + text(e.Engine) + " " +
                      std::string(static_cast<const char *>(e.Data), e.DataSize));
    EXPECT_EQ(edct_DctItIncrement(iterator), 0u);
  }
  EXPECT_EQ(edct_DctItClose(iterator), 0u);
  return lines;
}

// The worked example as the writer writes it and the reader reads it.
inline const std::string kWorkedExample =
    "[Header]\r\nName = Demo\r\nDescription = Test\r\n\r\n[SubHeader]\r\nLanguage = en\r\n"
    "Content = EDCT_CONTENT_ORTHOGRAPHIC\r\nRepresentation = EDCT_REPR_SZ_STRING\r\n\r\n"
    "[Data]\r\nhello\t\"hello world\"\r\nhi\thi\r\n";

}  // namespace stream_test
