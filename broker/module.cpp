// Component modules and their interfaces: loading a component's module on the first request,
// asking its entry point for numbered interfaces, counting their users and unloading the
// module when the last one is given back.
#include "broker/module.h"

#include "broker/registry.h"
#include "broker/text.h"
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

// Makes the module record: the library (loaded here, or the host engine's), the entry point
// named by the component's GETINTERFACE tag, its function table and the initialiser.
VQRESULT Attach(BrkObject *object, const char16_t *path, Engine *host, Tag *tags, Module *&field) {
  const HeapInstance heap = object->cls->heap;
  auto *module = NewRecord<Module>(heap);
  if (!module) return BRK_E_OUT_OF_MEMORY;
  module->ownLibrary = host ? 0 : 1;
  module->host = host;
  VQRESULT result = 0;
  if (host) {
    module->library = host->module->library;
  } else if (char *narrow = BytesFromWide(heap, path)) {
    module->library = plat::LibraryLoad(narrow);
    heap_Free(heap, narrow);
  } else {
    result = BRK_E_UNEXPECTED;
  }
  if (!result && !module->library) result = BRK_E_CANNOT_LOAD_MODULE;
  module->instance = g_vqNullHandle;
  const char16_t *entryName = result ? nullptr : TagValue(tags, kGetInterfaceTag);
  if (!result && !entryName) result = BRK_E_TAG_NOT_FOUND;
  if (!result) {
    char *narrow = BytesFromWide(heap, entryName);
    if (!narrow) result = BRK_E_OUT_OF_MEMORY;
    module->entry = reinterpret_cast<BrkGetInterface>(plat::LibrarySymbol(module->library, narrow));
    heap_Free(heap, narrow);
    if (!result && !module->entry) result = BRK_E_CANNOT_LOAD_MODULE;
  }
  if (!result) {
    void *table = nullptr;
    if (Failed(module->entry(0, &table))) result = BRK_E_CANNOT_LOAD_MODULE;
    module->table = static_cast<BrkModuleTable *>(table);
  }
  if (!result && module->table && module->table->initialize &&
      Failed(module->table->initialize(object, heap, &module->instance)))
    result = BRK_E_CANNOT_LOAD_MODULE;
  if (result) {
    if (module->ownLibrary && module->library) plat::LibraryFree(module->library);
    heap_Free(heap, module);
    return result;
  }
  field = module;
  return 0;
}

// Loads the module of the engine (addon null) or of the add-on, unless it is loaded already.
VQRESULT Load(BrkObject *object, Engine *engine, Addon *addon) SC_REQUIRES(*object->cls) {
  Module *&field = ModuleField(engine, addon);
  if (field) return 0;
  char16_t *path = nullptr;
  bool sharesEngine = false;
  VQRESULT result = ModulePath(object, engine, addon, &path, &sharesEngine);
  if (result) return result;
  Engine *host = sharesEngine ? object->engine : nullptr;
  if (host) result = Load(object, host, nullptr);
  if (!result) {
    result = Attach(object, path, host, addon ? addon->firstTag : engine->header->tags, field);
    if (result && host && host->module && host->module->useCount == 0)
      Unload(object->cls, host, nullptr);
  }
  heap_Free(object->cls->heap, path);
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

}  // namespace sc::brk

using sc::brk::Addon;
using sc::brk::Engine;
using sc::brk::Interface;
using sc::brk::Module;

extern "C" {

SC_API VQRESULT brk_InterfaceQuery(BrkObject *object, const char *brokerString, uint8_t interfaceId,
                                   SafeHandle *instance, void **interface) {
  if (!interface) return BRK_E_INVALID_ARGUMENT;
  *interface = nullptr;
  if (!sc::brk::IsOpen(object) || !brokerString || !instance) return BRK_E_INVALID_ARGUMENT;
  BrkClass *cls = object->cls;
  char16_t *wide = sc::brk::WideFromBytes(cls->heap, brokerString);
  if (!wide) return BRK_E_UNEXPECTED;
  // The object's own engine, or an add-on; resolving may call the callbacks, so it is done
  // before the lock is taken.
  Engine *engine = nullptr;
  Addon *addon = nullptr;
  VQRESULT result = 0;
  if (object->engine &&
      sc::brk::EqualIgnoringCase(sc::brk::View(object->engine->brokerString), sc::brk::View(wide)))
    engine = object->engine;
  else
    result = sc::brk::Resolve(object, wide, &addon);
  heap_Free(cls->heap, wide);
  if (result) return result;
  if (!engine && !addon) return BRK_E_BROKER_STRING_NOT_FOUND;

  sc::brk::ClassLock lock(object->cls);
  result = sc::brk::Load(object, engine, addon);
  Module *module = addon ? addon->module : engine->module;
  if (!module) return result;
  // Id 0 is never taken from the list: every query of it asks the entry point again.
  Interface *entry = module->interfaces;
  Interface **tail = &module->interfaces;
  for (; entry && (interfaceId == 0 || entry->id != interfaceId); entry = entry->next)
    tail = &entry->next;
  if (!entry) {
    void *pointer = nullptr;
    result = module->entry(interfaceId, &pointer) == 0 ? 0 : BRK_E_INTERFACE_NOT_FOUND;
    if (!result) {
      while (*tail)
        tail = &(*tail)->next;
      entry = sc::brk::NewRecord<Interface>(cls->heap);
      if (!entry) result = BRK_E_OUT_OF_MEMORY;
    }
    if (result) {
      if (module->useCount == 0) sc::brk::Unload(object->cls, engine, addon);
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

SC_API VQRESULT brk_InterfaceRelease(BrkObject *object, void *interface) {
  if (!sc::brk::IsOpen(object) || !interface) return BRK_E_INTERFACE_NOT_FOUND;
  BrkClass *cls = object->cls;
  sc::brk::ClassLock lock(cls);
  Engine *engine = object->engine;
  if (engine && engine->module && sc::brk::FindInterface(engine->module, interface)) {
    if (engine->module->useCount > 0) --engine->module->useCount;
    if (engine->module->useCount == 0) sc::brk::Unload(cls, engine, nullptr);
    return 0;
  }
  Addon *addon = engine ? sc::brk::FindGiver(engine->addons, interface) : nullptr;
  if (!addon) addon = sc::brk::FindGiver(cls->sharedAddons, interface);
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
  if (module->useCount == 0) sc::brk::Unload(cls, nullptr, addon);
  return 0;
}

}  // extern "C"
