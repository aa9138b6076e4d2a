// The memory of a structure read from a file. Instead of three heap blocks per tag (record,
// name, value), a read tree lives in a few large blocks that its structure owns: the file's
// decoded text, in which names and the values of elements without children stay where they
// are (a NUL written over the character after each), and blocks handed out in order for the
// tag records and the values of elements with children. A client or the writer may still link
// malloc blocks of its own into such a tree; those are freed one by one when the structure is
// deleted, the structure's own pieces with the blocks that hold them.
//
// Structures built by clients are plain malloc blocks throughout; the set of read structures
// tells the two kinds apart without reading anything beyond the record a caller hands in.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <string_view>

#include "sc_hdrpars.h"

namespace sc::hdr {

struct StoreBlock;

struct TreeStore {
  FileStructure structure;  // first, so the record handed out leads back here
  char16_t *text;           // the decoded text; names and leaf values point into it
  size_t textChars;
  StoreBlock *blocks;   // newest first
  unsigned char *free;  // the unused part of the newest block
  unsigned char *limit;
  size_t nextBlockBytes;
  // Where the file's first "<BINARYDATA>" starts (a character index) when the reader saw it;
  // otherwise where the search for it goes on, nothing before that place being one.
  size_t binaryData;
  bool binaryFound;
};

// A new store that takes over `text` (a heap block of `chars` characters), with the first block
// sized for a tree read from that much text; null when out of memory (the text is freed then).
TreeStore *NewTreeStore(char16_t *text, size_t chars);
// Adds the store to the set of read structures: from then on its structure is deleted as one.
// False when out of memory.
bool RegisterTreeStore(TreeStore *store);
// Frees a store made by NewTreeStore whose structure was never handed out (not registered).
void FreeUnregisteredTreeStore(TreeStore *store);

// Bytes from a new block of the store, or null when out of memory.
void *AllocateInNewBlock(TreeStore &store, size_t bytes);

// A zeroed tag record from the store, or null when out of memory.
inline Tag *StoreTag(TreeStore &store) {
  static_assert(alignof(Tag) <= 16);
  const auto at = reinterpret_cast<uintptr_t>(store.free);
  unsigned char *record = store.free + ((alignof(Tag) - at % alignof(Tag)) % alignof(Tag));
  void *memory;
  if (record <= store.limit && size_t(store.limit - record) >= sizeof(Tag)) {
    memory = record;
    store.free = record + sizeof(Tag);
  } else {
    memory = AllocateInNewBlock(store, sizeof(Tag));
    if (!memory) return nullptr;
  }
  return new (memory) Tag{};
}
// A NUL-terminated copy of the text from the store, or null when out of memory.
char16_t *StoreText(TreeStore &store, std::u16string_view text);

// The store of a structure read from a file, or null for a structure built by a client.
TreeStore *StoreOf(const FileStructure *structure);
// True when the block is one of the store's own pieces (never for a null store).
bool Owns(const TreeStore *store, const void *pointer);
// Frees a string of a tree unless the store owns it.
void ReleaseText(const TreeStore *store, void *text);
// Frees the tag, its following siblings and all their children, as far as the store does not
// own them.
void ReleaseTags(const TreeStore *store, Tag *first);
// Frees a read structure's own blocks and takes it out of the set; the tags, path and data
// blocks are the caller's to release first.
void DeleteTreeStore(TreeStore *store);

}  // namespace sc::hdr
