// Named data blocks: a block is a file resource whose offsets count from the block's first
// byte, located through its DATABLOCK element and the first "<BINARYDATA>" of the file.
#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

#include "dataheader/tree.h"
#include "dataheader/tree_store.h"
#include "dataheader/wide_text.h"
#include "foundation/alloc.h"
#include "platform/files.h"
#include "sc_hdrpars.h"

namespace {

constexpr std::u16string_view kBinaryData = u"<BINARYDATA>";
// The file is searched this many bytes at a time.
constexpr size_t kSearchChunk = 256 * 1024;

// Character index of the first "<BINARYDATA>" in the file at or after character `from`. The
// file is read in large chunks and only the places of '<' are compared with the marker; the
// first match is the same as comparing at every character.
VQRESULT FindBinaryData(const char *path, uint64_t from, uint64_t &index) {
  // Characters of a marker that may continue in the next chunk.
  constexpr size_t kCarried = kBinaryData.size() - 1;
  sc::plat::File *file = sc::plat::FileOpenForRead(path);
  if (!file) return HDRPARS_E_FILE_OPEN;
  if (from && !sc::plat::FileSeek(file, 2 * from)) {
    sc::plat::FileClose(file);
    return HDRPARS_E_FILE_READ;
  }
  auto *text = static_cast<char16_t *>(sc::RawAlloc(kSearchChunk + 2 * kCarried + 2));
  if (!text) {
    sc::plat::FileClose(file);
    return HDRPARS_E_OUT_OF_MEMORY;
  }
  auto *bytes = reinterpret_cast<unsigned char *>(text);
  VQRESULT result = HDRPARS_E_NO_BINARY_DATA;
  uint64_t first = from;  // character index of text[0]
  size_t held = 0;        // bytes
  for (;;) {
    const int64_t got = sc::plat::FileRead(file, bytes + held, kSearchChunk);
    if (got < 0) {
      result = HDRPARS_E_FILE_READ;
      break;
    }
    if constexpr (std::endian::native == std::endian::big)
      for (size_t i = held & ~size_t{1}; i + 1 < held + size_t(got); i += 2)
        std::swap(bytes[i], bytes[i + 1]);
    held += static_cast<size_t>(got);
    const size_t units = held / 2;
    const char16_t *end = text + units;
    const char16_t *found = nullptr;
    sc::hdr::ForEachChar(text, end, u'<', [&](const char16_t *at) {
      if (size_t(end - at) < kBinaryData.size()) return false;
      if (std::u16string_view(at, kBinaryData.size()) != kBinaryData) return true;
      found = at;
      return false;
    });
    if (found) {
      index = first + uint64_t(found - text);
      result = 0;
      break;
    }
    if (got == 0) break;
    // The last characters (and an odd byte) stay, so a marker that spans two reads is found
    // whole.
    const size_t dropped = units - std::min(units, kCarried);
    std::memmove(bytes, bytes + 2 * dropped, held - 2 * dropped);
    first += dropped;
    held -= 2 * dropped;
  }
  sc::RawFree(text);
  sc::plat::FileClose(file);
  return result;
}

VQRESULT OpenBlockSource(const FileStructure *structure, uint32_t offset, uint32_t size,
                         ParserResource **out) {
  char *path = nullptr;
  VQRESULT result = sc::hdr::BytesPathFromWide(structure->path, &path);
  if (result) return result;
  // The reader has searched the text it read already.
  const sc::hdr::TreeStore *store = sc::hdr::StoreOf(structure);
  uint64_t index = store ? store->binaryData : 0;
  if (!store || !store->binaryFound) result = FindBinaryData(path, index, index);
  if (!result) {
    // A block that starts beyond any 32-bit position maps nothing, like any block past the
    // end of its file.
    const uint64_t base = uint64_t{offset} + 2 * index + 2 * kBinaryData.size();
    result = hdrpars_OpenResource(path, base > UINT32_MAX ? UINT32_MAX : uint32_t(base), size,
                                  PARSER_RESOURCE_FILE, 0, out);
  }
  sc::RawFree(path);
  return result;
}

}  // namespace

extern "C" {

SC_API VQRESULT hdrpars_OpenData(const char16_t *name, FileStructure *structure, DataBlock **out) {
  if (!out) return HDRPARS_E_INVALID_ARGUMENT;
  *out = nullptr;
  if (!name || !structure || !structure->tags) return HDRPARS_E_INVALID_ARGUMENT;
  DataBlock **tail = &structure->dataBlocks;
  for (; *tail; tail = &(*tail)->next) {
    if (sc::hdr::View((*tail)->name) == name) {
      *out = *tail;
      return 0;
    }
  }
  Tag *description = nullptr;
  VQRESULT result = sc::hdr::FindBlockDescription(structure->tags, name, &description);
  if (result) return result;
  const Tag *offset = sc::hdr::FindSibling(description->children, sc::hdr::kOffsetName);
  const Tag *size = sc::hdr::FindSibling(description->children, sc::hdr::kSizeName);
  if (!offset || !size) return HDRPARS_E_TAG_MISSING;
  const auto blockSize = static_cast<uint32_t>(sc::hdr::ParseDecimal(size->value));
  ParserResource *source = nullptr;
  result = OpenBlockSource(structure, static_cast<uint32_t>(sc::hdr::ParseDecimal(offset->value)),
                           blockSize, &source);
  if (result) return result;
  auto *block = static_cast<DataBlock *>(sc::RawCalloc(1, sizeof(DataBlock)));
  if (block) block->name = sc::hdr::CopyText(name);
  if (!block || !block->name) {
    sc::RawFree(block);
    hdrpars_CloseResource(source);
    return HDRPARS_E_OUT_OF_MEMORY;
  }
  block->source = source;
  block->size = blockSize;
  *tail = block;
  *out = block;
  return 0;
}

SC_API VQRESULT hdrpars_CloseData(DataBlock *block, FileStructure *structure) {
  if (!block || !structure) return HDRPARS_E_INVALID_ARGUMENT;
  DataBlock **link = &structure->dataBlocks;
  while (*link && *link != block)
    link = &(*link)->next;
  if (!*link) return HDRPARS_E_DATABLOCK_NOT_FOUND;
  const VQRESULT closed = hdrpars_CloseResource(block->source);
  if (closed) return closed;
  *link = block->next;
  sc::RawFree(block->name);
  sc::RawFree(block);
  return 0;
}

}  // extern "C"
