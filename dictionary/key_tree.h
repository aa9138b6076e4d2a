// The key tree of an entry store: a height-balanced (AVL) binary search tree over a node pool,
// whose values are the arena offsets of records and whose order is that of the records' keys.
#pragma once

#include <cstdint>

#include "dictionary/node_pool.h"

namespace sc::edct {

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

}  // namespace sc::edct
