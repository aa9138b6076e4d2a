// Arbitrary bytes as an archive image: opened read-only and writable; whatever opens is
// walked with an iterator, every key is looked up, and a writable copy is archived again.
#include <cstddef>
#include <cstdint>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "speechcommon.h"

namespace {

// Larger images only repeat what smaller ones show, and each section of a writable copy
// costs a fresh store, so the input is kept small.
constexpr size_t kLargestImage = 64 * 1024;
constexpr uint32_t kMostWritableSections = 256;

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
    uint32_t bytes = 0;
    if (edct_DctArchive(dictionary, nullptr, &bytes, 0) == 0) {
      std::vector<uint32_t> again(bytes / 4 + 1);
      if (edct_DctArchive(dictionary, again.data(), &bytes, 0) == 0) {
        SafeHandle view;
        if (edct_DctOpen(g_vqNullHandle, again.data(), EDCT_OPEN_READONLY, nullptr, nullptr,
                         &view) == 0) {
          Walk(view);
          edct_DctClose(view);
        }
      }
    }
    edct_DctClose(dictionary);
  }
  return 0;
}
