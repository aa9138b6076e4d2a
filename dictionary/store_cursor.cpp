#include "dictionary/store_cursor.h"

namespace sc::edct {
namespace {

void PushLeftSpine(TreeCursor *cursor, uint32_t index) {
  for (; index; index = cursor->pool->At(index).left)
    cursor->stack[cursor->depth++] = index;
}

}  // namespace

void TreeCursorReset(TreeCursor *cursor, const NodePool *pool) {
  cursor->pool = pool;
  cursor->depth = 0;
  cursor->current = 0;
  PushLeftSpine(cursor, pool->root);
  TreeCursorAdvance(cursor);
}

void TreeCursorAdvance(TreeCursor *cursor) {
  if (cursor->depth == 0) {
    cursor->current = 0;
    return;
  }
  cursor->current = cursor->stack[--cursor->depth];
  PushLeftSpine(cursor, cursor->pool->At(cursor->current).right);
}

void StoreCursorOpen(StoreCursor *cursor, const EntryStore *store) {
  cursor->store = store;
  cursor->pendingLink = kNoLink;
  TreeCursorReset(&cursor->tree, store->pool);
}

void StoreCursorCurrent(StoreCursor *cursor, EntryRecord *record) {
  const uint32_t offset =
      cursor->pendingLink == kNoLink ? TreeCursorNode(&cursor->tree).value : cursor->pendingLink;
  uint32_t link = kNoLink;
  ReadRecord(cursor->store->arena.data, offset, record, &link);
  cursor->pendingLink = record->more ? link : kNoLink;
}

void StoreCursorAdvance(StoreCursor *cursor) {
  cursor->pendingLink = kNoLink;
  TreeCursor &tree = cursor->tree;
  TreeCursorAdvance(&tree);
  // Records lie in the arena in the order they were added, not in key order: the records of
  // the next keys on the stack, and their right children, are fetched ahead of their turn.
  for (uint32_t k = 1; k <= 3 && k <= tree.depth; ++k) {
    const Node &next = tree.pool->At(tree.stack[tree.depth - k]);
    __builtin_prefetch(cursor->store->arena.data + next.value);
    if (next.right) __builtin_prefetch(&tree.pool->At(next.right));
  }
}

}  // namespace sc::edct
