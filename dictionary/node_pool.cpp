#include "dictionary/node_pool.h"

#include "sc_heap.h"

namespace sc::edct {
namespace {

size_t PoolBytes(uint32_t capacity) {
  return sizeof(NodePool) + size_t{capacity} * sizeof(Node);
}

// Children before their parent.
void ReleaseSubtree(NodePool *pool, uint32_t index) {
  if (!index) return;
  ReleaseSubtree(pool, pool->At(index).left);
  ReleaseSubtree(pool, pool->At(index).right);
  NodePoolRelease(pool, index);
}

}  // namespace

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
  pool->spineDepth = 0;
}

void NodePoolDestroy(NodePool *pool) {
  if (!pool) return;
  NodePoolClear(pool);
  heap_Free(pool->resource->heap, pool);
}

}  // namespace sc::edct
