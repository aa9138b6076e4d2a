// The dictionary object behind a dictionary handle, and what the iterators, the manager and
// the archive writer and loader share of it.
#pragma once

#include <cstdint>

#include "dictionary/entry_store.h"
#include "dictionary/guarded.h"
#include "dictionary/image_index.h"
#include "dictionary/image_layout.h"
#include "foundation/result.h"
#include "sc_edct.h"
#include "sc_srvspi.h"

namespace sc::edct {

// Growth steps of every SubDictionary's store.
inline constexpr uint32_t kTreeGrowth = 10000;
inline constexpr uint32_t kArenaGrowth = 50000;

inline constexpr uint32_t kAny = 0xFFFFFFFFu;  // a filter's Content or POS that selects all

inline constexpr uint32_t kWritable = 0;
inline constexpr uint32_t kReadOnly = 1;

// The entries of one combination of the six attributes, in a writable dictionary.
struct SubDictionary {
  uint32_t nbrKeys;
  uint32_t nbrEntries;
  uint32_t content;
  uint32_t representation;
  uint32_t pos;
  char *language;        // owned copies, or null
  unsigned char *model;  // 128 bytes and a NUL
  char *engine;
  EntryStore store;
  SubDictionary *next;
};

// One section of the image behind a read-only dictionary; everything points into the image.
struct ImageSubDictionary {
  image::SectionHeader header;  // a host-order copy
  const char *language;         // null when absent
  const char *model;
  const char *engine;
  const unsigned char *keyOffsets;
  const unsigned char *keyBlock;
  const unsigned char *dataOffsets;
  const unsigned char *dataBlock;
  ImageKeyIndex keyIndex;  // built on the dictionary's first lookup, when it fits the budget
  ImageSubDictionary *next;
};

struct Dictionary {
  const char16_t *name;  // writable: owned; read-only: in the image
  const char16_t *description;
  uint32_t nbrKeys;
  uint32_t nbrEntries;
  uint32_t kind;
  ResourceHandle resourceHandle;
  Resource *resource;
  int32_t registerCount;
  uint32_t openIterators;
  SecObject guard;
  uint32_t callbackError;
  SubDictionary *first;            // writable
  ImageSubDictionary *firstImage;  // read-only: one block of records
  uint32_t imageSize;              // read-only: as the image's header records it
  bool indexesBuilt;               // read-only: the sections' key indexes were attempted
  EDCT_NOTIFY_FN notify;
  void *notifyUser;
};

// For the archive loader: a new SubDictionary at the end of the list with every field zero
// (its store not yet initialised), or null when memory runs out.
SubDictionary *AppendSubDictionary(Dictionary *dictionary);
uint32_t CountSubDictionaries(const Dictionary *dictionary);

// Heap copies; null when memory runs out.
char16_t *CopyWide(Resource *resource, const char16_t *text);
char *CopyString(Resource *resource, const char *text);

// Builds the entry arrays that are handed out: the EDCT_ENTRY array and every copy it points
// to in one heap block, so one free releases all. Used twice: first to measure (no block),
// then, after Allocate, to fill in the same order. Entries that point into an image copy
// nothing, so for them the block can instead grow as they come, in one pass. The block is
// freed with the builder unless taken.
class EntryBlock {
 public:
  EntryBlock() = default;
  ~EntryBlock();
  EntryBlock(const EntryBlock &) = delete;
  EntryBlock &operator=(const EntryBlock &) = delete;

  void GrowFrom(Resource *resource) {
    resource_ = resource;
    growing_ = true;
  }
  // A growing block could not grow; it holds the entries added before.
  bool failed() const { return failed_; }
  bool filling() const { return entries_ != nullptr; }
  uint32_t count() const { return count_; }
  // The block, now the caller's to free.
  EDCT_ENTRY *Take();
  // Allocates what was measured and starts filling; false when memory runs out.
  bool Allocate(Resource *resource);
  // Starts the entries of a writable SubDictionary (its attributes are copied once).
  void BeginSubDictionary(const SubDictionary &sub);
  // One record of the current SubDictionary, its data copied.
  void AddCopy(const SubDictionary &sub, const EntryRecord &record);
  // One entry that points into an image.
  void AddView(const ImageSubDictionary &section, const unsigned char *data, uint32_t size);

 private:
  uint32_t count_ = 0;
  size_t bytes_ = 0;
  EDCT_ENTRY *entries_ = nullptr;
  unsigned char *cursor_ = nullptr;
  const char *language_ = nullptr;
  const char *model_ = nullptr;
  const char *engine_ = nullptr;
  Resource *resource_ = nullptr;
  bool growing_ = false;
  uint32_t capacity_ = 0;
  bool failed_ = false;
};

// Whether a SubDictionary with these attributes passes the filter of a writable lookup: an
// attribute the SubDictionary lacks passes any filter.
bool PassesWritable(const EDCT_FILTER *filter, const SubDictionary &sub);

// Runs the Notify callback, keeping its value in CallbackError.
VQRESULT Notify(Dictionary *dictionary, uint32_t action, const char16_t *key,
                const EDCT_ENTRY *entry);

}  // namespace sc::edct
