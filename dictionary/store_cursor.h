// The walks over an entry store in key order: the tree cursor visits the key tree's nodes in
// order with an explicit stack, the store cursor hands out each key's records, newest first.
// A cursor reads the tree as it was when it was opened: the tree must not change meanwhile.
#pragma once

#include <cstdint>

#include "dictionary/entry_store.h"
#include "dictionary/key_tree.h"

namespace sc::edct {

struct TreeCursor {
  uint32_t current;  // 0 once the walk has ended
  const NodePool *pool;
  uint32_t depth;
  uint32_t stack[kMaxTreeDepth];  // the top is the next node to visit
};

void TreeCursorReset(TreeCursor *cursor, const NodePool *pool);
void TreeCursorAdvance(TreeCursor *cursor);
inline const Node &TreeCursorNode(const TreeCursor *cursor) {
  return cursor->pool->At(cursor->current);
}

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
