// The entry container of the writable dictionaries: a keyed, ordered store that maps a 16-bit
// key to one or more data records. A height-balanced key tree (key_tree.h) over a node pool
// (node_pool.h) orders the keys, records are packed into one growing byte arena
// (chunk_array.h), and each key's records form a chain from the newest to the oldest; the
// cursors of store_cursor.h walk them. Nothing here locks: the owning dictionary holds its
// lock over every call and refuses changes while a cursor is open.
#pragma once

#include <cstdint>

#include "dictionary/chunk_array.h"
#include "dictionary/node_pool.h"
#include "sc_common.h"
#include "sc_rsrc.h"

namespace sc::edct {

inline constexpr uint32_t kNoLink = 0xFFFFFFFFu;

struct EntryStore {
  NodePool *pool;
  ChunkArray arena;
  uint32_t pendingLink;  // the next record EntryStoreGet hands out, kNoLink when none
  Resource *resource;
};

// One record as handed out; the pointers lead into the arena and stay valid until the next
// addition to the store.
struct EntryRecord {
  const char16_t *key;
  const unsigned char *data;
  uint32_t size;
  uint32_t more;  // 1 when an older record of the same key follows
};

// Private outcomes of the store (not result codes).
inline constexpr uint32_t kStoreNewKey = 0;
inline constexpr uint32_t kStoreChained = 10;
inline constexpr uint32_t kStoreAbsent = 11;

// 0, or the dictionaries' out-of-memory code.
VQRESULT EntryStoreInit(EntryStore *store, Resource *resource, uint32_t treeGrowth,
                        uint32_t arenaGrowth);
// kStoreNewKey or kStoreChained, or the dictionaries' out-of-memory code, in which case the
// store is as it was.
uint32_t EntryStoreAdd(EntryStore *store, const char16_t *key, const void *data, uint32_t size);
// Hands out the newest record of `key` when no chain is pending, else the pending record
// (the key is then not looked at). kStoreAbsent when the key is not held.
uint32_t EntryStoreGet(EntryStore *store, const char16_t *key, EntryRecord *record);
// Removes the key with all its records; *count receives their number. kStoreAbsent (count 0)
// when the key is not held. The records stay in the arena, unreachable.
uint32_t EntryStoreRemove(EntryStore *store, const char16_t *key, uint32_t *count);
void EntryStoreDestroy(EntryStore *store);

// Reads the record at arena offset `offset`; *link receives the offset of the next older
// record of its key when more is 1.
void ReadRecord(const unsigned char *arena, uint32_t offset, EntryRecord *record, uint32_t *link);

}  // namespace sc::edct
