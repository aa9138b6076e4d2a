// Bump allocation over a client buffer; with no buffer the block only measures, so one
// routine can size an image and then fill it.
#include "sc_srvspi.h"

namespace {

VQRESULT Advance(SrvMemblock *block, uint32_t count, void **pointer) {
  if (!block) return SRVSPI_E_ARRAY_INVALID_ARGUMENT;
  if (pointer)
    *pointer = block->base ? static_cast<unsigned char *>(block->base) + block->used : nullptr;
  const uint32_t used = block->used + count;
  // An image beyond 4 GiB cannot be described by the 32-bit sizes; refuse rather than wrap.
  if (used < block->used) return SRVSPI_E_ARRAY_BUFFER_TOO_SMALL;
  block->used = used;
  if (!block->base) return 0;
  return used > block->size ? SRVSPI_E_ARRAY_BUFFER_TOO_SMALL : 0;
}

}  // namespace

extern "C" {

SC_API VQRESULT srvspi_MemblockInit(SrvMemblock *block, uint32_t size, void *base) {
  if (!block) return SRVSPI_E_ARRAY_INVALID_ARGUMENT;
  block->used = 0;
  block->size = size;
  block->base = base;
  return 0;
}

SC_API VQRESULT srvspi_MemblockAlign(SrvMemblock *block, uint32_t alignment) {
  if (!block || alignment == 0) return SRVSPI_E_ARRAY_INVALID_ARGUMENT;
  const uint32_t rest = block->used % alignment;
  const uint32_t padding = rest ? alignment - rest : 0;
  if (block->used + padding < block->used) return SRVSPI_E_ARRAY_BUFFER_TOO_SMALL;
  if (block->base && block->used + padding > block->size) return SRVSPI_E_ARRAY_BUFFER_TOO_SMALL;
  block->used += padding;
  return 0;
}

SC_API VQRESULT srvspi_MemblockAlloc(SrvMemblock *block, uint32_t count, void **pointer) {
  return Advance(block, count, pointer);
}

SC_API VQRESULT srvspi_MemblockRead(SrvMemblock *block, uint32_t count, void **pointer) {
  return Advance(block, count, pointer);
}

SC_API VQRESULT srvspi_MemblockGetUsed(const SrvMemblock *block, uint32_t *used) {
  if (!block || !used) return SRVSPI_E_ARRAY_INVALID_ARGUMENT;
  *used = block->used;
  return 0;
}

SC_API VQRESULT srvspi_MemblockGetBegin(const SrvMemblock *block, void **base) {
  if (!block || !base) return SRVSPI_E_ARRAY_INVALID_ARGUMENT;
  *base = block->base;
  return 0;
}

}  // extern "C"
