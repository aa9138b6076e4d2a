// Component modules and their interfaces: loading a component's module on the first request,
// asking its entry point for numbered interfaces, counting their users and unloading the
// module when the last one is given back.
#include "broker/module.h"

#include <memory>

#include "broker/registry.h"
#include "broker/text.h"
#include "foundation/heap_ptr.h"
#include "foundation/result.h"
#include "sc_brk.h"
#include "sc_safeh.h"

namespace sc::brk {
namespace {

constexpr char16_t kDllTag[] = u"DLL";
constexpr char16_t kGetInterfaceTag[] = u"GETINTERFACE";
// The DLL value of an add-on that lives in its engine's library.
constexpr std::u16string_view kInEngineLibrary = u"ENGINE";

Module *&ModuleField(Engine *engine, Addon *addon) {
  return addon ? addon->module : engine->module;
}

bool SharesLibraryOf(const std::atomic<Addon *> &list, const Engine *host) {
  for (const Addon *addon = list.load(std::memory_order_acquire); addon;
       addon = addon->next.load(std::memory_order_acquire))
    if (addon->module && addon->module->host == host) return true;
  return false;
}

void FreeModule(HeapInstance heap, Module *module) {
  for (Interface *entry = module->interfaces; entry;) {
    Interface *next = entry->next;
    heap_Free(heap, entry);
    entry = next;
  }
  heap_Free(heap, module);
}

// Unloads the module of the engine (addon null) or of the add-on. An add-on that lived in its
// engine's library takes the engine's module with it when nothing else holds that one.
void Unload(BrkClass *cls, Engine *engine, Addon *addon) SC_REQUIRES(*cls) {
  Module *&field = ModuleField(engine, addon);
  Module *module = field;
  if (!module) return;
  // An engine's library stays while an add-on module still runs from it; only releasing
  // more interfaces than were given out gets here.
  if (!addon &&
      (SharesLibraryOf(engine->addons, engine) || SharesLibraryOf(cls->sharedAddons, engine)))
    return;
  if (module->table && module->table->finalize) module->table->finalize(module->instance);
  if (module->ownLibrary) plat::LibraryFree(module->library);
  Engine *host = module->host;
  field = nullptr;
  FreeModule(cls->heap, module);
  if (host && host->module && host->module->useCount == 0) Unload(cls, host, nullptr);
}

// A module record being made; a library it loaded goes with it unless it is attached.
struct DropModule {
  HeapInstance heap;
  void operator()(Module *module) const {
    if (module->ownLibrary && module->library) plat::LibraryFree(module->library);
    heap_Free(heap, module);
  }
};

// Makes the module record: the library (loaded here, or the host engine's), the entry point
// named by the component's GETINTERFACE tag, its function table and the initialiser.
VQRESULT Attach(BrkObject *object, const char16_t *path, Engine *host, Tag *tags, Module *&field) {
  const HeapInstance heap = object->cls->heap;
  std::unique_ptr<Module, DropModule> module(NewRecord<Module>(heap), DropModule{heap});
  if (!module) return BRK_E_OUT_OF_MEMORY;
  module->ownLibrary = host ? 0 : 1;
  module->host = host;
  module->instance = g_vqNullHandle;
  if (host) {
    module->library = host->module->library;
  } else {
    auto narrow = Owned(heap, BytesFromWide(heap, path));
    if (!narrow) return BRK_E_UNEXPECTED;
    module->library = plat::LibraryLoad(narrow.get());
  }
  if (!module->library) return BRK_E_CANNOT_LOAD_MODULE;
  const char16_t *entryName = TagValue(tags, kGetInterfaceTag);
  if (!entryName) return BRK_E_TAG_NOT_FOUND;
  auto narrow = Owned(heap, BytesFromWide(heap, entryName));
  if (!narrow) return BRK_E_OUT_OF_MEMORY;
  module->entry =
      reinterpret_cast<BrkGetInterface>(plat::LibrarySymbol(module->library, narrow.get()));
  if (!module->entry) return BRK_E_CANNOT_LOAD_MODULE;
  void *table = nullptr;
  if (Failed(module->entry(0, &table))) return BRK_E_CANNOT_LOAD_MODULE;
  module->table = static_cast<BrkModuleTable *>(table);
  if (module->table && module->table->initialize &&
      Failed(module->table->initialize(object, heap, &module->instance)))
    return BRK_E_CANNOT_LOAD_MODULE;
  field = module.release();
  return 0;
}

// Loads the module of the engine (addon null) or of the add-on, unless it is loaded already.
VQRESULT Load(BrkObject *object, Engine *engine, Addon *addon) SC_REQUIRES(*object->cls) {
  Module *&field = ModuleField(engine, addon);
  if (field) return 0;
  char16_t *found = nullptr;
  bool sharesEngine = false;
  SC_TRY(ModulePath(object, engine, addon, &found, &sharesEngine));
  auto path = Owned(object->cls->heap, found);
  Engine *host = sharesEngine ? object->engine : nullptr;
  if (host) SC_TRY(Load(object, host, nullptr));
  const VQRESULT result =
      Attach(object, path.get(), host, addon ? addon->firstTag : engine->header->tags, field);
  if (result && host && host->module && host->module->useCount == 0)
    Unload(object->cls, host, nullptr);
  return result;
}

Interface *FindInterface(const Module *module, const void *pointer) {
  for (Interface *entry = module->interfaces; entry; entry = entry->next)
    if (entry->pointer == pointer) return entry;
  return nullptr;
}

// The first add-on of the list whose module gave out this interface.
Addon *FindGiver(const std::atomic<Addon *> &list, const void *pointer) {
  for (Addon *addon = list.load(std::memory_order_acquire); addon;
       addon = addon->next.load(std::memory_order_acquire))
    if (addon->module && FindInterface(addon->module, pointer)) return addon;
  return nullptr;
}

}  // namespace

VQRESULT ModulePath(const BrkObject *object, Engine *engine, Addon *addon, char16_t **path,
                    bool *sharesEngine) {
  *path = nullptr;
  *sharesEngine = false;
  const HeapInstance heap = object->cls->heap;
  const char16_t *dll = nullptr;
  const char16_t *directory = nullptr;
  if (!addon) {
    dll = TagValue(engine->header->tags, kDllTag);
    directory = engine->directory;
  } else {
    dll = addon->header ? TagValue(addon->firstTag, kDllTag) : nullptr;
    if (!addon->header || (dll && View(dll) == kInEngineLibrary)) {
      if (!object->engine) return BRK_E_INVALID_ARGUMENT;
      bool unused;
      const VQRESULT result = ModulePath(object, object->engine, nullptr, path, &unused);
      *sharesEngine = !result;
      return result;
    }
    directory = addon->directory;
  }
  if (!dll) return BRK_E_TAG_NOT_FOUND;
  // A header names its module, but never one outside the installation it belongs to.
  if (!PathStaysBelow(View(object->cls->rootDirectory), View(directory), View(dll)))
    return BRK_E_MODULE_OUTSIDE_ROOT;
  *path = JoinPath(heap, View(directory), View(dll));
  return *path ? 0 : BRK_E_OUT_OF_MEMORY;
}

namespace {

// The object's own engine when the broker string names it, else the add-on it selects.
VQRESULT FindComponent(BrkObject *object, const char *brokerString, Engine **engine,
                       Addon **addon) {
  const HeapInstance heap = object->cls->heap;
  auto wide = Owned(heap, WideFromBytes(heap, brokerString));
  if (!wide) return BRK_E_UNEXPECTED;
  if (object->engine && EqualIgnoringCase(View(object->engine->brokerString), View(wide.get())))
    *engine = object->engine;
  else
    SC_TRY(Resolve(object, wide.get(), addon));
  return *engine || *addon ? 0 : BRK_E_BROKER_STRING_NOT_FOUND;
}

// Loads the component's module when needed and hands out one use of the interface.
VQRESULT GiveInterface(BrkObject *object, Engine *engine, Addon *addon, uint8_t interfaceId,
                       SafeHandle *instance, void **interface) SC_REQUIRES(*object->cls) {
  const VQRESULT loaded = Load(object, engine, addon);
  Module *module = addon ? addon->module : engine->module;
  if (!module) return loaded;
  // Id 0 is never taken from the list: every query of it asks the entry point again.
  Interface *entry = module->interfaces;
  Interface **tail = &module->interfaces;
  for (; entry && (interfaceId == 0 || entry->id != interfaceId); entry = entry->next)
    tail = &entry->next;
  if (!entry) {
    void *pointer = nullptr;
    VQRESULT result = module->entry(interfaceId, &pointer) == 0 ? 0 : BRK_E_INTERFACE_NOT_FOUND;
    // A module that answers 0 without an interface is refused here: no release could find a
    // null pointer again, so its use would hold the module, and the object's engine, for good.
    if (!result && !pointer) result = BRK_E_NOT_PRESENT;
    if (!result) {
      while (*tail)
        tail = &(*tail)->next;
      entry = NewRecord<Interface>(object->cls->heap);
      if (!entry) result = BRK_E_OUT_OF_MEMORY;
    }
    if (result) {
      if (module->useCount == 0) Unload(object->cls, engine, addon);
      return result;
    }
    entry->id = interfaceId;
    entry->pointer = pointer;
    *tail = entry;
  }
  *interface = entry->pointer;
  *instance = module->instance;
  ++module->useCount;
  if (module->host && module->host->module) ++module->host->module->useCount;
  return 0;
}

// Gives one use of an interface back; the module goes when its last use has.
VQRESULT TakeInterfaceBack(BrkObject *object, void *interface) SC_REQUIRES(*object->cls) {
  Engine *engine = object->engine;
  if (engine && engine->module && FindInterface(engine->module, interface)) {
    if (engine->module->useCount > 0) --engine->module->useCount;
    if (engine->module->useCount == 0) Unload(object->cls, engine, nullptr);
    return 0;
  }
  Addon *addon = engine ? FindGiver(engine->addons, interface) : nullptr;
  if (!addon) addon = FindGiver(object->cls->sharedAddons, interface);
  if (!addon) return BRK_E_INTERFACE_NOT_FOUND;
  Module *module = addon->module;
  if (module->useCount > 0) {
    if (!module->ownLibrary) {
      Module *hostModule = module->host ? module->host->module : nullptr;
      if (!hostModule) return BRK_E_UNEXPECTED;
      if (hostModule->useCount > 0) --hostModule->useCount;
    }
    --module->useCount;
  }
  if (module->useCount == 0) Unload(object->cls, nullptr, addon);
  return 0;
}

}  // namespace
}  // namespace sc::brk

using sc::brk::Addon;
using sc::brk::Engine;

extern "C" {

SC_API VQRESULT brk_InterfaceQuery(BrkObject *handle, const char *brokerString, uint8_t interfaceId,
                                   SafeHandle *instance, void **interface) {
  if (!interface) return BRK_E_INVALID_ARGUMENT;
  *interface = nullptr;
  sc::brk::ObjectRef held = sc::brk::Hold(handle);
  if (!held || !brokerString || !instance) return BRK_E_INVALID_ARGUMENT;
  BrkObject *object = held.get();
  // The object's own engine, or an add-on; resolving may call the callbacks, so it is done
  // before the lock is taken.
  Engine *engine = nullptr;
  Addon *addon = nullptr;
  SC_TRY(sc::brk::FindComponent(object, brokerString, &engine, &addon));
  sc::brk::ClassLock lock(object->cls);
  if (held.closing()) return BRK_E_INVALID_ARGUMENT;
  return sc::brk::GiveInterface(object, engine, addon, interfaceId, instance, interface);
}

SC_API VQRESULT brk_InterfaceRelease(BrkObject *handle, void *interface) {
  sc::brk::ObjectRef held = sc::brk::Hold(handle);
  if (!held || !interface) return BRK_E_INTERFACE_NOT_FOUND;
  BrkObject *object = held.get();
  sc::brk::ClassLock lock(object->cls);
  if (held.closing()) return BRK_E_INTERFACE_NOT_FOUND;
  return sc::brk::TakeInterfaceBack(object, interface);
}

}  // extern "C"
