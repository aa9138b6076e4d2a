#include "dictionary/entry_store.h"

#include <cstring>
#include <string>

#include "dictionary/key_tree.h"
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

}  // namespace

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
