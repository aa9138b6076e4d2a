// Classes and objects: opening a registry over a root directory, opening objects on its
// engines, and the counts that keep either from closing while something is in use.
#include <memory>

#include "broker/records.h"
#include "broker/registry.h"
#include "broker/text.h"
#include "foundation/heap_ptr.h"
#include "foundation/live_set.h"
#include "foundation/quarantine.h"
#include "foundation/resource.h"
#include "foundation/result.h"
#include "sc_brk.h"
#include "sc_critsec.h"
#include "sc_rsrc.h"

namespace sc::brk {

ClassLock::ClassLock(const BrkClass *cls) : lock_(cls->lock) {
  critsec_Enter(lock_);
}

ClassLock::~ClassLock() {
  critsec_Leave(lock_);
}

}  // namespace sc::brk

namespace {

using sc::brk::Addon;
using sc::brk::ClassLock;
using sc::brk::Engine;

// Frees the class and everything its registry holds.
void DestroyClass(BrkClass *cls) {
  const HeapInstance heap = cls->heap;
  sc::brk::FreeEngines(heap, cls->engines);
  sc::brk::FreeAddons(heap, cls->sharedAddons.load(std::memory_order_relaxed));
  if (cls->ownsLock) critsec_ObjClose(cls->lock);
  heap_Free(heap, cls->rootDirectory);
}

struct DestroyUnopened {
  void operator()(BrkClass *cls) const {
    DestroyClass(cls);
    heap_Free(cls->heap, cls);
  }
};
using ClassBeingOpened = std::unique_ptr<BrkClass, DestroyUnopened>;

// Runs once the class is closed and no call, object or data handle holds it any more.
void FinalizeClass(void *object) {
  auto *cls = static_cast<BrkClass *>(object);
  DestroyClass(cls);
  sc::Quarantine(cls, sizeof(BrkClass));
}

struct FreeUnopened {
  void operator()(BrkObject *object) const {
    heap_Free(object->cls->heap, object->language);
    heap_Free(object->cls->heap, object);
  }
};
using ObjectBeingOpened = std::unique_ptr<BrkObject, FreeUnopened>;

// Runs once the object is closed and no call holds it any more.
void FinalizeObject(void *record) {
  auto *object = static_cast<BrkObject *>(record);
  const HeapInstance heap = object->cls->heap;
  sc::brk::FreeAddons(heap, object->droppedAddons);
  heap_Free(heap, object->language);
  sc::live::Entry *classHold = object->classHold;
  sc::Quarantine(object, sizeof(BrkObject));
  sc::live::Leave(classHold);
}

// The part of both opens after the heap, the lock and the callback are set: the root, the
// scans, handing the class out.
VQRESULT FinishClassOpen(ClassBeingOpened cls, const char *rootDirectory, BrkClass **out) {
  cls->rootDirectory = sc::brk::WideFromBytes(cls->heap, rootDirectory);
  if (!cls->rootDirectory) return BRK_E_UNEXPECTED;
  // What the scans find is the registry. Their outcome is not reported: an engine scan cut
  // short keeps the engines it read, a shared add-on scan cut short adds none.
  sc::brk::ScanEngines(cls.get());
  sc::brk::ScanSharedAddons(cls.get());
  if (!sc::live::Add(cls.get(), sc::brk::kClassKind, FinalizeClass)) return BRK_E_OUT_OF_MEMORY;
  *out = cls.release();
  return 0;
}

bool InUse(const Addon *addon) {
  return addon->module || addon->openData;
}

VQRESULT CloseRefusal(const BrkClass &cls) SC_REQUIRES(cls) {
  if (cls.objectCount > 0) return BRK_E_STILL_IN_USE;
  for (Addon *addon = cls.sharedAddons.load(std::memory_order_acquire); addon;
       addon = addon->next.load(std::memory_order_acquire))
    if (InUse(addon)) return BRK_E_STILL_IN_USE;
  for (Engine *engine = cls.engines; engine; engine = engine->next)
    if (engine->addons.load(std::memory_order_acquire)) return BRK_E_STILL_IN_USE;
  return 0;
}

VQRESULT OpenObject(const sc::brk::ClassRef &cls, const char *brokerString, const char *language,
                    BrkResolveCallback objectCallback, BrkObject **out) {
  const HeapInstance heap = cls->heap;
  ObjectBeingOpened object(sc::brk::NewRecord<BrkObject>(heap));
  if (!object) return BRK_E_OUT_OF_MEMORY;
  object->cls = cls.get();
  object->objectCallback = objectCallback;
  if (brokerString && *brokerString) {
    auto wide = sc::Owned(heap, sc::brk::WideFromBytes(heap, brokerString));
    if (!wide) return BRK_E_UNEXPECTED;
    object->engine = sc::brk::FindEngine(cls.get(), sc::brk::View(wide.get()));
    if (!object->engine) return BRK_E_ENGINE_NOT_FOUND;
  }
  if (language && !(object->language = sc::brk::WideFromBytes(heap, language)))
    return BRK_E_UNEXPECTED;
  // The object enters the set before the counts change, so that its failure leaves the
  // counts as they were (a failed add-on load adds nothing); from there on its finaliser owns
  // it.
  sc::live::HoldAgain(cls.entry());
  object->classHold = cls.entry();
  sc::live::Entry *entry = sc::live::Add(object.get(), sc::brk::kObjectKind, FinalizeObject);
  if (!entry) {
    sc::live::Leave(cls.entry());
    return BRK_E_OUT_OF_MEMORY;
  }
  BrkObject *opened = object.release();
  BrkClass *locked = cls.get();
  ClassLock lock(locked);
  VQRESULT result = cls.closing() ? BRK_E_INVALID_ARGUMENT : 0;
  if (!result && opened->engine) result = sc::brk::LoadEngineAddons(locked, opened->engine);
  if (result) {
    sc::live::Close(entry);
    return result;
  }
  if (opened->engine) ++opened->engine->objectCount;
  ++locked->objectCount;
  *out = opened;
  return 0;
}

// The counts an object leaves; the last object on an engine takes the engine's add-ons with
// it, which is only possible when nothing of the engine is held any more.
VQRESULT CloseObject(BrkObject &object) SC_REQUIRES(*object.cls) {
  if (Engine *engine = object.engine) {
    if (engine->objectCount == 0) return BRK_E_UNEXPECTED;
    if (engine->objectCount == 1) {
      Addon *addons = engine->addons.load(std::memory_order_acquire);
      if (engine->module) return BRK_E_STILL_IN_USE;
      for (Addon *addon = addons; addon; addon = addon->next.load(std::memory_order_acquire))
        if (InUse(addon)) return BRK_E_STILL_IN_USE;
      // Calls still running on this object may be reading the list; it goes with the object.
      engine->addons.store(nullptr, std::memory_order_release);
      object.droppedAddons = addons;
    }
    --engine->objectCount;
  }
  --object.cls->objectCount;
  return 0;
}

}  // namespace

extern "C" {

SC_API VQRESULT brk_ClassOpen(BrkClass **out, const char *rootDirectory, HeapInstance heap,
                              LockValue lock, BrkResolveCallback classCallback) {
  if (!out) return BRK_E_INVALID_ARGUMENT;
  ClassBeingOpened cls(sc::brk::NewRecord<BrkClass>(heap));
  if (!cls) return BRK_E_OUT_OF_MEMORY;
  cls->heap = heap;
  cls->ownsLock = 0;
  cls->lock = lock;
  cls->classCallback = classCallback;
  return FinishClassOpen(std::move(cls), rootDirectory, out);
}

SC_API VQRESULT brk_ClassOpenEx(BrkClass **out, const char *rootDirectory, ResourceHandle resource,
                                BrkResolveCallback classCallback) {
  if (!out) return BRK_E_INVALID_ARGUMENT;
  sc::HeldResource found;
  if (sc::ResolveResource(resource, &found)) return BRK_E_UNEXPECTED;
  const HeapInstance heap = found.resource->heap;
  auto record = sc::Owned(heap, sc::brk::NewRecord<BrkClass>(heap));
  if (!record) return BRK_E_OUT_OF_MEMORY;
  record->heap = heap;
  record->classCallback = classCallback;
  if (critsec_ObjOpen(found.resource->lock, heap, 0, &record->lock)) return BRK_E_UNEXPECTED;
  record->ownsLock = 1;
  return FinishClassOpen(ClassBeingOpened(record.release()), rootDirectory, out);
}

SC_API VQRESULT brk_ClassClose(BrkClass *handle) {
  if (!handle) return 0;
  sc::brk::ClassRef held = sc::brk::Hold(handle);
  if (!held) return BRK_E_INVALID_ARGUMENT;
  BrkClass *cls = held.get();
  ClassLock lock(cls);
  if (held.closing()) return BRK_E_INVALID_ARGUMENT;
  SC_TRY(CloseRefusal(*cls));
  sc::live::Close(held.entry());
  return 0;
}

SC_API VQRESULT brk_ObjOpen(BrkObject **out, const char *brokerString, const char *language,
                            BrkClass *cls, BrkResolveCallback objectCallback) {
  if (!out) return BRK_E_INVALID_ARGUMENT;
  *out = nullptr;
  sc::brk::ClassRef held = sc::brk::Hold(cls);
  if (!held) return BRK_E_INVALID_ARGUMENT;
  return OpenObject(held, brokerString, language, objectCallback, out);
}

SC_API VQRESULT brk_ObjClose(BrkObject *handle) {
  if (!handle) return 0;
  sc::brk::ObjectRef held = sc::brk::Hold(handle);
  if (!held) return BRK_E_INVALID_ARGUMENT;
  BrkObject *object = held.get();
  ClassLock lock(object->cls);
  if (held.closing()) return BRK_E_INVALID_ARGUMENT;
  SC_TRY(CloseObject(*object));
  sc::live::Close(held.entry());
  return 0;
}

SC_API VQRESULT brk_ObjOpenEx(BrkObject **out, const char *brokerString, const char *language,
                              BrkClass *cls, BrkResolveCallback objectCallback) {
  return brk_ObjOpen(out, brokerString, language, cls, objectCallback);
}

SC_API VQRESULT brk_ObjCloseEx(BrkObject *object) {
  return brk_ObjClose(object);
}

}  // extern "C"
