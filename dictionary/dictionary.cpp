// Dictionaries: the C API of opening, changing, searching and closing one dictionary.
#include "dictionary/dictionary.h"

#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include "dictionary/archive.h"
#include "dictionary/image_view.h"
#include "dictionary/key_tree.h"
#include "foundation/heap_ptr.h"
#include "foundation/live_set.h"
#include "foundation/quarantine.h"
#include "foundation/resource.h"
#include "sc_edct.h"
#include "sc_heap.h"
#include "sc_safeh.h"

namespace sc::edct {
namespace {

size_t RoundUp8(size_t value) {
  return (value + 7) & ~size_t{7};
}

bool SameString(const char *a, const char *b) {
  return (!a && !b) || (a && b && std::strcmp(a, b) == 0);
}

// The six attributes that group entries into SubDictionaries.
bool Matches(const SubDictionary &sub, const EDCT_ENTRY &entry) {
  if (sub.content != entry.Content || sub.pos != entry.POS ||
      sub.representation != entry.Representation)
    return false;
  if (!SameString(sub.language, entry.Language) || !SameString(sub.engine, entry.Engine))
    return false;
  if (!sub.model || !entry.Model) return !sub.model && !entry.Model;
  return std::memcmp(sub.model, entry.Model, image::kModelSize) == 0;
}

void FreeSubDictionary(Resource *resource, SubDictionary *sub) {
  if (sub->store.pool) EntryStoreDestroy(&sub->store);
  heap_Free(resource->heap, sub->language);
  heap_Free(resource->heap, sub->model);
  heap_Free(resource->heap, sub->engine);
  heap_Free(resource->heap, sub);
}

// A SubDictionary for the entry's attributes, not yet in the list; null when memory runs out.
SubDictionary *NewSubDictionary(Resource *resource, const EDCT_ENTRY &entry) {
  auto *sub = static_cast<SubDictionary *>(heap_Calloc(resource->heap, 1, sizeof(SubDictionary)));
  if (!sub) return nullptr;
  sub->content = entry.Content;
  sub->representation = entry.Representation;
  sub->pos = entry.POS;
  bool ok = true;
  if (entry.Language) ok = (sub->language = CopyString(resource, entry.Language)) != nullptr;
  if (ok && entry.Model) {
    sub->model = static_cast<unsigned char *>(heap_Alloc(resource->heap, image::kModelSize + 1));
    ok = sub->model != nullptr;
    if (ok) {
      std::memcpy(sub->model, entry.Model, image::kModelSize);
      sub->model[image::kModelSize] = 0;
    }
  }
  if (ok && entry.Engine) ok = (sub->engine = CopyString(resource, entry.Engine)) != nullptr;
  if (ok) ok = EntryStoreInit(&sub->store, resource, kTreeGrowth, kArenaGrowth) == 0;
  if (!ok) {
    FreeSubDictionary(resource, sub);
    return nullptr;
  }
  return sub;
}

void LinkAtEnd(Dictionary *dictionary, SubDictionary *sub) {
  SubDictionary **link = &dictionary->first;
  while (*link)
    link = &(*link)->next;
  *link = sub;
}

bool Holds(const SubDictionary &sub, const char16_t *key) {
  return KeyTreeFind(sub.store.pool, KeyOrder{sub.store.arena.data}, key) != 0;
}

VQRESULT AddOne(Dictionary *dictionary, const char16_t *key, const EDCT_ENTRY &entry) {
  if (!entry.Data && entry.DataSize) return EDCT_E_NULL_POINTER;
  SubDictionary *sub = nullptr;
  for (SubDictionary *at = dictionary->first; at && !sub; at = at->next)
    if (Matches(*at, entry)) sub = at;
  // Whether the receiving SubDictionary already held the key, its own insertion tells; only
  // the others are searched here, so the common case of one SubDictionary searches once.
  bool known = false;
  for (SubDictionary *at = dictionary->first; at && !known; at = at->next)
    if (at != sub) known = Holds(*at, key);
  // A new SubDictionary joins the list only once the entry is in it, so a failure leaves
  // the dictionary as it was.
  SubDictionary *created = nullptr;
  if (!sub) {
    sub = created = NewSubDictionary(dictionary->resource, entry);
    if (!sub) return EDCT_E_OUT_OF_MEMORY;
  }
  const uint32_t added = EntryStoreAdd(&sub->store, key, entry.Data, entry.DataSize);
  if (added != kStoreNewKey && added != kStoreChained) {
    if (created) FreeSubDictionary(dictionary->resource, created);
    return added;
  }
  if (created) LinkAtEnd(dictionary, created);
  known = known || added == kStoreChained;
  if (added == kStoreNewKey) ++sub->nbrKeys;
  ++sub->nbrEntries;
  ++dictionary->nbrEntries;
  if (!known) ++dictionary->nbrKeys;
  return Notify(dictionary, known ? EDCT_NOTIFY_ADDED : EDCT_NOTIFY_NEWKEY, key, &entry);
}

// The entries of a key in every SubDictionary that passes the filter, newest first within
// each, into the block.
void CollectWritable(Dictionary *dictionary, const char16_t *key, const EDCT_FILTER *filter,
                     EntryBlock *block) {
  for (SubDictionary *sub = dictionary->first; sub; sub = sub->next) {
    if (!PassesWritable(filter, *sub)) continue;
    sub->store.pendingLink = kNoLink;
    EntryRecord record;
    if (EntryStoreGet(&sub->store, key, &record) != 0) continue;
    block->BeginSubDictionary(*sub);
    for (;;) {
      block->AddCopy(*sub, record);
      if (!record.more) break;
      EntryStoreGet(&sub->store, key, &record);
    }
  }
}

// Heap copies of a Description and a Name (null ones stay null); false, with nothing held,
// when memory runs out.
bool CopyTexts(Resource *resource, const char16_t *description, const char16_t *name,
               char16_t **descriptionCopy, char16_t **nameCopy) {
  auto descriptionHeld =
      Owned(resource->heap, description ? CopyWide(resource, description) : nullptr);
  auto nameHeld = Owned(resource->heap, name ? CopyWide(resource, name) : nullptr);
  if ((description && !descriptionHeld) || (name && !nameHeld)) return false;
  *descriptionCopy = descriptionHeld.release();
  *nameCopy = nameHeld.release();
  return true;
}

// Everything a dictionary holds besides itself and its guard.
void FreeContents(Dictionary *dictionary) {
  Resource *resource = dictionary->resource;
  if (dictionary->kind == kReadOnly) {
    CloseImageView(dictionary);
    return;
  }
  heap_Free(resource->heap, const_cast<char16_t *>(dictionary->name));
  heap_Free(resource->heap, const_cast<char16_t *>(dictionary->description));
  for (SubDictionary *sub = dictionary->first; sub;) {
    SubDictionary *next = sub->next;
    FreeSubDictionary(resource, sub);
    sub = next;
  }
}

// A dictionary being built, freed whole unless it opens.
struct FreeUnopened {
  void operator()(Dictionary *dictionary) const {
    FreeContents(dictionary);
    heap_Free(dictionary->resource->heap, dictionary);
  }
};
using Building = std::unique_ptr<Dictionary, FreeUnopened>;

// Runs once the dictionary is closed and no call holds it any more.
void FinalizeDictionary(void *object) {
  auto *dictionary = static_cast<Dictionary *>(object);
  FreeContents(dictionary);
  SecObject guard = dictionary->guard;
  Quarantine(dictionary, sizeof(Dictionary));
  srvspi_SecClose(&guard);
}

}  // namespace

SubDictionary *AppendSubDictionary(Dictionary *dictionary) {
  auto *sub = static_cast<SubDictionary *>(
      heap_Calloc(dictionary->resource->heap, 1, sizeof(SubDictionary)));
  if (sub) LinkAtEnd(dictionary, sub);
  return sub;
}

uint32_t CountSubDictionaries(const Dictionary *dictionary) {
  uint32_t count = 0;
  for (const SubDictionary *sub = dictionary->first; sub; sub = sub->next)
    ++count;
  return count;
}

char16_t *CopyWide(Resource *resource, const char16_t *text) {
  const size_t bytes = (std::char_traits<char16_t>::length(text) + 1) * sizeof(char16_t);
  auto *copy = static_cast<char16_t *>(heap_Alloc(resource->heap, bytes));
  if (copy) std::memcpy(copy, text, bytes);
  return copy;
}

char *CopyString(Resource *resource, const char *text) {
  const size_t bytes = std::strlen(text) + 1;
  auto *copy = static_cast<char *>(heap_Alloc(resource->heap, bytes));
  if (copy) std::memcpy(copy, text, bytes);
  return copy;
}

EntryBlock::~EntryBlock() {
  if (entries_) heap_Free(resource_->heap, entries_);
}

EDCT_ENTRY *EntryBlock::Take() {
  return std::exchange(entries_, nullptr);
}

bool EntryBlock::Allocate(Resource *resource) {
  const size_t total = size_t{count_} * sizeof(EDCT_ENTRY) + bytes_;
  resource_ = resource;
  entries_ = static_cast<EDCT_ENTRY *>(heap_Alloc(resource->heap, total));
  if (!entries_) return false;
  cursor_ = reinterpret_cast<unsigned char *>(entries_ + count_);
  count_ = 0;
  return true;
}

void EntryBlock::BeginSubDictionary(const SubDictionary &sub) {
  const size_t language = sub.language ? std::strlen(sub.language) + 1 : 0;
  const size_t model = sub.model ? image::kModelSize : 0;
  const size_t engine = sub.engine ? std::strlen(sub.engine) + 1 : 0;
  if (!filling()) {
    bytes_ += RoundUp8(language + model + engine);
    return;
  }
  // Language, Model and Engine of the SubDictionary's entries share one copy, in that order.
  unsigned char *at = cursor_;
  language_ = sub.language ? reinterpret_cast<const char *>(at) : nullptr;
  if (language) std::memcpy(at, sub.language, language);
  at += language;
  model_ = sub.model ? reinterpret_cast<const char *>(at) : nullptr;
  if (model) std::memcpy(at, sub.model, model);
  at += model;
  engine_ = sub.engine ? reinterpret_cast<const char *>(at) : nullptr;
  if (engine) std::memcpy(at, sub.engine, engine);
  cursor_ += RoundUp8(language + model + engine);
}

void EntryBlock::AddCopy(const SubDictionary &sub, const EntryRecord &record) {
  const size_t room = RoundUp8(record.size);
  if (!filling()) {
    ++count_;
    bytes_ += room;
    return;
  }
  if (record.size) std::memcpy(cursor_, record.data, record.size);
  entries_[count_++] = EDCT_ENTRY{
      sub.content, sub.representation, sub.pos, language_, model_, engine_, cursor_, record.size};
  cursor_ += room;
}

void EntryBlock::AddView(const ImageSubDictionary &section, const unsigned char *data,
                         uint32_t size) {
  if (growing_ && count_ == capacity_ && !failed_) {
    const uint32_t capacity = capacity_ ? capacity_ * 2 : 4;
    void *grown = heap_Realloc(resource_->heap, entries_, size_t{capacity} * sizeof(EDCT_ENTRY));
    if (grown) {
      entries_ = static_cast<EDCT_ENTRY *>(grown);
      capacity_ = capacity;
    } else {
      failed_ = true;
    }
  }
  if (failed_) return;
  if (filling()) {
    const image::SectionHeader &header = section.header;
    entries_[count_] =
        EDCT_ENTRY{header.content, header.representation, header.pos, section.language,
                   section.model,  section.engine,        data,       size};
  }
  ++count_;
}

bool PassesWritable(const EDCT_FILTER *filter, const SubDictionary &sub) {
  if (!filter) return true;
  if (filter->Content != kAny && filter->Content != sub.content) return false;
  if (filter->POS != kAny && filter->POS != sub.pos) return false;
  // An attribute that either side lacks does not narrow the selection.
  if (filter->Language && sub.language && std::strcmp(filter->Language, sub.language)) return false;
  if (filter->Engine && sub.engine && std::strcmp(filter->Engine, sub.engine)) return false;
  if (filter->Model && sub.model && std::memcmp(filter->Model, sub.model, image::kModelSize))
    return false;
  return true;
}

VQRESULT Notify(Dictionary *dictionary, uint32_t action, const char16_t *key,
                const EDCT_ENTRY *entry) {
  if (!dictionary->notify) return 0;
  const uint32_t answer = dictionary->notify(SafeHandle{dictionary, EDCT_DCT_TAG}, action, key,
                                             entry, dictionary->notifyUser);
  dictionary->callbackError = answer;
  return answer ? EDCT_E_NOTIFY_FAILED : 0;
}

namespace {

VQRESULT Open(const HeldResource &held, ResourceHandle resourceHandle, const void *image,
              uint32_t mode, EDCT_NOTIFY_FN notify, void *notifyUser, SafeHandle *out) {
  if (!image && mode == EDCT_OPEN_READONLY) return EDCT_E_READ_ONLY;
  Resource *resource = held.resource;
  Building dictionary(
      static_cast<Dictionary *>(heap_Calloc(resource->heap, 1, sizeof(Dictionary))));
  if (!dictionary) return EDCT_E_OUT_OF_MEMORY;
  dictionary->resource = resource;
  dictionary->resourceHandle = resourceHandle;
  dictionary->kind = mode == EDCT_OPEN_READONLY ? kReadOnly : kWritable;
  const auto *bytes = static_cast<const unsigned char *>(image);
  if (image)
    SC_TRY(mode == EDCT_OPEN_READONLY ? OpenImageView(dictionary.get(), bytes)
                                      : LoadArchive(dictionary.get(), bytes));
  if (notify && mode == EDCT_OPEN_READONLY) return EDCT_E_READ_ONLY;
  // The callback is kept only now, so that loading an image notifies nothing.
  if (dictionary->kind == kWritable) {
    dictionary->notify = notify;
    dictionary->notifyUser = notifyUser;
  }
  SC_TRY(OpenGuarded(resourceHandle, EDCT_DCT_TAG, dictionary.get(), &dictionary->guard,
                     FinalizeDictionary));
  *out = SafeHandle{dictionary.release(), EDCT_DCT_TAG};
  return 0;
}

VQRESULT CloseRefusal(const Dictionary &dictionary) {
  if (dictionary.openIterators != 0) return EDCT_E_ITERATOR_OPEN;
  if (dictionary.registerCount > 0) return EDCT_E_STILL_REGISTERED;
  if (dictionary.registerCount < 0) return EDCT_E_BAD_REGISTER_COUNT;
  return 0;
}

// Why entries cannot change now, if they cannot.
VQRESULT EntriesFixed(const Dictionary &dictionary) {
  if (dictionary.kind == kReadOnly) return EDCT_E_READ_ONLY;
  return dictionary.openIterators ? EDCT_E_ITERATOR_OPEN : 0;
}

VQRESULT AddEntries(Dictionary &dictionary, const char16_t *key, const EDCT_ENTRY *entries,
                    uint32_t count) {
  SC_TRY(EntriesFixed(dictionary));
  for (uint32_t i = 0; i < count; ++i)
    SC_TRY(AddOne(&dictionary, key, entries[i]));
  return 0;
}

VQRESULT RemoveEntries(Dictionary &dictionary, const char16_t *key) {
  SC_TRY(EntriesFixed(dictionary));
  uint32_t total = 0;
  bool held = false;
  for (SubDictionary *sub = dictionary.first; sub; sub = sub->next) {
    uint32_t count = 0;
    if (EntryStoreRemove(&sub->store, key, &count) != 0) continue;
    held = true;
    --sub->nbrKeys;
    sub->nbrEntries -= count;
    total += count;
  }
  if (!held) return EDCT_E_NOT_FOUND;
  dictionary.nbrEntries -= total;
  --dictionary.nbrKeys;
  return Notify(&dictionary, EDCT_NOTIFY_REMOVED, key, nullptr);
}

// The entries of a key that pass the filter, in one heap block.
VQRESULT GetEntries(Dictionary &dictionary, const char16_t *key, const EDCT_FILTER *filter,
                    EntryBlock *block) {
  if (dictionary.kind == kReadOnly) {
    // The entries point into the image: one pass, the array growing as they come.
    block->GrowFrom(dictionary.resource);
    SC_TRY(CollectImageEntries(&dictionary, key, filter, block));
    if (block->failed()) return EDCT_E_OUT_OF_MEMORY;
    return block->count() ? 0 : EDCT_E_NOT_FOUND;
  }
  // Measured first and then filled, so that everything handed out is one heap block.
  CollectWritable(&dictionary, key, filter, block);
  if (block->count() == 0) return EDCT_E_NOT_FOUND;
  if (!block->Allocate(dictionary.resource)) return EDCT_E_OUT_OF_MEMORY;
  CollectWritable(&dictionary, key, filter, block);
  return 0;
}

VQRESULT GetInfo(const Dictionary &dictionary, EDCT_INFO *info) {
  const char16_t *description = dictionary.description;
  const char16_t *name = dictionary.name;
  if (dictionary.kind == kWritable) {
    char16_t *descriptionCopy, *nameCopy;
    if (!CopyTexts(dictionary.resource, description, name, &descriptionCopy, &nameCopy))
      return EDCT_E_OUT_OF_MEMORY;
    description = descriptionCopy;
    name = nameCopy;
  }
  info->Description = description;
  info->Name = name;
  info->NbrKeys = dictionary.nbrKeys;
  info->NbrEntries = dictionary.nbrEntries;
  return 0;
}

VQRESULT FreeInfo(const Dictionary &dictionary, const EDCT_INFO &info) {
  if (dictionary.kind == kWritable) {
    heap_Free(dictionary.resource->heap, const_cast<char16_t *>(info.Description));
    heap_Free(dictionary.resource->heap, const_cast<char16_t *>(info.Name));
  }
  return 0;
}

VQRESULT SetInfo(Dictionary &dictionary, const EDCT_INFO &info) {
  if (dictionary.kind == kReadOnly) return EDCT_E_READ_ONLY;
  // Both copies are made before anything is freed, so a failure changes nothing.
  Resource *resource = dictionary.resource;
  char16_t *description, *name;
  if (!CopyTexts(resource, info.Description, info.Name, &description, &name))
    return EDCT_E_OUT_OF_MEMORY;
  heap_Free(resource->heap, const_cast<char16_t *>(dictionary.description));
  heap_Free(resource->heap, const_cast<char16_t *>(dictionary.name));
  dictionary.description = description;
  dictionary.name = name;
  return 0;
}

}  // namespace
}  // namespace sc::edct

using namespace sc::edct;
using sc::HeldResource;

extern "C" {

SC_API VQRESULT edct_DctOpen(ResourceHandle resourceHandle, const void *image, uint32_t mode,
                             EDCT_NOTIFY_FN notify, void *notifyUser, SafeHandle *out) {
  HeldResource resource;
  SC_TRY(sc::ResolveResource(resourceHandle, &resource));
  SC_TRY(CheckOut(out));
  *out = g_vqNullHandle;
  return Open(resource, resourceHandle, image, mode, notify, notifyUser, out);
}

SC_API VQRESULT edct_DctClose(SafeHandle handle) {
  Locked<Dictionary> dictionary(handle, EDCT_DCT_TAG);
  if (!dictionary) return dictionary.result();
  SC_TRY(CloseRefusal(*dictionary));
  dictionary.Close();
  return 0;
}

SC_API VQRESULT edct_DctAddEntry(SafeHandle handle, const char16_t *key, const EDCT_ENTRY *entries,
                                 uint32_t count) {
  Locked<Dictionary> dictionary(handle, EDCT_DCT_TAG);
  if (!dictionary) return dictionary.result();
  if (!key || !entries) return EDCT_E_NULL_POINTER;
  return AddEntries(*dictionary, key, entries, count);
}

SC_API VQRESULT edct_DctRemoveEntry(SafeHandle handle, const char16_t *key) {
  Locked<Dictionary> dictionary(handle, EDCT_DCT_TAG);
  if (!dictionary) return dictionary.result();
  if (!key) return EDCT_E_NULL_POINTER;
  return RemoveEntries(*dictionary, key);
}

SC_API VQRESULT edct_DctGetEntryData(SafeHandle handle, const char16_t *key,
                                     const EDCT_FILTER *filter, EDCT_ENTRY **entries,
                                     uint32_t *count) {
  Locked<Dictionary> dictionary(handle, EDCT_DCT_TAG);
  if (!dictionary) return dictionary.result();
  if (!key) return EDCT_E_NULL_POINTER;
  SC_TRY(CheckOut(entries, count));
  *entries = nullptr;
  *count = 0;
  EntryBlock block;
  SC_TRY(GetEntries(*dictionary, key, filter, &block));
  *count = block.count();
  *entries = block.Take();
  return 0;
}

SC_API VQRESULT edct_DctFreeEntryData(SafeHandle handle, EDCT_ENTRY *entries, uint32_t count) {
  if (count == 0) return 0;
  Locked<Dictionary> dictionary(handle, EDCT_DCT_TAG);
  if (!dictionary) return dictionary.result();
  if (!entries) return EDCT_E_NULL_POINTER;
  // The array holds every copy its entries point to.
  heap_Free(dictionary->resource->heap, entries);
  return 0;
}

SC_API VQRESULT edct_DctGetInfo(SafeHandle handle, EDCT_INFO *info) {
  Locked<Dictionary> dictionary(handle, EDCT_DCT_TAG);
  if (!dictionary) return dictionary.result();
  SC_TRY(CheckOut(info));
  return GetInfo(*dictionary, info);
}

SC_API VQRESULT edct_DctFreeInfo(SafeHandle handle, EDCT_INFO *info) {
  Locked<Dictionary> dictionary(handle, EDCT_DCT_TAG);
  if (!dictionary) return dictionary.result();
  if (!info) return EDCT_E_NULL_POINTER;
  return FreeInfo(*dictionary, *info);
}

SC_API VQRESULT edct_DctSetInfo(SafeHandle handle, const EDCT_INFO *info) {
  Locked<Dictionary> dictionary(handle, EDCT_DCT_TAG);
  if (!dictionary) return dictionary.result();
  if (!info) return EDCT_E_NULL_POINTER;
  return SetInfo(*dictionary, *info);
}

SC_API VQRESULT edct_DctGetCallbackError(SafeHandle handle, uint32_t *value) {
  Locked<Dictionary> dictionary(handle, EDCT_DCT_TAG);
  if (!dictionary) return dictionary.result();
  SC_TRY(CheckOut(value));
  *value = dictionary->callbackError;
  return 0;
}

}  // extern "C"
