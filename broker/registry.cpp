#include "broker/registry.h"

#include <memory>
#include <utility>

#include "broker/text.h"
#include "dataheader/wide_text.h"
#include "foundation/result.h"
#include "platform/directory.h"
#include "sc_brk.h"

namespace sc::brk {
namespace {

constexpr char16_t kComponentTypeTag[] = u"COMPTYPE";
constexpr char16_t kBrokerStringTag[] = u"BROKERSTRING";
constexpr char16_t kNameTag[] = u"NAME";
constexpr char16_t kLanguageTag[] = u"LANGUAGE";
constexpr char16_t kPriorityTag[] = u"PRIORITY";
constexpr char16_t kEngineTag[] = u"ENGINE";
constexpr char16_t kAddonTag[] = u"ADDON";

constexpr std::u16string_view kEngineTypes[] = {u"ASRENGINE", u"TTSENGINE", u"FXENGINE"};
constexpr std::u16string_view kDefaultSuffix = u"/def";
constexpr std::u16string_view kSharedDirectory = u"shared";

// Add-on directories are followed this many levels down, which ends the walk through a link
// that leads back up the tree long before the paths grow too long to open.
constexpr int kMaxDepth = 64;

// An 8-bit string from the heap that frees itself.
class HeapString {
 public:
  HeapString(HeapInstance heap, char *text) : heap_(heap), text_(text) {}
  ~HeapString() { heap_Free(heap_, text_); }
  HeapString(const HeapString &) = delete;
  HeapString &operator=(const HeapString &) = delete;
  const char *get() const { return text_; }
  explicit operator bool() const { return text_ != nullptr; }

 private:
  HeapInstance heap_;
  char *text_;
};

// An open-addressed set from the class heap, for one scan: the directories it has listed and
// the broker strings of the list it adds to. Traits give the item type, its hash and equality.
template <class Traits>
class ScanSet {
 public:
  using Item = typename Traits::Item;
  explicit ScanSet(HeapInstance heap) : heap_(heap) {}
  ~ScanSet() { heap_Free(heap_, slots_); }
  ScanSet(const ScanSet &) = delete;
  ScanSet &operator=(const ScanSet &) = delete;

  // The equal item already held, or null after adding this one. *full is set when the set
  // could not grow (nothing added then).
  const Item *Insert(const Item &item, bool *full) {
    *full = false;
    if ((count_ + 1) * 2 > capacity_ && !Grow()) {
      *full = true;
      return nullptr;
    }
    Slot &slot = Find(item);
    if (slot.used) return &slot.item;
    slot = {item, true};
    ++count_;
    return nullptr;
  }

 private:
  struct Slot {
    Item item;
    bool used;
  };
  Slot &Find(const Item &item) const {
    size_t at = static_cast<size_t>(Traits::Hash(item)) & (capacity_ - 1);
    while (slots_[at].used && !Traits::Equal(slots_[at].item, item))
      at = (at + 1) & (capacity_ - 1);
    return slots_[at];
  }
  bool Grow() {
    const size_t capacity = capacity_ ? capacity_ * 2 : 64;
    auto *slots = static_cast<Slot *>(heap_Calloc(heap_, capacity, sizeof(Slot)));
    if (!slots) return false;
    Slot *old = slots_;
    const size_t oldCapacity = capacity_;
    slots_ = slots;
    capacity_ = capacity;
    for (size_t i = 0; i < oldCapacity; ++i)
      if (old[i].used) Find(old[i].item) = old[i];
    heap_Free(heap_, old);
    return true;
  }

  HeapInstance heap_;
  Slot *slots_ = nullptr;
  size_t capacity_ = 0;
  size_t count_ = 0;
};

uint64_t Mix(uint64_t value) {
  value ^= value >> 31;
  value *= 0x9E3779B97F4A7C15u;
  return value ^ (value >> 29);
}

struct DirectoryTraits {
  using Item = plat::DirectoryIdentity;
  static uint64_t Hash(const Item &item) { return Mix(item.inode * 31 + item.device); }
  static bool Equal(const Item &a, const Item &b) {
    return a.inode == b.inode && a.device == b.device;
  }
};

struct BrokerStringTraits {
  using Item = const Addon *;
  static uint64_t Hash(const Addon *addon) {
    uint64_t hash = 0xCBF29CE484222325u;  // FNV-1a over the units
    for (size_t i = 0; i < addon->brokerLength; ++i)
      hash = (hash ^ addon->brokerString[i]) * 0x100000001B3u;
    return Mix(hash);
  }
  static bool Equal(const Addon *a, const Addon *b) {
    return std::u16string_view(a->brokerString, a->brokerLength) ==
           std::u16string_view(b->brokerString, b->brokerLength);
  }
};

bool IsEngineType(std::u16string_view type) {
  for (std::u16string_view known : kEngineTypes)
    if (type == known) return true;
  return false;
}

// The tags every component must carry; false when one is missing.
bool ReadRequiredTags(Tag *first, const char16_t *&type, const char16_t *&brokerString,
                      const char16_t *&name) {
  type = TagValue(first, kComponentTypeTag);
  brokerString = TagValue(first, kBrokerStringTag);
  name = TagValue(first, kNameTag);
  return type && brokerString && name;
}

void FreeAddon(HeapInstance heap, Addon *addon) {
  hdrpars_DeleteFileStructure(addon->header);
  heap_Free(heap, addon->directory);
  heap_Free(heap, addon);
}

// An add-on record being read; freed with its header and directory unless handed on.
struct DropAddon {
  HeapInstance heap;
  void operator()(Addon *addon) const { FreeAddon(heap, addon); }
};
using AddonBeingRead = std::unique_ptr<Addon, DropAddon>;

// One scan of add-ons for a list (an engine's, or the shared one). It keeps the real
// directories it has listed (by device and inode, so that a link back up the tree, or two
// links to one directory, lead nowhere new) and the broker strings of the list and of what it
// found, so that within one list the first reading of a broker string wins without a walk of
// the list per record. What it finds joins the list together, at its tail, once the whole scan
// has succeeded; a scan cut short leaves the list as it was, and readers never see a record
// of it.
class Scan {
 public:
  Scan(BrkClass *cls, Engine *engine, std::atomic<Addon *> &list)
      : cls_(cls), engine_(engine), directories_(cls->heap), names_(cls->heap), list_(list) {}
  ~Scan() { FreeAddons(cls_->heap, found_.load(std::memory_order_relaxed)); }
  Scan(const Scan &) = delete;
  Scan &operator=(const Scan &) = delete;

  BrkClass *cls() const { return cls_; }
  Engine *engine() const { return engine_; }

  // Takes in the broker strings already listed; the out-of-memory code when the set cannot
  // hold them.
  VQRESULT Start() {
    for (Addon *at = list_.load(std::memory_order_acquire); at;
         at = at->next.load(std::memory_order_acquire)) {
      bool full;
      names_.Insert(at, &full);
      if (full) return BRK_E_OUT_OF_MEMORY;
    }
    return 0;
  }
  // Whether the listing shows a directory this scan has not listed yet; a listing whose
  // directory cannot be told counts as new (it lists nothing anyway). False with *full set
  // when the set could not grow.
  bool IsNew(const plat::DirectoryListing &listing, bool *full) {
    *full = false;
    plat::DirectoryIdentity identity;
    if (!listing.Identity(identity)) return true;
    const bool seen = directories_.Insert(identity, full) != nullptr;
    return !seen && !*full;
  }
  // Takes the record, unless the list or the scan has its broker string (case included)
  // already; the out-of-memory code when the set cannot grow.
  VQRESULT Add(AddonBeingRead record) {
    bool full;
    if (names_.Insert(record.get(), &full) || full) return full ? BRK_E_OUT_OF_MEMORY : 0;
    Addon *added = record.release();
    tail_->store(added, std::memory_order_relaxed);
    tail_ = &added->next;
    return 0;
  }
  // Links what was found, complete, at the list's tail.
  void Commit() {
    std::atomic<Addon *> *tail = &list_;
    while (Addon *at = tail->load(std::memory_order_acquire))
      tail = &at->next;
    tail->store(found_.exchange(nullptr, std::memory_order_relaxed), std::memory_order_release);
    tail_ = &found_;
  }

 private:
  BrkClass *cls_;
  Engine *engine_;
  ScanSet<DirectoryTraits> directories_;
  ScanSet<BrokerStringTraits> names_;
  std::atomic<Addon *> &list_;
  std::atomic<Addon *> found_{nullptr};
  std::atomic<Addon *> *tail_ = &found_;
};

// One engine header in an engine directory. Whatever is wrong with it only skips it.
void ReadEngineHeader(BrkClass *cls, const char *path, const char *directory, Engine **&tail) {
  FileStructure *header = nullptr;
  if (hdrpars_ReadFileHeader(path, &header)) return;
  const char16_t *type, *brokerString, *name;
  Engine *engine = nullptr;
  if (ReadRequiredTags(header->tags, type, brokerString, name) && IsEngineType(type))
    engine = NewRecord<Engine>(cls->heap);
  if (engine) engine->directory = WideFromBytes(cls->heap, directory);
  if (!engine || !engine->directory) {
    heap_Free(cls->heap, engine);
    hdrpars_DeleteFileStructure(header);
    return;
  }
  engine->header = header;
  engine->componentType = type;
  engine->name = name;
  engine->brokerString = brokerString;
  engine->brokerLength = View(brokerString).size();
  *tail = engine;
  tail = &engine->next;
}

// One add-on file found in `directory`, for the scan's engine or for the shared list. What is
// wrong with the file only skips it; running out of memory fails the scan, so that no add-on
// is left out unnoticed.
VQRESULT ReadAddonFile(Scan &scan, const char *path, const char *directory) {
  BrkClass *cls = scan.cls();
  AddonBeingRead addon(NewRecord<Addon>(cls->heap), DropAddon{cls->heap});
  if (!addon) return BRK_E_OUT_OF_MEMORY;
  if (const VQRESULT read = hdrpars_ReadFileHeader(path, &addon->header))
    return read == HDRPARS_E_OUT_OF_MEMORY ? BRK_E_OUT_OF_MEMORY : 0;
  Tag *tags = addon->firstTag = addon->header->tags;
  if (Engine *engine = scan.engine()) {
    // The add-on names the engines it serves; one that names none serves every engine below
    // whose directory it lies.
    const char16_t *engines = TagValue(tags, kEngineTag);
    if (engines && View(engines).find(View(engine->brokerString)) == std::u16string_view::npos)
      return 0;
  }
  if (!ReadRequiredTags(tags, addon->componentType, addon->brokerString, addon->name)) return 0;
  addon->brokerLength = View(addon->brokerString).size();
  addon->language = TagValue(tags, kLanguageTag);
  // Kept as the 32-bit pattern, so a negative priority ranks above every other.
  addon->priority = static_cast<uint32_t>(hdr::ParseDecimal(TagValue(tags, kPriorityTag)));
  // A listed directory always has a wide form: only memory can be missing.
  addon->directory = WideFromBytes(cls->heap, directory);
  if (!addon->directory) return BRK_E_OUT_OF_MEMORY;
  return scan.Add(std::move(addon));
}

// Reads the files of one pattern in the directory as add-ons.
VQRESULT ReadAddonFiles(Scan &scan, const char *directory, const char *pattern) {
  plat::DirectoryListing listing(directory);
  while (const char *name = listing.NextMatch(pattern)) {
    HeapString path(scan.cls()->heap, JoinPath(scan.cls()->heap, directory, name));
    if (!path) return BRK_E_OUT_OF_MEMORY;
    SC_TRY(ReadAddonFile(scan, path.get(), directory));
  }
  return 0;
}

// The add-on files of a directory ("*.hdr" first, then "*.dat"), then its subdirectories,
// depth first. A directory the scan has listed before, reached again through a link, adds
// nothing.
VQRESULT ScanAddonDirectory(Scan &scan, const char *directory, int depth) {
  plat::DirectoryListing subdirectories(directory);
  bool full;
  if (!scan.IsNew(subdirectories, &full)) return full ? BRK_E_OUT_OF_MEMORY : 0;
  SC_TRY(ReadAddonFiles(scan, directory, "*.hdr"));
  SC_TRY(ReadAddonFiles(scan, directory, "*.dat"));
  if (depth >= kMaxDepth) return 0;
  while (const char *name = subdirectories.NextSubdirectory()) {
    HeapString path(scan.cls()->heap, JoinPath(scan.cls()->heap, directory, name));
    if (!path) return BRK_E_OUT_OF_MEMORY;
    SC_TRY(ScanAddonDirectory(scan, path.get(), depth + 1));
  }
  return 0;
}

// Runs the add-on directory scan on every subdirectory of `directory`; files directly in it
// are not add-ons, and a link back to it leads nowhere.
VQRESULT ScanSubdirectories(Scan &scan, const char *directory) {
  plat::DirectoryListing listing(directory);
  bool full;
  scan.IsNew(listing, &full);
  if (full) return BRK_E_OUT_OF_MEMORY;
  while (const char *name = listing.NextSubdirectory()) {
    HeapString path(scan.cls()->heap, JoinPath(scan.cls()->heap, directory, name));
    if (!path) return BRK_E_OUT_OF_MEMORY;
    SC_TRY(ScanAddonDirectory(scan, path.get(), 1));
  }
  return 0;
}

VQRESULT LoadInlineAddons(Scan &scan, Engine *engine) {
  BrkClass *cls = scan.cls();
  for (Tag *element = FindTag(engine->header->tags, kAddonTag); element;
       element = FindTag(element->next, kAddonTag)) {
    // A record that cannot be made fails the whole load rather than being skipped.
    AddonBeingRead addon(NewRecord<Addon>(cls->heap), DropAddon{cls->heap});
    if (!addon) return BRK_E_OUT_OF_MEMORY;
    addon->firstTag = element->children;
    if (!ReadRequiredTags(addon->firstTag, addon->componentType, addon->brokerString, addon->name))
      continue;
    addon->brokerLength = View(addon->brokerString).size();
    SC_TRY(scan.Add(std::move(addon)));
  }
  return 0;
}

bool LanguagePasses(const char16_t *wanted, const char16_t *offered) {
  return !wanted || !offered || View(wanted) == View(offered);
}

// The default form: among the candidates of one list the highest priority (unsigned) wins,
// a later candidate winning a tie.
Addon *ChooseDefault(const std::atomic<Addon *> &list, std::u16string_view prefix,
                     const char16_t *language) {
  Addon *best = nullptr;
  uint32_t bestPriority = 0;
  for (Addon *at = list.load(std::memory_order_acquire); at;
       at = at->next.load(std::memory_order_acquire)) {
    if (at->priority < bestPriority || at->brokerLength < prefix.size()) continue;
    if (!PrefixEqualIgnoringCase(std::u16string_view(at->brokerString, at->brokerLength), prefix,
                                 prefix.size()) ||
        !LanguagePasses(language, at->language))
      continue;
    best = at;
    bestPriority = at->priority;
  }
  return best;
}

Addon *FindExact(const std::atomic<Addon *> &list, std::u16string_view brokerString) {
  for (Addon *at = list.load(std::memory_order_acquire); at;
       at = at->next.load(std::memory_order_acquire)) {
    if (at->brokerLength == brokerString.size() &&
        EqualIgnoringCase(std::u16string_view(at->brokerString, at->brokerLength), brokerString))
      return at;
  }
  return nullptr;
}

// The lookup itself, without callbacks.
Addon *Find(BrkClass *cls, Engine *engine, const char16_t *language,
            std::u16string_view brokerString) {
  Addon *found = nullptr;
  if (IsDefaultForm(brokerString)) {
    const std::u16string_view prefix =
        brokerString.substr(0, brokerString.size() - kDefaultSuffix.size());
    if (engine) found = ChooseDefault(engine->addons, prefix, language);
    if (!found) found = ChooseDefault(cls->sharedAddons, prefix, language);
  } else {
    if (engine) found = FindExact(engine->addons, brokerString);
    if (!found) found = FindExact(cls->sharedAddons, brokerString);
  }
  return found;
}

// Asks the callbacks about a broker string that resolves to nothing: the object's first,
// then the class's unless the object's asked for a retry. True when one did; *replacement is
// then the string it offered, if any.
bool AskCallbacks(BrkClass *cls, BrkResolveCallback objectCallback, const char *brokerString,
                  const char **replacement) {
  *replacement = nullptr;
  if (objectCallback && objectCallback(brokerString, 0, replacement) == 1) return true;
  *replacement = nullptr;
  return cls->classCallback && cls->classCallback(brokerString, 0, replacement) == 1;
}

}  // namespace

bool IsDefaultForm(std::u16string_view brokerString) {
  return brokerString.size() > kDefaultSuffix.size() && brokerString.ends_with(kDefaultSuffix);
}

VQRESULT ScanEngines(BrkClass *cls) {
  HeapString root(cls->heap, BytesFromWide(cls->heap, cls->rootDirectory));
  if (!root) return BRK_E_UNEXPECTED;
  Engine **tail = &cls->engines;
  while (*tail)
    tail = &(*tail)->next;
  // Engine directories are told apart by identity too: a link to the root or to another
  // engine directory lists no engine twice.
  std::atomic<Addon *> none{nullptr};
  Scan scan(cls, nullptr, none);
  bool full;
  plat::DirectoryListing subdirectories(root.get());
  scan.IsNew(subdirectories, &full);
  if (full) return BRK_E_OUT_OF_MEMORY;
  while (const char *name = subdirectories.NextSubdirectory()) {
    HeapString directory(cls->heap, JoinPath(cls->heap, root.get(), name));
    if (!directory) return BRK_E_OUT_OF_MEMORY;
    plat::DirectoryListing files(directory.get());
    if (!scan.IsNew(files, &full)) {
      if (full) return BRK_E_OUT_OF_MEMORY;
      continue;
    }
    while (const char *file = files.NextMatch("*.hdr")) {
      HeapString path(cls->heap, JoinPath(cls->heap, directory.get(), file));
      if (!path) return BRK_E_OUT_OF_MEMORY;
      ReadEngineHeader(cls, path.get(), directory.get(), tail);
    }
  }
  return 0;
}

VQRESULT ScanSharedAddons(BrkClass *cls) {
  char16_t *widePath = JoinPath(cls->heap, View(cls->rootDirectory), kSharedDirectory);
  if (!widePath) return BRK_E_OUT_OF_MEMORY;
  HeapString shared(cls->heap, BytesFromWide(cls->heap, widePath));
  heap_Free(cls->heap, widePath);
  if (!shared) return BRK_E_UNEXPECTED;
  Scan scan(cls, nullptr, cls->sharedAddons);
  SC_TRY(scan.Start());
  SC_TRY(ScanSubdirectories(scan, shared.get()));
  scan.Commit();
  return 0;
}

VQRESULT LoadEngineAddons(BrkClass *cls, Engine *engine) {
  Scan scan(cls, engine, engine->addons);
  SC_TRY(scan.Start());
  SC_TRY(LoadInlineAddons(scan, engine));
  HeapString directory(cls->heap, BytesFromWide(cls->heap, engine->directory));
  if (!directory) return BRK_E_UNEXPECTED;
  SC_TRY(ScanSubdirectories(scan, directory.get()));
  scan.Commit();
  return 0;
}

Engine *FindEngine(const BrkClass *cls, std::u16string_view brokerString) {
  for (Engine *engine = cls->engines; engine; engine = engine->next)
    if (engine->brokerLength == brokerString.size() &&
        EqualIgnoringCase(View(engine->brokerString), brokerString))
      return engine;
  return nullptr;
}

VQRESULT Resolve(BrkClass *cls, Engine *engine, const char16_t *language,
                 BrkResolveCallback objectCallback, const char16_t *brokerString, Addon **out) {
  *out = nullptr;
  char16_t *replaced = nullptr;  // the latest replacement, owned here
  const char16_t *wanted = brokerString;
  VQRESULT result = 0;
  for (;;) {
    if ((*out = Find(cls, engine, language, View(wanted)))) break;
    char *narrow = BytesFromWide(cls->heap, View(wanted));
    if (!narrow) {
      result = BRK_E_UNEXPECTED;
      break;
    }
    const char *replacement = nullptr;
    const bool retry = AskCallbacks(cls, objectCallback, narrow, &replacement);
    heap_Free(cls->heap, narrow);
    if (!retry) break;
    if (replacement) {
      char16_t *wide = WideFromBytes(cls->heap, replacement);
      if (!wide) {
        result = BRK_E_UNEXPECTED;
        break;
      }
      heap_Free(cls->heap, replaced);
      wanted = replaced = wide;
      continue;
    }
    // The component may have been installed since: look again, under the class lock.
    ClassLock lock(cls);
    result = engine ? LoadEngineAddons(cls, engine) : ScanSharedAddons(cls);
    if (!result) result = ScanSharedAddons(cls);
    if (result) break;
  }
  heap_Free(cls->heap, replaced);
  return result;
}

void FreeAddons(HeapInstance heap, Addon *first) {
  while (first) {
    Addon *next = first->next.load(std::memory_order_relaxed);
    FreeAddon(heap, first);
    first = next;
  }
}

void FreeEngines(HeapInstance heap, Engine *first) {
  while (first) {
    Engine *next = first->next;
    hdrpars_DeleteFileStructure(first->header);
    heap_Free(heap, first->directory);
    heap_Free(heap, first);
    first = next;
  }
}

}  // namespace sc::brk
