#include "dataheader/char_cursor.h"

namespace sc::hdr {
namespace {

// One default window: each chunk costs one read of the file.
constexpr int32_t kChunkBytes = 1024;

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

void ResourceChars::Release() {
  if (data_) hdrpars_DataUnMap(source_, data_);
  data_ = nullptr;
  count_ = 0;
}

}  // namespace sc::hdr
