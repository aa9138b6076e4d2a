// An open-addressing hash set split into shards. Lookups take no lock: they read the slots
// with atomic loads. Changes take the shard's lock. A table that grows is replaced, and the
// old one is kept (on a list, for the life of the process) because a lookup may still be
// reading it; the tables double, so what is kept never exceeds the size of the newest.
#include "foundation/live_set.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>

#include "platform/lock.h"

namespace sc::live {
namespace {

constexpr uintptr_t kEmpty = 0;
constexpr uintptr_t kDeleted = 1;
constexpr size_t kShards = 16;

struct Slot {
  std::atomic<uintptr_t> object;  // kEmpty, kDeleted or an object
  std::atomic<uint32_t> kind;     // written before the object, read after it
};

struct Table {
  size_t capacity;  // a power of two
  Table *retired;   // the table this one replaced
  Slot slots[1];
};

struct Shard {
  plat::Mutex mutex;
  std::atomic<Table *> table{nullptr};   // replaced under the mutex, read without it
  size_t used SC_GUARDED_BY(mutex) = 0;  // live plus deleted slots
};

Shard g_shards[kShards];

size_t Hash(uintptr_t object, uint32_t kind) {
  uint64_t x = static_cast<uint64_t>(object) ^ (static_cast<uint64_t>(kind) << 32);
  x ^= x >> 33;
  x *= 0xff51afd7ed558ccdULL;
  x ^= x >> 33;
  return static_cast<size_t>(x);
}

Shard &ShardOf(uintptr_t object) {
  return g_shards[(object >> 4) % kShards];
}

Slot *Find(Table *table, uintptr_t object, uint32_t kind) {
  if (!table) return nullptr;
  const size_t mask = table->capacity - 1;
  for (size_t i = Hash(object, kind) & mask;; i = (i + 1) & mask) {
    Slot &slot = table->slots[i];
    const uintptr_t held = slot.object.load(std::memory_order_acquire);
    if (held == kEmpty) return nullptr;
    if (held == object && slot.kind.load(std::memory_order_relaxed) == kind) return &slot;
  }
}

void Insert(Table *table, uintptr_t object, uint32_t kind) {
  const size_t mask = table->capacity - 1;
  size_t i = Hash(object, kind) & mask;
  while (table->slots[i].object.load(std::memory_order_relaxed) > kDeleted)
    i = (i + 1) & mask;
  table->slots[i].kind.store(kind, std::memory_order_relaxed);
  table->slots[i].object.store(object, std::memory_order_release);
}

Table *NewTable(size_t capacity) {
  // Zeroed memory is a table of empty slots.
  auto *table =
      static_cast<Table *>(std::calloc(1, offsetof(Table, slots) + capacity * sizeof(Slot)));
  if (table) table->capacity = capacity;
  return table;
}

// Replaces the shard's table by one twice as large holding its live entries.
bool Grow(Shard &shard) SC_REQUIRES(shard.mutex) {
  Table *old = shard.table.load(std::memory_order_relaxed);
  Table *grown = NewTable(old ? old->capacity * 2 : 64);
  if (!grown) return false;
  size_t used = 0;
  for (size_t i = 0; old && i < old->capacity; ++i) {
    const uintptr_t object = old->slots[i].object.load(std::memory_order_relaxed);
    if (object > kDeleted) {
      Insert(grown, object, old->slots[i].kind.load(std::memory_order_relaxed));
      ++used;
    }
  }
  grown->retired = old;
  shard.table.store(grown, std::memory_order_release);
  shard.used = used;
  return true;
}

}  // namespace

bool Add(const void *object, uint32_t kind) {
  const auto key = reinterpret_cast<uintptr_t>(object);
  if (key <= kDeleted) return false;
  Shard &shard = ShardOf(key);
  plat::MutexHold hold(shard.mutex);
  bool ok = true;
  if (!Find(shard.table.load(std::memory_order_relaxed), key, kind)) {
    Table *table = shard.table.load(std::memory_order_relaxed);
    if (!table || (shard.used + 1) * 2 > table->capacity) ok = Grow(shard);
    if (ok) {
      Insert(shard.table.load(std::memory_order_relaxed), key, kind);
      ++shard.used;
    }
  }
  return ok;
}

void Remove(const void *object, uint32_t kind) {
  const auto key = reinterpret_cast<uintptr_t>(object);
  Shard &shard = ShardOf(key);
  plat::MutexHold hold(shard.mutex);
  if (Slot *slot = Find(shard.table.load(std::memory_order_relaxed), key, kind))
    slot->object.store(kDeleted, std::memory_order_release);
}

bool Contains(const void *object, uint32_t kind) {
  const auto key = reinterpret_cast<uintptr_t>(object);
  if (key <= kDeleted) return false;
  return Find(ShardOf(key).table.load(std::memory_order_acquire), key, kind) != nullptr;
}

}  // namespace sc::live
