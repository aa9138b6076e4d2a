// Named data blocks: a block is a file resource whose offsets count from the block's first
// byte, located through its DATABLOCK element and the first "<BINARYDATA>" of the file.
#include "dataheader/char_cursor.h"
#include "dataheader/tree.h"
#include "dataheader/wide_text.h"
#include "foundation/alloc.h"
#include "sc_hdrpars.h"

namespace {

constexpr std::u16string_view kBinaryData = u"<BINARYDATA>";

// Character index of the first "<BINARYDATA>" in the file.
VQRESULT FindBinaryData(const char *path, uint64_t &index) {
  ParserResource *file = nullptr;
  VQRESULT result =
      hdrpars_OpenResource(path, 0, PARSER_RESOURCE_SIZE_UNKNOWN, PARSER_RESOURCE_FILE, 0, &file);
  if (result) return result;
  {
    sc::hdr::ResourceChars source(file);
    result = sc::hdr::FindText(source, kBinaryData, 0, index);
  }
  hdrpars_CloseResource(file);
  return result == HDRPARS_E_WRONG_FORMAT ? HDRPARS_E_NO_BINARY_DATA : result;
}

VQRESULT OpenBlockSource(const FileStructure *structure, uint32_t offset, uint32_t size,
                         ParserResource **out) {
  char *path = nullptr;
  VQRESULT result = sc::hdr::BytesPathFromWide(structure->path, &path);
  if (result) return result;
  uint64_t index = 0;
  result = FindBinaryData(path, index);
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
