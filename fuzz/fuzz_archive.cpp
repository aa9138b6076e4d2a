// Arbitrary bytes as an archive image: opened read-only and writable; whatever opens is
// walked with an iterator and every key is looked up. A writable copy is archived again, and
// that image, our own, must open both ways and hand out what the copy holds.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "speechcommon.h"

namespace {

// Larger images only repeat what smaller ones show, and each section of a writable copy
// costs a fresh store, so the input is kept small.
constexpr size_t kLargestImage = 64 * 1024;
constexpr uint32_t kMostWritableSections = 256;

[[noreturn]] void Fail(const char *what, uint32_t code) {
  std::fprintf(stderr, "archive: our own image %s (0x%08X)\n", what, code);
  std::abort();
}

// The keys, the entries' data and the info counts, as one text.
std::string Contents(SafeHandle dictionary) {
  std::string text;
  SafeHandle iterator;
  if (const uint32_t code = edct_DctItOpen(g_vqNullHandle, dictionary, &iterator))
    Fail("cannot be walked", code);
  uint32_t ended = 0;
  while (edct_DctItHasEnded(iterator, &ended) == 0 && !ended) {
    const char16_t *key = nullptr;
    if (const uint32_t code = edct_DctItCurrent(iterator, &key, nullptr, nullptr, nullptr))
      Fail("cannot be walked", code);
    EDCT_ENTRY *entries = nullptr;
    uint32_t count = 0;
    if (const uint32_t code = edct_DctGetEntryData(dictionary, key, nullptr, &entries, &count))
      Fail("does not find a key it holds", code);
    for (; *key; ++key)
      text.append(reinterpret_cast<const char *>(key), 2);
    for (uint32_t i = 0; i < count; ++i)
      text.append(" ").append(static_cast<const char *>(entries[i].Data), entries[i].DataSize);
    text += '\n';
    edct_DctFreeEntryData(dictionary, entries, count);
    edct_DctItIncrement(iterator);
  }
  edct_DctItClose(iterator);
  EDCT_INFO info;
  if (edct_DctGetInfo(dictionary, &info) == 0) {
    text += std::to_string(info.NbrKeys) + " " + std::to_string(info.NbrEntries);
    edct_DctFreeInfo(dictionary, &info);
  }
  return text;
}

// Archives the writable dictionary, opens the image both ways and compares.
void ArchiveAndReopen(SafeHandle dictionary) {
  uint32_t bytes = 0;
  if (const uint32_t code = edct_DctArchive(dictionary, nullptr, &bytes, 0))
    Fail("cannot be measured", code);
  std::vector<uint32_t> image(bytes / 4 + 1);
  uint32_t written = bytes;
  if (const uint32_t code = edct_DctArchive(dictionary, image.data(), &written, 0))
    Fail("cannot be written", code);
  if (written != bytes) Fail("has another size than measured", written);
  const std::string expected = Contents(dictionary);
  for (const uint32_t mode : {EDCT_OPEN_READONLY, EDCT_OPEN_WRITABLE}) {
    if (mode == EDCT_OPEN_READONLY && image[5] == 0) continue;  // no section: nothing to view
    SafeHandle again;
    if (const uint32_t code =
            edct_DctOpen(g_vqNullHandle, image.data(), mode, nullptr, nullptr, &again))
      Fail("does not open", code);
    // The loader adds each key's items from the first, so a writable copy holds them
    // reversed; only the read-only view must agree entry for entry.
    if (mode == EDCT_OPEN_READONLY && Contents(again) != expected)
      Fail("holds other entries", mode);
    edct_DctClose(again);
  }
}

void Walk(SafeHandle dictionary) {
  SafeHandle iterator;
  if (edct_DctItOpen(g_vqNullHandle, dictionary, &iterator) != 0) return;
  uint32_t ended = 0;
  while (edct_DctItHasEnded(iterator, &ended) == 0 && !ended) {
    const char16_t *key = nullptr;
    const EDCT_ENTRY *entries = nullptr;
    uint32_t count = 0, newSection = 0;
    if (edct_DctItCurrent(iterator, &key, &entries, &count, &newSection) == 0) {
      volatile unsigned char sink = 0;
      for (uint32_t i = 0; i < count; ++i) {
        const auto *data = static_cast<const unsigned char *>(entries[i].Data);
        for (uint32_t j = 0; j < entries[i].DataSize; ++j)
          sink = sink ^ data[j];
      }
      EDCT_ENTRY *found = nullptr;
      uint32_t foundCount = 0;
      if (key && edct_DctGetEntryData(dictionary, key, nullptr, &found, &foundCount) == 0)
        edct_DctFreeEntryData(dictionary, found, foundCount);
    }
    if (edct_DctItIncrement(iterator) != 0) break;
  }
  edct_DctItClose(iterator);
  EDCT_INFO info;
  if (edct_DctGetInfo(dictionary, &info) == 0) edct_DctFreeInfo(dictionary, &info);
}

// An image that the check passed and a reader refused.
void Refused(const char *mode, VQRESULT code) {
  std::fprintf(stderr, "archive: a checked image does not open %s (0x%08X)\n", mode, code);
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  // The check reads only the bytes given (the input's own, so a sanitizer sees any read past
  // them), and an image it passes opens read-only when it has a section. It does not read item
  // lists, so a writable copy may still refuse one with its code.
  const bool checked = edct_DctCheckImage(data, size) == 0;
  // A 4-aligned copy, long enough for the header and for the size the header records: the
  // library reads nothing beyond that size, so everything it may read lies in the buffer.
  uint32_t recorded = 0;
  if (size >= 8) std::memcpy(&recorded, data + 4, 4);
  const size_t length = std::max<size_t>({size, 24, recorded});
  if (length > kLargestImage) return 0;
  std::vector<uint32_t> image(length / 4 + 1, 0);
  std::memcpy(image.data(), data, size);

  SafeHandle dictionary;
  const VQRESULT viewed =
      edct_DctOpen(g_vqNullHandle, image.data(), EDCT_OPEN_READONLY, nullptr, nullptr, &dictionary);
  if (viewed == 0) {
    Walk(dictionary);
    edct_DctClose(dictionary);
  } else if (checked && image[5] != 0) {
    Refused("read-only", viewed);
  }
  if (image[5] > kMostWritableSections) return 0;
  const VQRESULT loaded =
      edct_DctOpen(g_vqNullHandle, image.data(), EDCT_OPEN_WRITABLE, nullptr, nullptr, &dictionary);
  if (loaded == 0) {
    Walk(dictionary);
    ArchiveAndReopen(dictionary);
    edct_DctClose(dictionary);
  }
  return 0;
}
