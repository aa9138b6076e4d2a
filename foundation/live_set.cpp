// An open-addressing hash set split into shards, each with its own lock, so that lookups
// from many threads rarely meet on one lock.
#include "foundation/live_set.h"

#include <pthread.h>

#include <cstddef>
#include <cstdlib>

namespace sc::live {
namespace {

struct Slot {
  uintptr_t object;  // 0: empty; 1: deleted
  uint32_t kind;
};

constexpr uintptr_t kEmpty = 0;
constexpr uintptr_t kDeleted = 1;
constexpr size_t kShards = 16;

struct Shard {
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  Slot *slots = nullptr;
  size_t capacity = 0;  // a power of two
  size_t used = 0;      // live plus deleted slots
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

Slot *Find(Shard &shard, uintptr_t object, uint32_t kind) {
  if (!shard.capacity) return nullptr;
  const size_t mask = shard.capacity - 1;
  for (size_t i = Hash(object, kind) & mask;; i = (i + 1) & mask) {
    Slot &slot = shard.slots[i];
    if (slot.object == kEmpty) return nullptr;
    if (slot.object == object && slot.kind == kind) return &slot;
  }
}

void Insert(Slot *slots, size_t capacity, uintptr_t object, uint32_t kind) {
  const size_t mask = capacity - 1;
  size_t i = Hash(object, kind) & mask;
  while (slots[i].object > kDeleted)
    i = (i + 1) & mask;
  slots[i] = {object, kind};
}

bool Grow(Shard &shard) {
  const size_t capacity = shard.capacity ? shard.capacity * 2 : 64;
  auto *slots = static_cast<Slot *>(std::calloc(capacity, sizeof(Slot)));
  if (!slots) return false;
  size_t used = 0;
  for (size_t i = 0; i < shard.capacity; ++i) {
    if (shard.slots[i].object > kDeleted) {
      Insert(slots, capacity, shard.slots[i].object, shard.slots[i].kind);
      ++used;
    }
  }
  std::free(shard.slots);
  shard.slots = slots;
  shard.capacity = capacity;
  shard.used = used;
  return true;
}

}  // namespace

bool Add(const void *object, uint32_t kind) {
  const auto key = reinterpret_cast<uintptr_t>(object);
  if (key <= kDeleted) return false;
  Shard &shard = ShardOf(key);
  pthread_mutex_lock(&shard.mutex);
  bool ok = true;
  if (!Find(shard, key, kind)) {
    if ((shard.used + 1) * 2 > shard.capacity) ok = Grow(shard);
    if (ok) {
      Insert(shard.slots, shard.capacity, key, kind);
      ++shard.used;
    }
  }
  pthread_mutex_unlock(&shard.mutex);
  return ok;
}

void Remove(const void *object, uint32_t kind) {
  const auto key = reinterpret_cast<uintptr_t>(object);
  Shard &shard = ShardOf(key);
  pthread_mutex_lock(&shard.mutex);
  if (Slot *slot = Find(shard, key, kind)) slot->object = kDeleted;
  pthread_mutex_unlock(&shard.mutex);
}

bool Contains(const void *object, uint32_t kind) {
  const auto key = reinterpret_cast<uintptr_t>(object);
  Shard &shard = ShardOf(key);
  pthread_mutex_lock(&shard.mutex);
  const bool found = Find(shard, key, kind) != nullptr;
  pthread_mutex_unlock(&shard.mutex);
  return found;
}

}  // namespace sc::live
