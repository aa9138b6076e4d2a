// A hash set split into shards, each a table of buckets that chain their entries. Lookups take
// no lock: they follow the chains with atomic loads, and take a hold by one compare-and-swap on
// the entry's state word (generation, hold count, closing flag), which succeeds only while the
// entry still describes the object the lookup compared. Changes take the shard's lock; those
// that move or unlink entries make the shard's version odd while they run, and a lookup that
// finds nothing believes its miss only when the version was even and unchanged throughout.
//
// Entries live in blocks that are never freed, and tables that grow are kept for lookups still
// on them (they double, so what is kept never exceeds the newest); nothing a lookup can reach
// is ever freed.
#include "foundation/live_set.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <thread>

#include "foundation/quarantine.h"
#include "platform/lock.h"

namespace sc::live {

// The state word: generation in the high half; the hold count in bits 1 to 31 (the set's own
// count for an open object, plus one per hold); bit 0 set while closing and while unused.
constexpr uint64_t kClosing = 1;
constexpr uint64_t kOne = 2;
constexpr uint64_t kLowHalf = 0xFFFF'FFFFu;

struct Entry {
  std::atomic<uint64_t> state;
  std::atomic<const void *> object;
  std::atomic<uint32_t> kind;
  std::atomic<Entry *> next;  // the bucket's chain while entered, the pool's list while unused
  Finalize finalize;
};

namespace {

constexpr size_t kShards = 16;
constexpr size_t kEntriesPerBlock = 64;

struct Table {
  size_t capacity;  // a power of two
  Table *retired;   // the table this one replaced
  std::atomic<Entry *> heads[1];
};

struct Shard {
  plat::Mutex mutex;
  std::atomic<Table *> table{nullptr};  // replaced under the mutex, read without it
  std::atomic<uint64_t> version{0};     // odd while entries move or leave
  size_t entries SC_GUARDED_BY(mutex) = 0;
};

Shard g_shards[kShards];

plat::Mutex g_poolMutex;
Entry *g_pool SC_GUARDED_BY(g_poolMutex) = nullptr;

size_t Hash(const void *object, uint32_t kind) {
  uint64_t x = reinterpret_cast<uintptr_t>(object) ^ (static_cast<uint64_t>(kind) << 32);
  x ^= x >> 33;
  x *= 0xff51afd7ed558ccdULL;
  x ^= x >> 33;
  return static_cast<size_t>(x);
}

Shard &ShardOf(const void *object) {
  return g_shards[(reinterpret_cast<uintptr_t>(object) >> 4) % kShards];
}

std::atomic<Entry *> &Bucket(Table *table, const void *object, uint32_t kind) {
  return table->heads[Hash(object, kind) & (table->capacity - 1)];
}

Entry *TakeEntry() {
  plat::MutexHold hold(g_poolMutex);
  if (!g_pool) {
    // Zeroed memory is a block of unused entries of generation 0.
    auto *block = static_cast<Entry *>(std::calloc(kEntriesPerBlock, sizeof(Entry)));
    if (!block) return nullptr;
    for (size_t i = 0; i < kEntriesPerBlock; ++i) {
      block[i].state.store(kClosing, std::memory_order_relaxed);
      block[i].next.store(i + 1 < kEntriesPerBlock ? &block[i + 1] : nullptr,
                          std::memory_order_relaxed);
    }
    g_pool = block;
  }
  Entry *entry = g_pool;
  g_pool = entry->next.load(std::memory_order_relaxed);
  return entry;
}

// A new generation begins, so a lookup still holding the old state word fails its swap.
void ReturnEntry(Entry *entry) {
  const uint64_t generation = (entry->state.load(std::memory_order_relaxed) >> 32) + 1;
  entry->state.store(generation << 32 | kClosing, std::memory_order_release);
  plat::MutexHold hold(g_poolMutex);
  entry->next.store(g_pool, std::memory_order_release);
  g_pool = entry;
}

void Push(std::atomic<Entry *> &head, Entry *entry) {
  entry->next.store(head.load(std::memory_order_relaxed), std::memory_order_release);
  head.store(entry, std::memory_order_release);
}

// Replaces the shard's table by one twice as large, moving every entry.
bool Grow(Shard &shard) SC_REQUIRES(shard.mutex) {
  Table *old = shard.table.load(std::memory_order_relaxed);
  const size_t capacity = old ? old->capacity * 2 : 64;
  auto *grown = static_cast<Table *>(
      std::calloc(1, offsetof(Table, heads) + capacity * sizeof(std::atomic<Entry *>)));
  if (!grown) return false;
  grown->capacity = capacity;
  grown->retired = old;
  shard.version.fetch_add(1, std::memory_order_relaxed);
  for (size_t i = 0; old && i < old->capacity; ++i) {
    for (Entry *entry = old->heads[i].load(std::memory_order_relaxed); entry;) {
      Entry *next = entry->next.load(std::memory_order_relaxed);
      Push(Bucket(grown, entry->object.load(std::memory_order_relaxed),
                  entry->kind.load(std::memory_order_relaxed)),
           entry);
      entry = next;
    }
  }
  shard.table.store(grown, std::memory_order_release);
  shard.version.fetch_add(1, std::memory_order_release);
  return true;
}

void Unlink(Shard &shard, Entry *entry) SC_REQUIRES(shard.mutex) {
  Table *table = shard.table.load(std::memory_order_relaxed);
  std::atomic<Entry *> *link = &Bucket(table, entry->object.load(std::memory_order_relaxed),
                                       entry->kind.load(std::memory_order_relaxed));
  while (link->load(std::memory_order_relaxed) != entry)
    link = &link->load(std::memory_order_relaxed)->next;
  shard.version.fetch_add(1, std::memory_order_relaxed);
  link->store(entry->next.load(std::memory_order_relaxed), std::memory_order_release);
  shard.version.fetch_add(1, std::memory_order_release);
  --shard.entries;
}

// A hold on the entry if it is open and still describes this object.
bool TryHold(Entry *entry, const void *object, uint32_t kind) {
  uint64_t state = entry->state.load(std::memory_order_acquire);
  for (;;) {
    if (state & kClosing) return false;
    if (entry->object.load(std::memory_order_acquire) != object ||
        entry->kind.load(std::memory_order_acquire) != kind)
      return false;
    if (entry->state.compare_exchange_weak(state, state + kOne, std::memory_order_acq_rel,
                                           std::memory_order_acquire))
      return true;
  }
}

}  // namespace

Entry *Add(void *object, uint32_t kind, Finalize finalize) {
  if (!object) return nullptr;
  Entry *entry = TakeEntry();
  if (!entry) return nullptr;
  entry->object.store(object, std::memory_order_release);
  entry->kind.store(kind, std::memory_order_release);
  entry->finalize = finalize;
  const uint64_t generation = entry->state.load(std::memory_order_relaxed) >> 32;
  entry->state.store(generation << 32 | kOne, std::memory_order_release);
  Shard &shard = ShardOf(object);
  {
    plat::MutexHold hold(shard.mutex);
    Table *table = shard.table.load(std::memory_order_relaxed);
    if (!table || shard.entries + 1 > table->capacity) {
      if (!Grow(shard)) {
        ReturnEntry(entry);
        return nullptr;
      }
      table = shard.table.load(std::memory_order_relaxed);
    }
    Push(Bucket(table, object, kind), entry);
    ++shard.entries;
  }
  CountOpening();
  return entry;
}

Entry *Hold(const void *object, uint32_t kind) {
  Shard &shard = ShardOf(object);
  for (;;) {
    const uint64_t version = shard.version.load(std::memory_order_acquire);
    if (version % 2 == 0) {
      Table *table = shard.table.load(std::memory_order_acquire);
      if (!table) return nullptr;
      // A lookup that wandered off through moved entries notices it by the version.
      size_t steps = 0;
      for (Entry *entry = Bucket(table, object, kind).load(std::memory_order_acquire); entry;
           entry = entry->next.load(std::memory_order_acquire)) {
        if (TryHold(entry, object, kind)) return entry;
        if (++steps % 64 == 0 && shard.version.load(std::memory_order_acquire) != version) break;
      }
      if (shard.version.load(std::memory_order_acquire) == version) return nullptr;
    }
    std::this_thread::yield();
  }
}

void HoldAgain(Entry *entry) {
  entry->state.fetch_add(kOne, std::memory_order_relaxed);
}

void Leave(Entry *entry) {
  const uint64_t before = entry->state.fetch_sub(kOne, std::memory_order_acq_rel);
  if ((before & kLowHalf) != (kOne | kClosing)) return;
  entry->finalize(const_cast<void *>(entry->object.load(std::memory_order_relaxed)));
  ReturnEntry(entry);
}

bool Close(Entry *entry) {
  Shard &shard = ShardOf(entry->object.load(std::memory_order_relaxed));
  {
    plat::MutexHold hold(shard.mutex);
    uint64_t state = entry->state.load(std::memory_order_acquire);
    do {
      if (state & kClosing) return false;
    } while (!entry->state.compare_exchange_weak(state, state | kClosing, std::memory_order_acq_rel,
                                                 std::memory_order_acquire));
    Unlink(shard, entry);
  }
  Leave(entry);  // the set's own count
  return true;
}

bool IsClosing(const Entry *entry) {
  return entry->state.load(std::memory_order_acquire) & kClosing;
}

void *ObjectOf(const Entry *entry) {
  return const_cast<void *>(entry->object.load(std::memory_order_relaxed));
}

}  // namespace sc::live
