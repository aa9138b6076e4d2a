// The entry container of the writable dictionaries: a keyed, ordered store that maps a 16-bit
// key to one or more data records. Nodes of a height-balanced tree live in one pool addressed
// by 1-based index (0 means none), records are packed into one growing byte arena, and each
// key's records form a chain from the newest to the oldest. Nothing here locks: the owning
// dictionary holds its lock over every call and refuses changes while a cursor is open.
#pragma once

#include <cstdint>

#include "sc_common.h"
#include "sc_rsrc.h"

namespace sc::edct {

// A growable array that grows by a fixed number of elements.
struct ChunkArray {
  uint32_t count;
  unsigned char *data;  // null while nothing was ever added
  uint32_t growth;
  uint32_t capacity;
  uint32_t elementSize;
  Resource *resource;
};

void ChunkArrayInit(ChunkArray *array, Resource *resource, uint32_t elementSize, uint32_t growth);
// Makes room for `end` elements, growing to capacity + growth or to `end` if that is more.
// False, with the array as it was, when memory runs out or `end` does not fit 32 bits.
bool ChunkArrayReserve(ChunkArray *array, uint64_t end);
bool ChunkArrayPush(ChunkArray *array, const void *element);
// Copies n elements to the first multiple of `alignment` at or after count, and writes that
// index to *start. Pad elements are skipped, not written.
bool ChunkArrayAppend(ChunkArray *array, const void *source, uint32_t n, uint32_t alignment,
                      uint32_t *start);
// Frees the block; the array must be initialised again before further use.
void ChunkArrayFree(ChunkArray *array);

struct Node {
  uint32_t value;  // the arena offset of the key's newest record
  uint32_t left;   // for a free node: the next free node
  uint32_t right;
  int8_t balance;  // height of the left subtree minus that of the right one
};

// A header followed in the same heap block by `capacity` nodes. The block moves when the pool
// grows, so nodes are always reached by index.
struct NodePool {
  uint32_t capacity;
  uint32_t freeHead;
  uint32_t root;
  uint32_t growth;
  Resource *resource;

  Node &At(uint32_t index) { return reinterpret_cast<Node *>(this + 1)[index - 1]; }
  const Node &At(uint32_t index) const {
    return reinterpret_cast<const Node *>(this + 1)[index - 1];
  }
};

// Null when memory runs out. An initial capacity of 0 means one growth step.
NodePool *NodePoolCreate(Resource *resource, uint32_t initialCapacity, uint32_t growth);
// Grows to `capacity` nodes, or by one growth step when it is 0; *pool may move.
bool NodePoolGrow(NodePool **pool, uint32_t capacity);
// The index of a fresh node holding `value`, or 0 when the pool cannot grow.
uint32_t NodePoolAllocate(NodePool **pool, uint32_t value);
void NodePoolRelease(NodePool *pool, uint32_t index);
// Releases every node of the tree; the tree is then empty.
void NodePoolClear(NodePool *pool);
void NodePoolDestroy(NodePool *pool);

// With 32-bit node indices a height-balanced tree is never higher than 45 levels, so paths
// and cursor stacks fit fixed arrays of this size and never need memory of their own.
inline constexpr int kMaxTreeDepth = 64;

// The order of the tree: keys compared as 16-bit code units (capitals before small letters),
// read from the arena through the records' offsets.
struct KeyOrder {
  const unsigned char *arena;

  int Values(uint32_t a, uint32_t b) const;
  int Key(const char16_t *key, uint32_t value) const;
};

int CompareWide(const char16_t *a, const char16_t *b);

// Inserts `value`. When its key is already present, the node takes the new value and
// *previous receives the old one; else *previous is 0. False when the pool cannot grow.
bool KeyTreeInsert(NodePool **pool, const KeyOrder &order, uint32_t value, uint32_t *previous);
// The value stored for `key`, or 0.
uint32_t KeyTreeFind(const NodePool *pool, const KeyOrder &order, const char16_t *key);
// Unlinks the node of `key` and returns its index (already back on the free list), or 0.
uint32_t KeyTreeRemove(NodePool *pool, const KeyOrder &order, const char16_t *key);
// The height of the subtree at `index`, found by following the taller side.
uint32_t KeyTreeHeight(const NodePool *pool, uint32_t index);

// In-order walk with an explicit stack whose top is the next node to visit.
struct TreeCursor {
  uint32_t current;  // 0 once the walk has ended
  const NodePool *pool;
  uint32_t depth;
  uint32_t stack[kMaxTreeDepth];
};

void TreeCursorReset(TreeCursor *cursor, const NodePool *pool);
void TreeCursorAdvance(TreeCursor *cursor);
inline const Node &TreeCursorNode(const TreeCursor *cursor) {
  return cursor->pool->At(cursor->current);
}

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

struct StoreCursor {
  const EntryStore *store;
  TreeCursor tree;
  uint32_t pendingLink;
};

void StoreCursorOpen(StoreCursor *cursor, const EntryStore *store);
// The current key's newest record, or the pending one of its chain. Not on an ended cursor.
void StoreCursorCurrent(StoreCursor *cursor, EntryRecord *record);
// To the next key; only once the chain of the current one has been taken or left.
void StoreCursorAdvance(StoreCursor *cursor);
inline bool StoreCursorEnded(const StoreCursor *cursor) {
  return cursor->tree.current == 0;
}

}  // namespace sc::edct
