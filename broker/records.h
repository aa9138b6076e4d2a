// The records of a broker class: the class and its objects (the C API's opaque handles), the
// engines and add-ons of its registry, loaded modules, their interfaces, open data blocks.
//
// Lists are only ever appended to at their tail, and a record is complete before it is
// linked, so queries that walk them without the class lock see either the old or the new
// tail. Links that such readers follow are atomic for that reason.
#pragma once

#include <atomic>
#include <cstdint>
#include <new>
#include <type_traits>

#include "foundation/live_set.h"
#include "platform/module.h"
#include "platform/thread_safety.h"
#include "sc_brk.h"
#include "sc_hdrpars.h"
#include "sc_heap.h"

namespace sc::brk {

struct Engine;
struct Addon;

struct Interface {
  uint8_t id;
  void *pointer;
  Interface *next;
};

struct Module {
  plat::Library *library;  // for a record sharing its engine's library, the engine's
  uint32_t ownLibrary;     // 1: loaded here and freed at unload
  BrkGetInterface entry;
  BrkModuleTable *table;
  Interface *interfaces;  // in the order first asked for
  SafeHandle instance;
  uint32_t useCount;  // interfaces given out; an engine's also counts its sharing add-ons'
  // The engine whose library a sharing record uses. An add-on of the shared directory is
  // reached through objects of any engine, so it keeps the one it was loaded with.
  Engine *host;
};

struct Engine {
  FileStructure *header;
  char16_t *directory;
  const char16_t *componentType;  // the values below are borrowed from the header
  const char16_t *name;
  const char16_t *brokerString;
  uint32_t objectCount;
  Module *module;
  std::atomic<Addon *> addons;  // filled by the first object on the engine
  Engine *next;
  size_t brokerLength;
};

struct Addon {
  FileStructure *header;  // null for an add-on declared inside its engine's header
  Tag *firstTag;          // where tag lookups start
  char16_t *directory;    // null for an inline add-on
  const char16_t *componentType;
  const char16_t *name;
  const char16_t *brokerString;
  const char16_t *language;  // null when the component names none
  uint32_t priority;
  Module *module;
  BrkData *openData;  // newest first
  std::atomic<Addon *> next;
  size_t brokerLength;
};

// A zeroed record from the heap, or null.
template <class Record>
Record *NewRecord(HeapInstance heap) {
  static_assert(std::is_trivially_destructible_v<Record>);
  void *memory = heap_Calloc(heap, 1, sizeof(Record));
  return memory ? new (memory) Record{} : nullptr;
}

// Kinds of the open handles in the set of live objects.
inline constexpr uint32_t kClassKind = 0x4252'4B43;   // "BRKC"
inline constexpr uint32_t kObjectKind = 0x4252'4B4F;  // "BRKO"
inline constexpr uint32_t kDataKind = 0x4252'4B44;    // "BRKD"

}  // namespace sc::brk

// The class is also the name of its lock for the thread-safety analysis (ClassLock).
struct SC_CAPABILITY("class lock") BrkClass {
  HeapInstance heap;
  uint32_t ownsLock;
  LockValue lock;
  BrkResolveCallback classCallback;
  char16_t *rootDirectory;
  sc::brk::Engine *engines;
  std::atomic<sc::brk::Addon *> sharedAddons;
  uint32_t objectCount;
};

// Objects and data handles hold their class until they are finalised, so that a call still
// running on one after its close finds the class's registry and lock in place.
struct BrkObject {
  BrkClass *cls;
  BrkResolveCallback objectCallback;
  char16_t *language;
  sc::brk::Engine *engine;  // null for an object opened without a broker string
  sc::live::Entry *classHold;
  // The engine's add-ons, when this was its last object; freed once no call is on the object.
  sc::brk::Addon *droppedAddons;
};

struct BrkData {
  FileStructure *header;
  DataBlock *block;
  char16_t *name;
  uint32_t openCount;
  sc::brk::Addon *addon;
  BrkData *next;
  BrkData *previous;
  BrkClass *cls;
  sc::live::Entry *classHold;
};

namespace sc::brk {

// Holds the class lock for its lifetime. The lock is re-entrant, so callbacks that come back
// on the same thread pass.
class SC_SCOPED_CAPABILITY ClassLock {
 public:
  explicit ClassLock(const BrkClass *cls) SC_ACQUIRE(*cls);
  ~ClassLock() SC_RELEASE();
  ClassLock(const ClassLock &) = delete;
  ClassLock &operator=(const ClassLock &) = delete;

 private:
  LockValue lock_;
};

// A handle resolved to an open record of its kind and held for one scope; empty for a null,
// closed or foreign handle, whose memory is not read. A record closed while the call waited
// for the class lock reports closing().
using ClassRef = live::Held<BrkClass>;
using ObjectRef = live::Held<BrkObject>;
using DataRef = live::Held<BrkData>;

inline ClassRef Hold(const BrkClass *cls) {
  return ClassRef(cls, kClassKind);
}
inline ObjectRef Hold(const BrkObject *object) {
  return ObjectRef(object, kObjectKind);
}
inline DataRef Hold(const BrkData *data) {
  return DataRef(data, kDataKind);
}

}  // namespace sc::brk
