#include "dataheader/tree_store.h"

#include <cstdint>
#include <cstring>

#include "foundation/alloc.h"
#include "platform/lock.h"

namespace sc::hdr {

struct StoreBlock {
  StoreBlock *next;
  size_t size;  // bytes after the header
};

namespace {

constexpr size_t kBlockHeader = (sizeof(StoreBlock) + 15) / 16 * 16;
constexpr size_t kSmallestBlock = 128;
constexpr size_t kLargestFirstBlock = size_t{1} << 20;

unsigned char *Contents(StoreBlock *block) {
  return reinterpret_cast<unsigned char *>(block) + kBlockHeader;
}

bool Within(const void *pointer, const void *first, size_t bytes) {
  const auto at = reinterpret_cast<uintptr_t>(pointer);
  const auto begin = reinterpret_cast<uintptr_t>(first);
  return at >= begin && at - begin < bytes;
}

// Bytes from the store's newest block, or from a new one.
void *Allocate(TreeStore &store, size_t bytes, size_t alignment) {
  const auto at = reinterpret_cast<uintptr_t>(store.free);
  unsigned char *place = store.free + (alignment - at % alignment) % alignment;
  if (store.free && place <= store.limit && bytes <= size_t(store.limit - place)) {
    store.free = place + bytes;
    return place;
  }
  return AllocateInNewBlock(store, bytes);
}

// The read structures, as an open-addressed set of their addresses. It holds no memory while
// it is empty, so the library's block count comes back to where it was.
class StructureSet {
 public:
  bool Insert(const void *key) {
    plat::MutexHold hold(mutex_);
    if ((count_ + 1) * 2 > capacity_ && !Grow()) return false;
    Place(key);
    ++count_;
    return true;
  }
  bool Contains(const void *key) {
    plat::MutexHold hold(mutex_);
    return count_ && slots_[Find(key)] == key;
  }
  void Erase(const void *key) {
    plat::MutexHold hold(mutex_);
    if (!count_) return;
    size_t hole = Find(key);
    if (slots_[hole] != key) return;
    // Backward shift: every later entry of the probe run that may move into the hole does.
    for (size_t at = Next(hole); slots_[at]; at = Next(at)) {
      const size_t home = Home(slots_[at]);
      if ((at > hole && (home <= hole || home > at)) || (at < hole && home <= hole && home > at)) {
        slots_[hole] = slots_[at];
        hole = at;
      }
    }
    slots_[hole] = nullptr;
    if (--count_ == 0) {
      RawFree(slots_);
      slots_ = nullptr;
      capacity_ = 0;
    }
  }

 private:
  size_t Home(const void *key) const {
    const uint64_t mixed = (reinterpret_cast<uintptr_t>(key) >> 4) * 0x9E3779B97F4A7C15u;
    return static_cast<size_t>(mixed >> 32) & (capacity_ - 1);
  }
  size_t Next(size_t at) const { return (at + 1) & (capacity_ - 1); }
  // The key's slot, or the empty slot where it would go.
  size_t Find(const void *key) const {
    size_t at = Home(key);
    while (slots_[at] && slots_[at] != key)
      at = Next(at);
    return at;
  }
  void Place(const void *key) { slots_[Find(key)] = key; }
  bool Grow() {
    const size_t capacity = capacity_ ? capacity_ * 2 : 64;
    auto *slots = static_cast<const void **>(RawCalloc(capacity, sizeof(void *)));
    if (!slots) return false;
    const void **old = slots_;
    const size_t oldCapacity = capacity_;
    slots_ = slots;
    capacity_ = capacity;
    for (size_t i = 0; i < oldCapacity; ++i)
      if (old[i]) Place(old[i]);
    RawFree(old);
    return true;
  }

  plat::Mutex mutex_;
  const void **slots_ = nullptr;
  size_t capacity_ = 0;
  size_t count_ = 0;
};

StructureSet g_readStructures;

}  // namespace

TreeStore *NewTreeStore(char16_t *text, size_t chars) {
  auto *store = static_cast<TreeStore *>(RawCalloc(1, sizeof(TreeStore)));
  if (!store) {
    RawFree(text);
    return nullptr;
  }
  store->text = text;
  store->textChars = chars;
  // Typical headers need about as many bytes of records as their text has characters.
  size_t first = chars;
  if (first < kSmallestBlock) first = kSmallestBlock;
  if (first > kLargestFirstBlock) first = kLargestFirstBlock;
  store->nextBlockBytes = first;
  return store;
}

bool RegisterTreeStore(TreeStore *store) {
  return g_readStructures.Insert(store);
}

void FreeUnregisteredTreeStore(TreeStore *store) {
  if (!store) return;
  for (StoreBlock *block = store->blocks; block;) {
    StoreBlock *next = block->next;
    RawFree(block);
    block = next;
  }
  RawFree(store->text);
  RawFree(store);
}

// Blocks are twice as large as the one before, so a tree needs few of them; each starts
// 16-aligned.
void *AllocateInNewBlock(TreeStore &store, size_t bytes) {
  size_t size = store.nextBlockBytes;
  if (size < bytes) size = bytes;
  if (size > SIZE_MAX - kBlockHeader) return nullptr;
  auto *block = static_cast<StoreBlock *>(RawAlloc(kBlockHeader + size));
  if (!block) return nullptr;
  *block = {store.blocks, size};
  store.blocks = block;
  store.free = Contents(block) + bytes;
  store.limit = Contents(block) + size;
  if (store.nextBlockBytes <= SIZE_MAX / 4) store.nextBlockBytes *= 2;
  return Contents(block);
}

char16_t *StoreText(TreeStore &store, std::u16string_view text) {
  if (text.size() >= SIZE_MAX / sizeof(char16_t)) return nullptr;
  auto *copy = static_cast<char16_t *>(
      Allocate(store, (text.size() + 1) * sizeof(char16_t), alignof(char16_t)));
  if (!copy) return nullptr;
  if (!text.empty()) std::memcpy(copy, text.data(), text.size() * sizeof(char16_t));
  copy[text.size()] = 0;
  return copy;
}

TreeStore *StoreOf(const FileStructure *structure) {
  if (!structure || !g_readStructures.Contains(structure)) return nullptr;
  // The structure is the first member of its store.
  return reinterpret_cast<TreeStore *>(const_cast<FileStructure *>(structure));
}

bool Owns(const TreeStore *store, const void *pointer) {
  if (!store || !pointer) return false;
  if (Within(pointer, store->text, store->textChars * sizeof(char16_t))) return true;
  for (StoreBlock *block = store->blocks; block; block = block->next)
    if (Within(pointer, block, kBlockHeader + block->size)) return true;
  return false;
}

void ReleaseText(const TreeStore *store, void *text) {
  if (!Owns(store, text)) RawFree(text);
}

namespace {

// The store's pieces as address ranges, gathered once for a walk over a whole tree.
class OwnedRanges {
 public:
  explicit OwnedRanges(const TreeStore *store) {
    if (!store) return;
    Add(store->text, store->textChars * sizeof(char16_t));
    for (StoreBlock *block = store->blocks; block; block = block->next)
      if (!Add(block, kBlockHeader + block->size)) {
        store_ = store;  // too many to gather: ask the store
        break;
      }
  }
  bool Owns(const void *pointer) const {
    if (store_) return sc::hdr::Owns(store_, pointer);
    const auto at = reinterpret_cast<uintptr_t>(pointer);
    for (size_t i = 0; i < count_; ++i)
      if (at - begin_[i] < bytes_[i]) return true;
    return false;
  }

 private:
  bool Add(const void *first, size_t bytes) {
    if (count_ == kMost) return false;
    begin_[count_] = reinterpret_cast<uintptr_t>(first);
    bytes_[count_++] = bytes;
    return true;
  }
  static constexpr size_t kMost = 16;
  uintptr_t begin_[kMost];
  size_t bytes_[kMost];
  size_t count_ = 0;
  const TreeStore *store_ = nullptr;
};

void Release(const OwnedRanges &owned, Tag *first) {
  while (first) {
    Tag *next = first->next;
    Release(owned, first->children);
    if (!owned.Owns(first->name)) RawFree(first->name);
    if (!owned.Owns(first->value)) RawFree(first->value);
    if (!owned.Owns(first)) RawFree(first);
    first = next;
  }
}

}  // namespace

void ReleaseTags(const TreeStore *store, Tag *first) {
  Release(OwnedRanges(store), first);
}

void DeleteTreeStore(TreeStore *store) {
  g_readStructures.Erase(store);
  FreeUnregisteredTreeStore(store);
}

}  // namespace sc::hdr
