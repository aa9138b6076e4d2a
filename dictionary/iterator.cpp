// Iterators: a walk over every key of one dictionary, SubDictionary by SubDictionary, that
// hands out each key with its entries of that SubDictionary.
#include <cstring>
#include <string>
#include <utility>

#include "dictionary/dictionary.h"
#include "dictionary/image_view.h"
#include "dictionary/store_cursor.h"
#include "foundation/heap_ptr.h"
#include "foundation/live_set.h"
#include "foundation/quarantine.h"
#include "foundation/resource.h"
#include "platform/text.h"
#include "sc_edct.h"
#include "sc_heap.h"
#include "sc_safeh.h"

namespace sc::edct {
namespace {

struct DictionaryIterator {
  Resource *resource;
  SecObject guard;
  Dictionary *dictionary;
  EDCT_ENTRY *entries;  // one block with every copy the entries point to
  uint32_t entryCount;
  const char16_t *key;
  bool keyOwned;  // the key is a heap copy, not a place in an image
  uint32_t ended;
  uint32_t currentBuilt;
  uint32_t newSection;
  uint32_t wantKey;
  uint32_t wantEntries;
  SubDictionary *section;  // writable dictionaries
  StoreCursor cursor;
  const ImageSubDictionary *image;  // read-only dictionaries
  uint32_t index;
};

bool Writable(const DictionaryIterator &iterator) {
  return iterator.dictionary->kind == kWritable;
}

// Gives back what the current position handed out.
void Release(DictionaryIterator *iterator) {
  heap_Free(iterator->resource->heap, iterator->entries);
  if (iterator->keyOwned)
    heap_Free(iterator->resource->heap, const_cast<char16_t *>(iterator->key));
  iterator->entries = nullptr;
  iterator->entryCount = 0;
  iterator->key = nullptr;
  iterator->keyOwned = false;
}

// Moves past SubDictionaries that have no key left; ends the walk after the last.
void Position(DictionaryIterator *iterator) {
  if (Writable(*iterator)) {
    while (iterator->section && StoreCursorEnded(&iterator->cursor)) {
      iterator->section = iterator->section->next;
      if (iterator->section) StoreCursorOpen(&iterator->cursor, &iterator->section->store);
      iterator->newSection = 1;
    }
    iterator->ended = iterator->section == nullptr;
  } else {
    while (iterator->image && iterator->index >= iterator->image->header.keyCount) {
      iterator->image = iterator->image->next;
      iterator->index = 0;
      iterator->newSection = 1;
    }
    iterator->ended = iterator->image == nullptr;
  }
}

// Back to the first key, as after opening.
void Restart(DictionaryIterator *iterator) {
  Release(iterator);
  iterator->section = iterator->dictionary->first;
  if (iterator->section) StoreCursorOpen(&iterator->cursor, &iterator->section->store);
  iterator->image = iterator->dictionary->firstImage;
  iterator->index = 0;
  iterator->currentBuilt = 0;
  iterator->newSection = 1;
  iterator->ended = 0;
  if (Writable(*iterator) ? !iterator->section : !iterator->image) {
    iterator->ended = 1;
    return;
  }
  Position(iterator);
}

// The current key's records into the block (counting, or filling after Allocate).
void WalkRecords(DictionaryIterator *iterator, EntryBlock *block, EntryRecord *first) {
  iterator->cursor.pendingLink = kNoLink;
  EntryRecord record;
  StoreCursorCurrent(&iterator->cursor, &record);
  *first = record;
  block->BeginSubDictionary(*iterator->section);
  for (;;) {
    block->AddCopy(*iterator->section, record);
    if (!record.more) break;
    StoreCursorCurrent(&iterator->cursor, &record);
  }
}

VQRESULT BuildWritable(DictionaryIterator *iterator) {
  Resource *resource = iterator->resource;
  EntryBlock block;
  EntryRecord first;
  WalkRecords(iterator, &block, &first);
  iterator->entryCount = block.count();
  if (iterator->wantEntries) {
    if (!block.Allocate(resource)) return EDCT_E_OUT_OF_MEMORY;
    WalkRecords(iterator, &block, &first);
    iterator->entries = block.Take();
  }
  if (iterator->wantKey) {
    iterator->key = CopyWide(resource, first.key);
    if (!iterator->key) return EDCT_E_OUT_OF_MEMORY;
    iterator->keyOwned = true;
  }
  return 0;
}

// The key of a read-only position: in place when it is UTF-16 whole in its block, else a
// decoded copy.
VQRESULT ImageKeyOut(DictionaryIterator *iterator) {
  const ImageSubDictionary &section = *iterator->image;
  const ImageKey stored = ImageKeyAt(section, iterator->index);
  const size_t bytes = stored.end - stored.begin;
  if (section.header.keyEncoding != image::kKeysUtf8 && bytes >= 2 && bytes % 2 == 0 &&
      reinterpret_cast<uintptr_t>(stored.begin) % alignof(char16_t) == 0 &&
      image::Load<char16_t>(stored.end - 2) == 0) {
    iterator->key = reinterpret_cast<const char16_t *>(stored.begin);
    return 0;
  }
  auto *copy = static_cast<char16_t *>(heap_Alloc(iterator->resource->heap, (bytes + 1) * 2));
  if (!copy) return EDCT_E_OUT_OF_MEMORY;
  char16_t *out = copy;
  const unsigned char *at = stored.begin;
  if (section.header.keyEncoding == image::kKeysUtf8) {
    while (plat::DecodeUTF8Unit(at, stored.end, out))
      ++out;
  } else {
    for (; at + 2 <= stored.end && image::Load<char16_t>(at); at += 2)
      *out++ = image::Load<char16_t>(at);
  }
  *out = 0;
  iterator->key = copy;
  iterator->keyOwned = true;
  return 0;
}

VQRESULT BuildReadOnly(DictionaryIterator *iterator) {
  EntryBlock block;
  if (!AddImageEntries(*iterator->image, iterator->index, &block)) return EDCT_E_CORRUPT;
  iterator->entryCount = block.count();
  if (iterator->wantEntries && block.count()) {
    if (!block.Allocate(iterator->resource)) return EDCT_E_OUT_OF_MEMORY;
    AddImageEntries(*iterator->image, iterator->index, &block);
    iterator->entries = block.Take();
  }
  return iterator->wantKey ? ImageKeyOut(iterator) : 0;
}

// Changes the dictionary's count of open iterators under its lock; entry, when given, is the
// caller's hold, and a dictionary closed meanwhile is refused.
VQRESULT CountIterator(Dictionary &dictionary, const live::Entry *entry, int change) {
  ObjectLock lock(&dictionary.guard, entry);
  SC_TRY(lock.result());
  dictionary.openIterators += change;
  return 0;
}

// Runs once the iterator is closed and no call holds it any more.
void FinalizeIterator(void *object) {
  auto *iterator = static_cast<DictionaryIterator *>(object);
  Release(iterator);
  SecObject guard = iterator->guard;
  Quarantine(iterator, sizeof(DictionaryIterator));
  srvspi_SecClose(&guard);
}

VQRESULT Open(const HeldResource &resource, ResourceHandle resourceHandle,
              const Held<Dictionary> &dictionary, SafeHandle *out) {
  // Read-only dictionaries count their iterators too, so that none outlives its dictionary.
  SC_TRY(CountIterator(*dictionary, dictionary.entry(), +1));
  auto iterator = HeapCalloc<DictionaryIterator>(resource.resource->heap);
  VQRESULT result = iterator ? 0 : EDCT_E_OUT_OF_MEMORY;
  if (!result) {
    iterator->resource = resource.resource;
    iterator->dictionary = dictionary.get();
    Restart(iterator.get());
    result = OpenGuarded(resourceHandle, EDCT_DCTIT_TAG, iterator.get(), &iterator->guard,
                         FinalizeIterator);
  }
  if (result) {
    CountIterator(*dictionary, dictionary.entry(), -1);
    return result;
  }
  *out = SafeHandle{iterator.release(), EDCT_DCTIT_TAG};
  return 0;
}

// Builds the current position once; later calls at it hand out the same, whatever they ask
// for.
VQRESULT Current(DictionaryIterator &iterator, bool wantKey, bool wantEntries) {
  iterator.wantKey = wantKey;
  iterator.wantEntries = wantEntries;
  if (iterator.ended) return EDCT_E_ITERATOR_ENDED;
  if (iterator.currentBuilt) return 0;
  const VQRESULT built = Writable(iterator) ? BuildWritable(&iterator) : BuildReadOnly(&iterator);
  if (built) Release(&iterator);
  return built;
}

VQRESULT Increment(DictionaryIterator &iterator) {
  if (iterator.ended) return EDCT_E_ITERATOR_ENDED;
  Release(&iterator);
  if (Writable(iterator))
    StoreCursorAdvance(&iterator.cursor);
  else
    ++iterator.index;
  Position(&iterator);
  iterator.currentBuilt = 0;
  return 0;
}

}  // namespace
}  // namespace sc::edct

using namespace sc::edct;

extern "C" {

SC_API VQRESULT edct_DctItOpen(ResourceHandle resourceHandle, SafeHandle dictionaryHandle,
                               SafeHandle *out) {
  sc::HeldResource resource;
  SC_TRY(sc::ResolveResource(resourceHandle, &resource));
  SC_TRY(CheckOut(out));
  Held<Dictionary> dictionary(dictionaryHandle, EDCT_DCT_TAG);
  if (!dictionary) return dictionary.result();
  *out = g_vqNullHandle;
  return Open(resource, resourceHandle, dictionary, out);
}

SC_API VQRESULT edct_DctItClose(SafeHandle handle) {
  Locked<DictionaryIterator> iterator(handle, EDCT_DCTIT_TAG);
  if (!iterator) return iterator.result();
  // The dictionary cannot have closed while its count included this iterator.
  SC_TRY(CountIterator(*iterator->dictionary, nullptr, -1));
  iterator.Close();
  return 0;
}

SC_API VQRESULT edct_DctItReset(SafeHandle handle) {
  Locked<DictionaryIterator> iterator(handle, EDCT_DCTIT_TAG);
  if (!iterator) return iterator.result();
  Restart(iterator.get());
  return 0;
}

SC_API VQRESULT edct_DctItHasEnded(SafeHandle handle, uint32_t *ended) {
  Locked<DictionaryIterator> iterator(handle, EDCT_DCTIT_TAG);
  if (!iterator) return iterator.result();
  SC_TRY(CheckOut(ended));
  *ended = iterator->ended;
  return 0;
}

SC_API VQRESULT edct_DctItCurrent(SafeHandle handle, const char16_t **key,
                                  const EDCT_ENTRY **entries, uint32_t *count,
                                  uint32_t *newSection) {
  Locked<DictionaryIterator> iterator(handle, EDCT_DCTIT_TAG);
  if (!iterator) return iterator.result();
  // Every output is optional; those given are probed and cleared first.
  for (auto [out, size] : {std::pair<void *, size_t>{key, sizeof *key},
                           {entries, sizeof *entries},
                           {count, sizeof *count},
                           {newSection, sizeof *newSection}})
    if (out) SC_TRY(osspi_IsGoodWritePtr(out, size));
  if (key) *key = nullptr;
  if (entries) *entries = nullptr;
  if (count) *count = 0;
  if (newSection) *newSection = 0;
  SC_TRY(Current(*iterator, key != nullptr, entries != nullptr));
  if (key) *key = iterator->key;
  if (entries) *entries = iterator->entries;
  if (count) *count = iterator->entryCount;
  if (newSection) *newSection = iterator->newSection;
  iterator->currentBuilt = 1;
  iterator->newSection = 0;
  return 0;
}

SC_API VQRESULT edct_DctItIncrement(SafeHandle handle) {
  Locked<DictionaryIterator> iterator(handle, EDCT_DCTIT_TAG);
  if (!iterator) return iterator.result();
  return Increment(*iterator);
}

}  // extern "C"
