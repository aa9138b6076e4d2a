// The nodes of an entry store's key tree: one heap block holding a header and the nodes,
// addressed by 1-based index (0 means none), with a free list through the nodes' left links.
// The block moves when the pool grows, so nodes are always reached by index.
#pragma once

#include <cstdint>

#include "sc_rsrc.h"

namespace sc::edct {

struct Node {
  uint32_t value;  // the arena offset of the key's newest record
  uint32_t left;   // for a free node: the next free node
  uint32_t right;
  int8_t balance;  // height of the left subtree minus that of the right one
};

// With 32-bit node indices a height-balanced tree is never higher than 45 levels, so paths
// and cursor stacks fit fixed arrays of this size and never need memory of their own.
inline constexpr int kMaxTreeDepth = 64;

// A header followed in the same heap block by `capacity` nodes.
struct NodePool {
  uint32_t capacity;
  uint32_t freeHead;
  uint32_t root;
  uint32_t growth;
  Resource *resource;
  // The right spine of the tree (root to largest key) as the last insertion of a new largest
  // key left it; spineDepth is 0 when it is not known, and any other change of the tree sets
  // it so.
  int spineDepth;
  uint32_t spine[kMaxTreeDepth];

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

}  // namespace sc::edct
