// Writing a structure back out as a data header file, printing its tree, and freeing it.
#include <algorithm>
#include <cstring>

#include "dataheader/tree.h"
#include "dataheader/tree_store.h"
#include "dataheader/wide_text.h"
#include "foundation/alloc.h"
#include "platform/files.h"
#include "platform/process.h"
#include "platform/text.h"
#include "sc_hdrpars.h"

namespace {

using sc::hdr::View;

// Block bytes are copied through mappings of at most this size; the file gets the same bytes
// as from one mapping of the whole block, with far less memory.
constexpr int32_t kCopyChunk = 1 << 20;

// Gathers the file's bytes and hands them to the file in large writes. The first failed write
// is remembered and everything after it is dropped.
class Output {
 public:
  explicit Output(sc::plat::File *file) : file_(file) {}
  Output(const Output &) = delete;
  Output &operator=(const Output &) = delete;

  // UTF-16 little-endian, whatever the host's byte order.
  void Text(std::u16string_view text) {
    for (char16_t c : text) {
      if (used_ + 2 > sizeof buffer_) Flush();
      buffer_[used_++] = static_cast<uint8_t>(c & 0xFF);
      buffer_[used_++] = static_cast<uint8_t>(c >> 8);
    }
  }
  void Blanks(unsigned count) {
    for (unsigned k = 0; k < count; ++k)
      Text(u" ");
  }
  void Bytes(const void *bytes, size_t size) {
    Flush();
    if (ok_) ok_ = sc::plat::FileWrite(file_, bytes, size);
  }
  // Closes the file; false when any byte could not be written.
  bool Close() {
    Flush();
    const bool closed = sc::plat::FileClose(file_);
    return ok_ && closed;
  }

 private:
  void Flush() {
    if (ok_ && used_) ok_ = sc::plat::FileWrite(file_, buffer_, used_);
    used_ = 0;
  }

  sc::plat::File *file_;
  uint8_t buffer_[8192];
  size_t used_ = 0;
  bool ok_ = true;
};

void WriteTags(Output &out, const Tag *tag, unsigned depth) {
  for (; tag; tag = tag->next) {
    out.Blanks(2 * depth);
    out.Text(u"<");
    out.Text(View(tag->name));
    out.Text(u">");
    if (tag->children) {
      out.Text(u"\r\n");
      WriteTags(out, tag->children, depth + 1);
      out.Blanks(2 * depth);
    } else {
      out.Text(View(tag->value));
    }
    out.Text(u"</");
    out.Text(View(tag->name));
    out.Text(u">\r\n");
  }
}

// Copies the block's bytes; fewer available than its size is a read error.
VQRESULT WriteBlock(Output &out, const DataBlock &block) {
  for (uint32_t done = 0; done < block.size;) {
    const auto wanted = static_cast<uint32_t>(std::min<uint64_t>(block.size - done, kCopyChunk));
    const void *data = nullptr;
    uint32_t available = 0;
    const VQRESULT mapped =
        hdrpars_DataMap(block.source, done, static_cast<int32_t>(wanted), &data, &available);
    if (mapped) return mapped;
    if (available < wanted) {
      hdrpars_DataUnMap(block.source, data);
      return HDRPARS_E_FILE_READ;
    }
    out.Bytes(data, available);
    hdrpars_DataUnMap(block.source, data);
    done += wanted;
  }
  return 0;
}

// The strings and tags replaced here are freed unless they belong to a read structure's own
// blocks, which go with the structure.
VQRESULT SetNumberChild(const sc::hdr::TreeStore *store, Tag *description, std::u16string_view name,
                        uint32_t number) {
  char16_t field[sc::hdr::kNumberField];
  sc::hdr::FormatNumberField(static_cast<int32_t>(number), field);
  const std::u16string_view text(field, sc::hdr::kNumberField);
  if (!description->children) return HDRPARS_E_INVALID_ARGUMENT;
  Tag *child = sc::hdr::FindSibling(description->children, name);
  if (child) {
    char16_t *value = sc::hdr::CopyText(text);
    if (!value) return HDRPARS_E_OUT_OF_MEMORY;
    sc::hdr::ReleaseText(store, child->value);
    child->value = value;
    // An element with children is written as its children, so the number would be lost.
    sc::hdr::ReleaseTags(store, child->children);
    child->children = nullptr;
    return 0;
  }
  Tag *added = sc::hdr::NewTag(name, text);
  if (!added) return HDRPARS_E_OUT_OF_MEMORY;
  Tag **tail = &description->children;
  while (*tail)
    tail = &(*tail)->next;
  *tail = added;
  return 0;
}

bool HasOpenBlock(const FileStructure &structure, std::u16string_view name) {
  for (const DataBlock *block = structure.dataBlocks; block; block = block->next)
    if (View(block->name) == name) return true;
  return false;
}

// Every DATABLOCK names an open block, and each open block gets its place.
VQRESULT PlaceBlocks(FileStructure &structure) {
  for (Tag *tag = sc::hdr::FindSibling(structure.tags, sc::hdr::kDataBlockName); tag;
       tag = sc::hdr::FindSibling(tag->next, sc::hdr::kDataBlockName)) {
    const Tag *brokerString = sc::hdr::FindSibling(tag->children, sc::hdr::kBrokerStringName);
    if (!brokerString) return HDRPARS_E_TAG_MISSING;
    if (!HasOpenBlock(structure, View(brokerString->value))) return HDRPARS_E_DATABLOCK_NOT_FOUND;
  }
  const sc::hdr::TreeStore *store = sc::hdr::StoreOf(&structure);
  uint32_t offset = 0;
  for (const DataBlock *block = structure.dataBlocks; block; block = block->next) {
    Tag *description = nullptr;
    VQRESULT result =
        sc::hdr::FindBlockDescription(structure.tags, View(block->name), &description);
    if (!result) result = SetNumberChild(store, description, sc::hdr::kSizeName, block->size);
    if (!result) result = SetNumberChild(store, description, sc::hdr::kOffsetName, offset);
    if (result) return result;
    offset += block->size;
  }
  return 0;
}

VQRESULT WriteBody(Output &out, const FileStructure &structure) {
  out.Text(u"\uFEFF<VQS>\r\n<VERSION>VQ_1.0</VERSION>\r\n<HEADER>\r\n");
  WriteTags(out, structure.tags, 1);
  out.Text(u"</HEADER>");
  if (structure.dataBlocks) {
    out.Text(u"\r\n<BINARYDATA>");
    for (const DataBlock *block = structure.dataBlocks; block; block = block->next) {
      const VQRESULT written = WriteBlock(out, *block);
      if (written) return written;
    }
    out.Text(u"</BINARYDATA>");
  }
  out.Text(u"\r\n</VQS>");
  return 0;
}

// Gathers the printed tree as UTF-8 and hands it to the standard output in large pieces.
class Printer {
 public:
  Printer() = default;
  Printer(const Printer &) = delete;
  Printer &operator=(const Printer &) = delete;
  ~Printer() { Flush(); }

  void Bytes(std::string_view bytes) {
    if (used_ + bytes.size() > sizeof buffer_) Flush();
    std::memcpy(buffer_ + used_, bytes.data(), bytes.size());
    used_ += bytes.size();
  }
  // In pieces that never split a surrogate pair.
  void Text(std::u16string_view text) {
    while (!text.empty()) {
      size_t take = std::min(text.size(), kPiece);
      if (take < text.size() && text[take - 1] >= 0xD800 && text[take - 1] <= 0xDBFF) --take;
      if (used_ + 3 * take > sizeof buffer_) Flush();
      used_ += sc::plat::Utf16ToBytes(text.substr(0, take), buffer_ + used_,
                                      sc::plat::Unpaired::kReplace);
      text.remove_prefix(take);
    }
  }
  void Tags(const Tag *tag, unsigned depth) {
    for (; tag; tag = tag->next) {
      for (unsigned k = 0; k < depth; ++k)
        Bytes("...");
      Text(View(tag->name));
      if (tag->children) {
        Bytes("\n");
        Tags(tag->children, depth + 1);
      } else {
        Bytes(": ");
        Text(View(tag->value));
        Bytes("\n");
      }
    }
  }

 private:
  static constexpr size_t kPiece = 256;  // units converted at once, 3 bytes each at most
  void Flush() {
    if (used_) sc::plat::StandardOutput(buffer_, used_);
    used_ = 0;
  }

  char buffer_[4096];
  size_t used_ = 0;
};

}  // namespace

extern "C" {

SC_API VQRESULT hdrpars_WriteFile(FileStructure *structure) {
  if (!structure) return HDRPARS_E_INVALID_ARGUMENT;
  VQRESULT result = PlaceBlocks(*structure);
  if (result) return result;
  char *path = nullptr;
  result = sc::hdr::BytesPathFromWide(structure->path, &path);
  if (result) return result;
  sc::plat::File *file = sc::plat::FileCreateForWrite(path);
  sc::RawFree(path);
  if (!file) return HDRPARS_E_FILE_OPEN;
  Output out(file);
  result = WriteBody(out, *structure);
  const bool closed = out.Close();
  if (result) return result;
  return closed ? 0 : HDRPARS_E_FILE_WRITE;
}

SC_API VQRESULT hdrpars_DeleteFileStructure(FileStructure *structure) {
  if (!structure) return 0;
  sc::hdr::TreeStore *store = sc::hdr::StoreOf(structure);
  sc::RawFree(structure->path);
  sc::hdr::ReleaseTags(store, structure->tags);
  for (DataBlock *block = structure->dataBlocks; block;) {
    DataBlock *next = block->next;
    // A source that still has mappings stays open, so those mappings stay valid.
    hdrpars_CloseResource(block->source);
    sc::RawFree(block->name);
    sc::RawFree(block);
    block = next;
  }
  if (store)
    sc::hdr::DeleteTreeStore(store);
  else
    sc::RawFree(structure);
  return 0;
}

SC_API VQRESULT hdrpars_PrintFileStructure(FileStructure *structure) {
  if (!structure) return HDRPARS_E_INVALID_ARGUMENT;
  Printer().Tags(structure->tags, 0);
  return 0;
}

}  // extern "C"
