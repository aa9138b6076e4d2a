// Helpers shared by the dictionary tests: entries, lookups and hand-built images.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "foundation/alloc.h"
#include "speechcommon.h"
#include "test_util.h"

namespace edct_test {

// The worked example, written out by hand (little-endian host): Name "D", no Description;
// one orthographic SZ section without attributes; key a with the item "x\0", key b with the
// items "p\0" and "qq\0"; UTF-8 keys, since they take 4 bytes against 8.
alignas(4) inline constexpr unsigned char kWorkedExample[126] = {
    // header: format 3, size 126, reserved, 2 keys, 3 entries, 1 section
    3, 0, 0, 0, 126, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 1, 0, 0, 0,
    // Name "D", empty Description, padding, the section table
    0x44, 0, 0, 0, 0, 0, 0xAA, 0xAA, 0, 0, 0, 0,
    // section header: size 90, UTF-8 keys, content 2, representation 2, POS unspecified, no
    // attributes, 2 keys, 3 entries, key block 4, data block 14
    90, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0, 2, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0, 14, 0, 0, 0,
    // key offsets {0, 2, 4}, key block "a\0b\0", data offsets {1, -3, 14}
    0, 0, 0, 0, 2, 0, 0, 0, 4, 0, 0, 0, 0x61, 0, 0x62, 0, 1, 0, 0, 0, 0xFD, 0xFF, 0xFF, 0xFF, 14, 0,
    0, 0,
    // marker, the item of a, pad, the items of b with their lengths, pad
    0xAA, 0x78, 0, 0xAA, 2, 0, 0x70, 0, 3, 0, 0x71, 0x71, 0, 0xAA};

alignas(4) inline constexpr unsigned char kEmptyImage[28] = {
    3, 0, 0, 0, 28, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};

// An entry whose strings live as long as the object.
struct Entry {
  uint32_t content = EDCT_CONTENT_ORTHOGRAPHIC;
  uint32_t representation = EDCT_REPR_SZ_STRING;
  uint32_t pos = 0xFFFFFFFFu;
  const char *language = nullptr;
  const char *model = nullptr;  // 128 bytes when given
  const char *engine = nullptr;
  std::string data = {};

  EDCT_ENTRY Get() const {
    return EDCT_ENTRY{content, representation, pos,         language,
                      model,   engine,         data.data(), static_cast<uint32_t>(data.size())};
  }
};

inline std::string ModelBlock(const char *text) {
  std::string block(128, ' ');
  std::memcpy(block.data(), text, std::strlen(text) + 1);
  return block;
}

inline uint32_t Add(SafeHandle dictionary, const std::u16string &key,
                    const std::vector<Entry> &entries) {
  std::vector<EDCT_ENTRY> raw;
  for (const Entry &entry : entries)
    raw.push_back(entry.Get());
  return edct_DctAddEntry(dictionary, key.c_str(), raw.data(), static_cast<uint32_t>(raw.size()));
}

inline uint32_t Add(SafeHandle dictionary, const std::u16string &key, const std::string &data) {
  Entry entry;
  entry.data = data;
  return Add(dictionary, key, std::vector<Entry>{entry});
}

// The data of every entry a lookup returns, in order; empty when none.
inline std::vector<std::string> Lookup(SafeHandle dictionary, const std::u16string &key,
                                       const EDCT_FILTER *filter = nullptr) {
  EDCT_ENTRY *entries = nullptr;
  uint32_t count = 0;
  std::vector<std::string> out;
  const uint32_t result = edct_DctGetEntryData(dictionary, key.c_str(), filter, &entries, &count);
  if (result != 0) {
    EXPECT_EQ(result, EDCT_E_NOT_FOUND);
    EXPECT_EQ(entries, nullptr);
    EXPECT_EQ(count, 0u);
    return out;
  }
  for (uint32_t i = 0; i < count; ++i)
    out.emplace_back(static_cast<const char *>(entries[i].Data), entries[i].DataSize);
  EXPECT_EQ(edct_DctFreeEntryData(dictionary, entries, count), 0u);
  return out;
}

using Data = std::vector<std::string>;

// "Name|Description|NbrKeys|NbrEntries", "-" for a text not there (units narrowed to bytes).
inline std::string Summary(SafeHandle dictionary) {
  EDCT_INFO info{};
  EXPECT_EQ(edct_DctGetInfo(dictionary, &info), 0u);
  const auto text = [](const char16_t *s) {
    return s ? std::string(s, s + std::char_traits<char16_t>::length(s)) : std::string("-");
  };
  const std::string summary = text(info.Name) + "|" + text(info.Description) + "|" +
                              std::to_string(info.NbrKeys) + "|" + std::to_string(info.NbrEntries);
  EXPECT_EQ(edct_DctFreeInfo(dictionary, &info), 0u);
  return summary;
}

// A dictionary opened from an image (or a new writable one) and closed with the test.
class Opened {
 public:
  Opened(const void *image, uint32_t mode, EDCT_NOTIFY_FN notify = nullptr, void *user = nullptr) {
    EXPECT_EQ(edct_DctOpen(g_vqNullHandle, image, mode, notify, user, &handle_), 0u);
  }
  ~Opened() { EXPECT_EQ(handle_.pointer ? edct_DctClose(handle_) : 0u, 0u); }
  SafeHandle handle() const { return handle_; }
  operator SafeHandle() const { return handle_; }

 private:
  SafeHandle handle_{};
};

struct Writable : Opened {
  explicit Writable(EDCT_NOTIFY_FN notify = nullptr, void *user = nullptr)
      : Opened(nullptr, EDCT_OPEN_WRITABLE, notify, user) {}
};

// Whether a code is a general out-of-memory failure of any family: an open also passes on
// those of the guarded object and lock it makes.
inline bool IsOutOfMemory(uint32_t code) {
  return VQ_FAILED(code) && VQ_IS_GENERAL(code) &&
         VQ_REASON(code) == VQ_REASON(EDCT_E_OUT_OF_MEMORY);
}
inline constexpr bool kAnyOutOfMemory = true;

// Runs `operation` with the 1st, 2nd, ... allocation failing until it succeeds; each failure
// must give the dictionaries' out-of-memory code (or, with anyFamily, any family's), leak
// nothing and pass `unchanged`.
template <class Operation, class Check>
void FailEachAllocation(Operation operation, Check unchanged, bool anyFamily = false) {
  const auto run = [&]() -> uint32_t {
    const uint32_t result = operation();
    return anyFamily && IsOutOfMemory(result) ? EDCT_E_OUT_OF_MEMORY : result;
  };
  sctest::ForEachAllocationFailure(run, EDCT_E_OUT_OF_MEMORY, unchanged);
}

// An archive image in 4-aligned storage.
struct Image {
  std::vector<uint32_t> words;
  uint32_t size = 0;
  const unsigned char *data() const {
    return reinterpret_cast<const unsigned char *>(words.data());
  }
  std::vector<unsigned char> Bytes() const { return {data(), data() + size}; }
};

// Measures and then writes the dictionary's image.
inline Image Archive(SafeHandle dictionary, uint32_t swap = 0) {
  Image image;
  EXPECT_EQ(edct_DctArchive(dictionary, nullptr, &image.size, swap), 0u);
  image.words.assign(image.size / 4 + 1, 0);
  uint32_t size = image.size;
  EXPECT_EQ(edct_DctArchive(dictionary, image.words.data(), &size, swap), 0u);
  EXPECT_EQ(size, image.size);
  return image;
}

inline uint32_t Open(const void *image, uint32_t mode, SafeHandle *out) {
  return edct_DctOpen(g_vqNullHandle, image, mode, nullptr, nullptr, out);
}

}  // namespace edct_test
