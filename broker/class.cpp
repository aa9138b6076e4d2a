// Classes and objects: opening a registry over a root directory, opening objects on its
// engines, and the counts that keep either from closing while something is in use.
#include "broker/records.h"
#include "broker/registry.h"
#include "broker/text.h"
#include "foundation/live_set.h"
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

bool IsOpen(const BrkClass *cls) {
  return cls && live::Contains(cls, kClassKind);
}

bool IsOpen(const BrkObject *object) {
  return object && live::Contains(object, kObjectKind);
}

bool IsOpen(const BrkData *data) {
  return data && live::Contains(data, kDataKind);
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
  heap_Free(heap, cls);
}

// The part of both opens after the heap, the lock and the callback are set: the root, the
// scans, handing the class out. On failure the class is destroyed.
VQRESULT FinishClassOpen(BrkClass *cls, const char *rootDirectory, BrkClass **out) {
  cls->rootDirectory = sc::brk::WideFromBytes(cls->heap, rootDirectory);
  if (!cls->rootDirectory) {
    DestroyClass(cls);
    return BRK_E_UNEXPECTED;
  }
  if (!sc::live::Add(cls, sc::brk::kClassKind)) {
    DestroyClass(cls);
    return BRK_E_OUT_OF_MEMORY;
  }
  // What the scans find is the registry; a scan cut short leaves it as far as it came.
  sc::brk::ScanEngines(cls);
  sc::brk::ScanSharedAddons(cls);
  *out = cls;
  return 0;
}

bool InUse(const Addon *addon) {
  return addon->module || addon->openData;
}

void FreeObject(BrkObject *object) {
  const HeapInstance heap = object->cls->heap;
  sc::live::Remove(object, sc::brk::kObjectKind);
  heap_Free(heap, object->language);
  heap_Free(heap, object);
}

}  // namespace

extern "C" {

SC_API VQRESULT brk_ClassOpen(BrkClass **out, const char *rootDirectory, HeapInstance heap,
                              LockValue lock, BrkResolveCallback classCallback) {
  if (!out) return BRK_E_INVALID_ARGUMENT;
  auto *cls = sc::brk::NewRecord<BrkClass>(heap);
  if (!cls) return BRK_E_OUT_OF_MEMORY;
  cls->heap = heap;
  cls->ownsLock = 0;
  cls->lock = lock;
  cls->classCallback = classCallback;
  return FinishClassOpen(cls, rootDirectory, out);
}

SC_API VQRESULT brk_ClassOpenEx(BrkClass **out, const char *rootDirectory, ResourceHandle resource,
                                BrkResolveCallback classCallback) {
  if (!out) return BRK_E_INVALID_ARGUMENT;
  Resource *found = nullptr;
  if (InitRsrcFunction(resource, &found)) return BRK_E_UNEXPECTED;
  auto *cls = sc::brk::NewRecord<BrkClass>(found->heap);
  if (!cls) return BRK_E_OUT_OF_MEMORY;
  cls->heap = found->heap;
  cls->classCallback = classCallback;
  if (critsec_ObjOpen(found->lock, found->heap, 0, &cls->lock)) {
    heap_Free(cls->heap, cls);
    return BRK_E_UNEXPECTED;
  }
  cls->ownsLock = 1;
  return FinishClassOpen(cls, rootDirectory, out);
}

SC_API VQRESULT brk_ClassClose(BrkClass *cls) {
  if (!cls) return 0;
  if (!sc::brk::IsOpen(cls)) return BRK_E_INVALID_ARGUMENT;
  if (cls->objectCount > 0) return BRK_E_STILL_IN_USE;
  for (Addon *addon = cls->sharedAddons.load(std::memory_order_acquire); addon;
       addon = addon->next.load(std::memory_order_acquire))
    if (InUse(addon)) return BRK_E_STILL_IN_USE;
  for (Engine *engine = cls->engines; engine; engine = engine->next)
    if (engine->addons.load(std::memory_order_acquire)) return BRK_E_STILL_IN_USE;
  sc::live::Remove(cls, sc::brk::kClassKind);
  DestroyClass(cls);
  return 0;
}

SC_API VQRESULT brk_ObjOpen(BrkObject **out, const char *brokerString, const char *language,
                            BrkClass *cls, BrkResolveCallback objectCallback) {
  if (!out) return BRK_E_INVALID_ARGUMENT;
  *out = nullptr;
  if (!sc::brk::IsOpen(cls)) return BRK_E_INVALID_ARGUMENT;
  auto *object = sc::brk::NewRecord<BrkObject>(cls->heap);
  if (!object) return BRK_E_OUT_OF_MEMORY;
  object->cls = cls;
  object->objectCallback = objectCallback;
  if (brokerString && *brokerString) {
    char16_t *wide = sc::brk::WideFromBytes(cls->heap, brokerString);
    if (!wide) {
      heap_Free(cls->heap, object);
      return BRK_E_UNEXPECTED;
    }
    object->engine = sc::brk::FindEngine(cls, sc::brk::View(wide));
    heap_Free(cls->heap, wide);
    if (!object->engine) {
      heap_Free(cls->heap, object);
      return BRK_E_ENGINE_NOT_FOUND;
    }
  }
  // The language and the live entry come before the counts, so that a failure of either
  // leaves the counts and the engine's add-ons as they were.
  if (language) {
    object->language = sc::brk::WideFromBytes(cls->heap, language);
    if (!object->language) {
      heap_Free(cls->heap, object);
      return BRK_E_UNEXPECTED;
    }
  }
  if (!sc::live::Add(object, sc::brk::kObjectKind)) {
    heap_Free(cls->heap, object->language);
    heap_Free(cls->heap, object);
    return BRK_E_OUT_OF_MEMORY;
  }
  {
    ClassLock lock(cls);
    if (Engine *engine = object->engine) {
      const VQRESULT loaded = sc::brk::LoadEngineAddons(cls, engine);
      if (loaded) {
        FreeObject(object);
        return loaded;
      }
      ++engine->objectCount;
    }
    ++cls->objectCount;
  }
  *out = object;
  return 0;
}

SC_API VQRESULT brk_ObjClose(BrkObject *object) {
  if (!object) return 0;
  if (!sc::brk::IsOpen(object)) return BRK_E_INVALID_ARGUMENT;
  BrkClass *cls = object->cls;
  ClassLock lock(cls);
  Engine *engine = object->engine;
  if (engine) {
    if (engine->objectCount == 0) return BRK_E_UNEXPECTED;
    if (engine->objectCount == 1) {
      // The last object on the engine takes the engine's add-ons with it, which is only
      // possible when nothing of the engine is held any more.
      Addon *addons = engine->addons.load(std::memory_order_acquire);
      if (engine->module) return BRK_E_STILL_IN_USE;
      for (Addon *addon = addons; addon; addon = addon->next.load(std::memory_order_acquire))
        if (InUse(addon)) return BRK_E_STILL_IN_USE;
      engine->addons.store(nullptr, std::memory_order_release);
      sc::brk::FreeAddons(cls->heap, addons);
    }
    --engine->objectCount;
  }
  --cls->objectCount;
  FreeObject(object);
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
