#include "dictionary/entry_store.h"

#include <cstring>
#include <string>

#include "sc_edct.h"
#include "sc_heap.h"

namespace sc::edct {
namespace {

// A record's length word is negated when a link to an older record follows it. Data of size
// 0 cannot be negated, so a linked empty record carries this value instead; no record is
// that large.
constexpr int32_t kEmptyLinked = INT32_MIN;

uint32_t RoundUp(uint32_t value, uint32_t alignment) {
  return (value + alignment - 1) / alignment * alignment;
}

uint32_t &Child(Node &node, int direction) {
  return direction > 0 ? node.left : node.right;
}

size_t PoolBytes(uint32_t capacity) {
  return sizeof(NodePool) + size_t{capacity} * sizeof(Node);
}

// Reads the record at `offset`; *link receives the offset of the older record when more is 1.
void ReadRecord(const unsigned char *arena, uint32_t offset, EntryRecord *record, uint32_t *link) {
  const auto *key = reinterpret_cast<const char16_t *>(arena + offset);
  const size_t units = std::char_traits<char16_t>::length(key) + 1;
  const uint32_t lengthAt = RoundUp(offset + static_cast<uint32_t>(units * 2), 4);
  int32_t length;
  std::memcpy(&length, arena + lengthAt, sizeof length);
  record->key = key;
  record->data = arena + lengthAt + 4;
  if (length >= 0) {
    record->size = static_cast<uint32_t>(length);
    record->more = 0;
    return;
  }
  record->size = length == kEmptyLinked ? 0 : static_cast<uint32_t>(-length);
  record->more = 1;
  std::memcpy(link, arena + RoundUp(lengthAt + 4 + record->size, 4), sizeof *link);
}

// Rebalances the subtree at `index`, whose balance is 2 * heavy (heavy: +1 left, -1 right),
// and returns its new root. *lower tells whether the subtree lost a level by it.
uint32_t Rotate(NodePool *pool, uint32_t index, int heavy, bool *lower) {
  Node &node = pool->At(index);
  const uint32_t childIndex = Child(node, heavy);
  Node &child = pool->At(childIndex);
  if (child.balance != -heavy) {
    // Single rotation: the child rises.
    Child(node, heavy) = Child(child, -heavy);
    Child(child, -heavy) = index;
    if (child.balance == 0) {  // only after a removal
      node.balance = static_cast<int8_t>(heavy);
      child.balance = static_cast<int8_t>(-heavy);
      *lower = false;
    } else {
      node.balance = 0;
      child.balance = 0;
      *lower = true;
    }
    return childIndex;
  }
  // Double rotation: the child's inner child rises above both.
  const uint32_t grandIndex = Child(child, -heavy);
  Node &grand = pool->At(grandIndex);
  Child(child, -heavy) = Child(grand, heavy);
  Child(grand, heavy) = childIndex;
  Child(node, heavy) = Child(grand, -heavy);
  Child(grand, -heavy) = index;
  if (grand.balance == heavy) {
    node.balance = static_cast<int8_t>(-heavy);
    child.balance = 0;
  } else if (grand.balance == 0) {
    node.balance = 0;
    child.balance = 0;
  } else {
    child.balance = static_cast<int8_t>(heavy);
    node.balance = 0;
  }
  grand.balance = 0;
  *lower = true;
  return grandIndex;
}

void ReleaseSubtree(NodePool *pool, uint32_t index) {
  if (!index) return;
  ReleaseSubtree(pool, pool->At(index).left);
  ReleaseSubtree(pool, pool->At(index).right);
  NodePoolRelease(pool, index);
}

void PushLeftSpine(TreeCursor *cursor, uint32_t index) {
  for (; index; index = cursor->pool->At(index).left)
    cursor->stack[cursor->depth++] = index;
}

}  // namespace

// ---- ChunkArray --------------------------------------------------------------------------

void ChunkArrayInit(ChunkArray *array, Resource *resource, uint32_t elementSize, uint32_t growth) {
  *array = ChunkArray{0, nullptr, growth, 0, elementSize, resource};
}

bool ChunkArrayReserve(ChunkArray *array, uint64_t end) {
  if (end <= array->capacity) return true;
  uint64_t capacity = uint64_t{array->capacity} + array->growth;
  if (capacity < end) capacity = end;
  if (capacity > UINT32_MAX) {
    if (end > UINT32_MAX) return false;
    capacity = UINT32_MAX;
  }
  void *grown = heap_Realloc(array->resource->heap, array->data, capacity * array->elementSize);
  if (!grown) return false;
  array->data = static_cast<unsigned char *>(grown);
  array->capacity = static_cast<uint32_t>(capacity);
  return true;
}

bool ChunkArrayPush(ChunkArray *array, const void *element) {
  uint32_t start;
  return ChunkArrayAppend(array, element, 1, 1, &start);
}

bool ChunkArrayAppend(ChunkArray *array, const void *source, uint32_t n, uint32_t alignment,
                      uint32_t *start) {
  const uint64_t first = (uint64_t{array->count} + alignment - 1) / alignment * alignment;
  if (!ChunkArrayReserve(array, first + n)) return false;
  if (n)
    std::memcpy(array->data + first * array->elementSize, source, size_t{n} * array->elementSize);
  array->count = static_cast<uint32_t>(first + n);
  *start = static_cast<uint32_t>(first);
  return true;
}

void ChunkArrayFree(ChunkArray *array) {
  if (array->data) heap_Free(array->resource->heap, array->data);
  array->data = nullptr;
  array->count = 0;
}

// ---- NodePool ----------------------------------------------------------------------------

NodePool *NodePoolCreate(Resource *resource, uint32_t initialCapacity, uint32_t growth) {
  auto *pool = static_cast<NodePool *>(heap_Calloc(resource->heap, 1, sizeof(NodePool)));
  if (!pool) return nullptr;
  pool->growth = growth;
  pool->resource = resource;
  if (!NodePoolGrow(&pool, initialCapacity)) {
    heap_Free(resource->heap, pool);
    return nullptr;
  }
  return pool;
}

bool NodePoolGrow(NodePool **poolRef, uint32_t capacity) {
  NodePool *pool = *poolRef;
  uint64_t wanted = capacity ? capacity : uint64_t{pool->capacity} + pool->growth;
  if (wanted > UINT32_MAX) return false;
  if (wanted <= pool->capacity) return true;
  auto *grown = static_cast<NodePool *>(
      heap_Realloc(pool->resource->heap, pool, PoolBytes(static_cast<uint32_t>(wanted))));
  if (!grown) return false;
  const uint32_t old = grown->capacity;
  grown->capacity = static_cast<uint32_t>(wanted);
  for (uint32_t i = old + 1; i <= grown->capacity; ++i)
    grown->At(i) = Node{0, i < grown->capacity ? i + 1 : 0, 0, 0};
  // Growth happens only with an empty free list, so nothing is lost here.
  grown->freeHead = old + 1;
  *poolRef = grown;
  return true;
}

uint32_t NodePoolAllocate(NodePool **poolRef, uint32_t value) {
  if (!(*poolRef)->freeHead && !NodePoolGrow(poolRef, 0)) return 0;
  NodePool *pool = *poolRef;
  const uint32_t index = pool->freeHead;
  Node &node = pool->At(index);
  pool->freeHead = node.left;
  node = Node{value, 0, 0, 0};
  return index;
}

void NodePoolRelease(NodePool *pool, uint32_t index) {
  pool->At(index).left = pool->freeHead;
  pool->freeHead = index;
}

void NodePoolClear(NodePool *pool) {
  ReleaseSubtree(pool, pool->root);
  pool->root = 0;
}

void NodePoolDestroy(NodePool *pool) {
  if (!pool) return;
  NodePoolClear(pool);
  heap_Free(pool->resource->heap, pool);
}

// ---- KeyTree -----------------------------------------------------------------------------

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
  // The path from the root, with the direction taken at each node (+1 left, -1 right). The
  // critical node is the last one on it whose balance is not 0.
  uint32_t path[kMaxTreeDepth];
  int8_t turn[kMaxTreeDepth];
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
    turn[depth] = static_cast<int8_t>(c < 0 ? 1 : -1);
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
  const int side = turn[critical];
  if (top.balance == 0) {
    top.balance = static_cast<int8_t>(side);
    return true;
  }
  if (top.balance == -side) {
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
  uint32_t path[kMaxTreeDepth];
  int8_t turn[kMaxTreeDepth];
  int depth = 0;
  uint32_t at = pool->root;
  while (at) {
    const int c = order.Key(key, pool->At(at).value);
    if (c == 0) break;
    path[depth] = at;
    turn[depth] = static_cast<int8_t>(c < 0 ? 1 : -1);
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
    const int side = gone.right ? -1 : 1;
    path[depth] = removed;
    turn[depth++] = static_cast<int8_t>(side);
    uint32_t next = Child(gone, side);
    while (Child(pool->At(next), -side)) {
      path[depth] = next;
      turn[depth++] = static_cast<int8_t>(-side);
      next = Child(pool->At(next), -side);
    }
    Node &taker = pool->At(next);
    if (next != Child(gone, side)) {
      Child(pool->At(path[depth - 1]), -side) = Child(taker, side);
      Child(taker, side) = Child(gone, side);
    }
    Child(taker, -side) = Child(gone, -side);
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
    const uint32_t subtree = Rotate(pool, path[depth], node.balance > 0 ? 1 : -1, &lower);
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

// ---- Cursors -----------------------------------------------------------------------------

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
  TreeCursorAdvance(&cursor->tree);
}

// ---- EntryStore --------------------------------------------------------------------------

VQRESULT EntryStoreInit(EntryStore *store, Resource *resource, uint32_t treeGrowth,
                        uint32_t arenaGrowth) {
  store->resource = resource;
  store->pendingLink = kNoLink;
  ChunkArrayInit(&store->arena, resource, 1, arenaGrowth);
  store->pool = NodePoolCreate(resource, 0, treeGrowth);
  if (!store->pool) return EDCT_E_OUT_OF_MEMORY;
  // Offset 0 holds a filler byte, so no record starts there and 0 can mean none.
  const unsigned char filler = 0;
  if (!ChunkArrayPush(&store->arena, &filler)) {
    NodePoolDestroy(store->pool);
    store->pool = nullptr;
    return EDCT_E_OUT_OF_MEMORY;
  }
  return 0;
}

uint32_t EntryStoreAdd(EntryStore *store, const char16_t *key, const void *data, uint32_t size) {
  ChunkArray &arena = store->arena;
  const uint64_t keyBytes = (std::char_traits<char16_t>::length(key) + 1) * uint64_t{2};
  // Room for the worst case (pads, length word, data and a link) is made first, so that once
  // anything is written nothing can fail but the tree's own growth, which is undone below.
  const uint64_t worst = uint64_t{arena.count} + 1 + keyBytes + 3 + 4 + size + 3 + 4;
  if (size > INT32_MAX || !ChunkArrayReserve(&arena, worst)) return EDCT_E_OUT_OF_MEMORY;
  const uint32_t before = arena.count;
  uint32_t record, lengthAt, dataAt;
  const int32_t length = static_cast<int32_t>(size);
  ChunkArrayAppend(&arena, key, static_cast<uint32_t>(keyBytes), 2, &record);
  ChunkArrayAppend(&arena, &length, sizeof length, 4, &lengthAt);
  ChunkArrayAppend(&arena, data, size, 1, &dataAt);
  uint32_t previous = 0;
  if (!KeyTreeInsert(&store->pool, KeyOrder{arena.data}, record, &previous)) {
    arena.count = before;
    return EDCT_E_OUT_OF_MEMORY;
  }
  if (!previous) return kStoreNewKey;
  uint32_t linkAt;
  ChunkArrayAppend(&arena, &previous, sizeof previous, 4, &linkAt);
  const int32_t linked = size ? -length : kEmptyLinked;
  std::memcpy(arena.data + lengthAt, &linked, sizeof linked);
  return kStoreChained;
}

uint32_t EntryStoreGet(EntryStore *store, const char16_t *key, EntryRecord *record) {
  uint32_t offset = store->pendingLink;
  if (offset == kNoLink) {
    offset = KeyTreeFind(store->pool, KeyOrder{store->arena.data}, key);
    if (!offset) return kStoreAbsent;
  }
  uint32_t link = kNoLink;
  ReadRecord(store->arena.data, offset, record, &link);
  store->pendingLink = record->more ? link : kNoLink;
  return 0;
}

uint32_t EntryStoreRemove(EntryStore *store, const char16_t *key, uint32_t *count) {
  *count = 0;
  const KeyOrder order{store->arena.data};
  uint32_t offset = KeyTreeFind(store->pool, order, key);
  if (!offset) return kStoreAbsent;
  EntryRecord record;
  do {
    ReadRecord(store->arena.data, offset, &record, &offset);
    ++*count;
  } while (record.more);
  KeyTreeRemove(store->pool, order, key);
  store->pendingLink = kNoLink;
  return 0;
}

void EntryStoreDestroy(EntryStore *store) {
  NodePoolDestroy(store->pool);
  store->pool = nullptr;
  ChunkArrayFree(&store->arena);
}

}  // namespace sc::edct
