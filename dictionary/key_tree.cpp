#include "dictionary/key_tree.h"

namespace sc::edct {
namespace {

// A side of a node. Its value is what a level gained below that side adds to the node's
// balance, so sides and balances combine in plain arithmetic.
enum Side : int8_t { kLeft = 1, kRight = -1 };

Side Opposite(Side side) {
  return static_cast<Side>(-side);
}

uint32_t &Child(Node &node, Side side) {
  return side == kLeft ? node.left : node.right;
}

// Rebalances the subtree at `index`, two levels taller on its `heavy` side (its balance is
// 2 * heavy), and returns its new root. *lower tells whether the subtree lost a level by it.
uint32_t Rotate(NodePool *pool, uint32_t index, Side heavy, bool *lower) {
  const Side light = Opposite(heavy);
  Node &node = pool->At(index);
  const uint32_t childIndex = Child(node, heavy);
  Node &child = pool->At(childIndex);
  if (child.balance != light) {
    // Single rotation: the child rises.
    Child(node, heavy) = Child(child, light);
    Child(child, light) = index;
    if (child.balance == 0) {  // only after a removal
      node.balance = heavy;
      child.balance = light;
      *lower = false;
    } else {
      node.balance = 0;
      child.balance = 0;
      *lower = true;
    }
    return childIndex;
  }
  // Double rotation: the child's inner child rises above both.
  const uint32_t grandIndex = Child(child, light);
  Node &grand = pool->At(grandIndex);
  Child(child, light) = Child(grand, heavy);
  Child(grand, heavy) = childIndex;
  Child(node, heavy) = Child(grand, light);
  Child(grand, light) = index;
  if (grand.balance == heavy) {
    node.balance = light;
    child.balance = 0;
  } else if (grand.balance == 0) {
    node.balance = 0;
    child.balance = 0;
  } else {
    child.balance = heavy;
    node.balance = 0;
  }
  grand.balance = 0;
  *lower = true;
  return grandIndex;
}

// Keys that come in order each go after the largest one, at the foot of the right spine. The
// spine is kept from one such insertion to the next, so that case walks no path and compares
// one key instead of one per level. False, with the tree untouched, when `value` is not
// larger than every key.
bool AppendLargest(NodePool *pool, const KeyOrder &order, uint32_t value, uint32_t fresh) {
  uint32_t *spine = pool->spine;
  int n = pool->spineDepth;
  if (!n)
    for (uint32_t at = pool->root; at; at = pool->At(at).right)
      spine[n++] = at;
  pool->spineDepth = n;
  if (order.Values(value, pool->At(spine[n - 1]).value) <= 0) return false;
  pool->At(spine[n - 1]).right = fresh;
  // The critical node is the lowest one on the path whose balance is not 0 (the root if none).
  int critical = n - 1;
  while (critical > 0 && pool->At(spine[critical]).balance == 0)
    --critical;
  for (int i = critical + 1; i < n; ++i)
    pool->At(spine[i]).balance = kRight;
  Node &top = pool->At(spine[critical]);
  if (top.balance == 0) {
    top.balance = kRight;
  } else if (top.balance == kLeft) {
    top.balance = 0;
  } else {
    // Its right child leans right too, so a single rotation raises that child into its place.
    bool lower;
    const uint32_t subtree = Rotate(pool, spine[critical], kRight, &lower);
    if (critical == 0)
      pool->root = subtree;
    else
      pool->At(spine[critical - 1]).right = subtree;
    for (int i = critical; i + 1 < n; ++i)
      spine[i] = spine[i + 1];
    --n;
  }
  spine[n++] = fresh;
  pool->spineDepth = n;
  return true;
}

}  // namespace

int CompareWide(const char16_t *a, const char16_t *b) {
  while (*a && *a == *b)
    ++a, ++b;
  return (*a > *b) - (*a < *b);
}

int KeyOrder::Values(uint32_t a, uint32_t b) const {
  return CompareWide(reinterpret_cast<const char16_t *>(arena + a),
                     reinterpret_cast<const char16_t *>(arena + b));
}

int KeyOrder::Key(const char16_t *key, uint32_t value) const {
  return CompareWide(key, reinterpret_cast<const char16_t *>(arena + value));
}

bool KeyTreeInsert(NodePool **poolRef, const KeyOrder &order, uint32_t value, uint32_t *previous) {
  *previous = 0;
  // The node comes first: growing the pool moves it, and nothing below allocates.
  const uint32_t fresh = NodePoolAllocate(poolRef, value);
  if (!fresh) return false;
  NodePool *pool = *poolRef;
  if (!pool->root) {
    pool->root = fresh;
    return true;
  }
  if (AppendLargest(pool, order, value, fresh)) return true;
  pool->spineDepth = 0;
  // The path from the root, with the side taken at each node. The critical node is the last
  // one on it whose balance is not 0.
  uint32_t path[kMaxTreeDepth];
  Side turn[kMaxTreeDepth];
  int depth = 0, critical = 0;
  for (uint32_t at = pool->root;;) {
    Node &node = pool->At(at);
    const int c = order.Values(value, node.value);
    if (c == 0) {
      NodePoolRelease(pool, fresh);
      *previous = node.value;
      node.value = value;
      return true;
    }
    path[depth] = at;
    turn[depth] = c < 0 ? kLeft : kRight;
    uint32_t &link = Child(node, turn[depth]);
    ++depth;
    if (!link) {
      link = fresh;
      break;
    }
    if (pool->At(link).balance != 0) critical = depth;
    at = link;
  }
  // The nodes below the critical one had balance 0 and now lean towards the new node.
  for (int i = critical + 1; i < depth; ++i)
    pool->At(path[i]).balance = turn[i];
  Node &top = pool->At(path[critical]);
  const Side side = turn[critical];
  if (top.balance == 0) {
    top.balance = side;
    return true;
  }
  if (top.balance == Opposite(side)) {
    top.balance = 0;
    return true;
  }
  bool lower;
  const uint32_t subtree = Rotate(pool, path[critical], side, &lower);
  if (critical == 0)
    pool->root = subtree;
  else
    Child(pool->At(path[critical - 1]), turn[critical - 1]) = subtree;
  return true;
}

uint32_t KeyTreeFind(const NodePool *pool, const KeyOrder &order, const char16_t *key) {
  for (uint32_t at = pool->root; at;) {
    const Node &node = pool->At(at);
    const int c = order.Key(key, node.value);
    if (c == 0) return node.value;
    at = c < 0 ? node.left : node.right;
  }
  return 0;
}

uint32_t KeyTreeRemove(NodePool *pool, const KeyOrder &order, const char16_t *key) {
  pool->spineDepth = 0;
  uint32_t path[kMaxTreeDepth];
  Side turn[kMaxTreeDepth];
  int depth = 0;
  uint32_t at = pool->root;
  while (at) {
    const int c = order.Key(key, pool->At(at).value);
    if (c == 0) break;
    path[depth] = at;
    turn[depth] = c < 0 ? kLeft : kRight;
    at = Child(pool->At(at), turn[depth]);
    ++depth;
  }
  if (!at) return 0;
  const uint32_t removed = at;
  Node &gone = pool->At(removed);
  const int place = depth;
  uint32_t replacement = 0;
  if (gone.left || gone.right) {
    // The nearest key on the right (or, without a right subtree, on the left) takes the place.
    const Side side = gone.right ? kRight : kLeft, back = Opposite(side);
    path[depth] = removed;
    turn[depth++] = side;
    uint32_t next = Child(gone, side);
    while (Child(pool->At(next), back)) {
      path[depth] = next;
      turn[depth++] = back;
      next = Child(pool->At(next), back);
    }
    Node &taker = pool->At(next);
    if (next != Child(gone, side)) {
      Child(pool->At(path[depth - 1]), back) = Child(taker, side);
      Child(taker, side) = Child(gone, side);
    }
    Child(taker, back) = Child(gone, back);
    taker.balance = gone.balance;
    path[place] = next;  // it stands where the removed node stood
    replacement = next;
  }
  if (place == 0)
    pool->root = replacement;
  else
    Child(pool->At(path[place - 1]), turn[place - 1]) = replacement;
  // Retrace from the lowest node whose subtree lost a level.
  while (depth > 0) {
    --depth;
    Node &node = pool->At(path[depth]);
    node.balance = static_cast<int8_t>(node.balance - turn[depth]);
    if (node.balance == 1 || node.balance == -1) break;  // its height did not change
    if (node.balance == 0) continue;                     // it lost a level; go on up
    bool lower;
    const uint32_t subtree = Rotate(pool, path[depth], node.balance > 0 ? kLeft : kRight, &lower);
    if (depth == 0)
      pool->root = subtree;
    else
      Child(pool->At(path[depth - 1]), turn[depth - 1]) = subtree;
    if (!lower) break;
  }
  NodePoolRelease(pool, removed);
  return removed;
}

uint32_t KeyTreeHeight(const NodePool *pool, uint32_t index) {
  uint32_t height = 0;
  for (; index; ++height) {
    const Node &node = pool->At(index);
    index = node.balance < 0 ? node.right : node.left;
  }
  return height;
}

}  // namespace sc::edct
