#include "dataheader/char_cursor.h"

#include <algorithm>
#include <cstring>

namespace sc::hdr {
namespace {

// Each chunk costs one seek and one read of the file; the window never grows past what the
// file still holds, so small files keep small windows.
constexpr int32_t kChunkBytes = 16384;

}  // namespace

bool ResourceChars::Load(uint64_t index, char16_t &c) {
  Release();
  if (status_ || 2 * index > UINT32_MAX) return false;
  const void *data = nullptr;
  uint32_t available = 0;
  status_ =
      hdrpars_DataMap(source_, static_cast<uint32_t>(2 * index), kChunkBytes, &data, &available);
  if (status_) return false;
  data_ = static_cast<const uint8_t *>(data);
  first_ = index;
  count_ = available / 2;
  if (count_ == 0) {
    Release();
    return false;
  }
  return At(index, c);
}

bool ResourceChars::Seek(uint64_t from, char16_t c, uint64_t &at) {
  const auto low = static_cast<unsigned char>(c & 0xFF);
  const auto high = static_cast<unsigned char>(c >> 8);
  for (uint64_t i = from;;) {
    char16_t first;
    if (!At(i, first)) return false;  // maps the chunk that holds i
    const uint8_t *end = data_ + 2 * count_;
    for (const uint8_t *p = data_ + 2 * (i - first_); p < end; ++p) {
      p = static_cast<const uint8_t *>(std::memchr(p, low, size_t(end - p)));
      if (!p) break;
      if ((p - data_) % 2 == 0 && p + 1 < end && p[1] == high) {
        at = first_ + uint64_t(p - data_) / 2;
        return true;
      }
    }
    i = first_ + count_;
  }
}

uint64_t ResourceChars::Copy(uint64_t from, uint64_t count, char16_t *out) {
  uint64_t done = 0;
  while (done < count) {
    char16_t c;
    if (!At(from + done, c)) break;  // maps the chunk that holds the next character
    const uint8_t *at = data_ + 2 * (from + done - first_);
    const uint64_t here = std::min(count - done, first_ + count_ - (from + done));
    for (uint64_t k = 0; k < here; ++k, at += 2)
      out[done + k] = static_cast<char16_t>(at[0] | (at[1] << 8));
    done += here;
  }
  return done;
}

void ResourceChars::Release() {
  if (data_) hdrpars_DataUnMap(source_, data_);
  data_ = nullptr;
  count_ = 0;
}

}  // namespace sc::hdr
