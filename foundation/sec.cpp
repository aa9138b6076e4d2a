// Guarded objects: a type tag, a re-entrant lock and a small state machine, kept by value.
#include <atomic>
#include <new>

#include "foundation/heap_ptr.h"
#include "foundation/lock_record.h"
#include "foundation/resource.h"
#include "platform/thread_safety.h"
#include "sc_critsec.h"
#include "sc_heap.h"
#include "sc_srvspi.h"

struct SecCore {
  sc::LockRecord *lock;  // a critsec_ lock, entered directly
  uint32_t state SC_GUARDED_BY(lock->lock);
  uint32_t holders SC_GUARDED_BY(lock->lock);  // SecObject only: the writer, or the readers
  // The Resource stays until the core is closed, so the close can still free through it.
  sc::live::Entry *resourceHold;
};

namespace {

bool Usable(uint32_t magic, uint32_t expected, const SecCore *core) {
  return magic == expected && core != nullptr;
}

SecExObject AsEx(const SecObject &object) {
  return SecExObject{SECEX_MAGIC, object.owner, object.core, object.resource};
}

// Holds the object's lock for one scope.
class SC_SCOPED_CAPABILITY CoreLock {
 public:
  explicit CoreLock(SecCore *core) SC_ACQUIRE(core->lock->lock) : lock_(&core->lock->lock) {
    sc::plat::LockEnter(lock_);
  }
  ~CoreLock() SC_RELEASE() { sc::plat::LockLeave(lock_); }
  CoreLock(const CoreLock &) = delete;
  CoreLock &operator=(const CoreLock &) = delete;

 private:
  sc::plat::RecursiveLock *lock_;
};

// The state is read without the lock by contract, a look that may be stale at once; the read
// and every write are atomic so that the look is no data race. The analysis knows no atomic
// access and would ask for the lock here.
uint32_t StateWithoutLock(SecCore *core) SC_NO_THREAD_SAFETY_ANALYSIS {
  return std::atomic_ref(core->state).load(std::memory_order_relaxed);
}

}  // namespace

extern "C" {

SC_API VQRESULT srvspi_SecExOpen(ResourceHandle resourceHandle, uint32_t owner,
                                 uint32_t initialState, SecExObject *out) {
  sc::HeldResource held;
  const VQRESULT resolved = sc::ResolveResource(resourceHandle, &held);
  if (resolved) return resolved;
  if (!out) return SRVSPI_E_SEC_NULL_POINTER;
  Resource *resource = held.resource;
  out->resource = resource;
  out->magic = SECEX_MAGIC;
  out->core = nullptr;
  auto memory = sc::Owned(resource->heap, heap_Alloc(resource->heap, sizeof(SecCore)));
  if (!memory) return SRVSPI_E_SEC_OUT_OF_MEMORY;
  LockValue lock = 0;
  const VQRESULT opened = critsec_ObjOpen(resource->lock, resource->heap, 1, &lock);
  if (opened) return opened;
  out->core =
      new (memory.release()) SecCore{sc::RecordOf(lock), initialState, 0, held.hold.Release()};
  out->owner = owner;
  return 0;
}

SC_API VQRESULT srvspi_SecExClose(SecExObject *object) {
  if (!object) return SRVSPI_E_SEC_NULL_POINTER;
  if (!Usable(object->magic, SECEX_MAGIC, object->core)) return SRVSPI_E_SEC_INVALID_HANDLE;
  const VQRESULT closed = critsec_ObjClose(sc::ValueOf(object->core->lock));
  if (closed) return closed;
  sc::live::Entry *resourceHold = object->core->resourceHold;
  heap_Free(object->resource->heap, object->core);
  if (resourceHold) sc::live::Leave(resourceHold);
  object->magic = 0;
  object->owner = 0;
  object->core = nullptr;
  return 0;
}

SC_API VQRESULT srvspi_SecExValidate(SecExObject object, uint32_t owner) {
  if (!Usable(object.magic, SECEX_MAGIC, object.core)) return SRVSPI_E_SEC_INVALID_HANDLE;
  return object.owner == owner ? 0 : SRVSPI_E_SEC_INVALID_HANDLE;
}

SC_API VQRESULT srvspi_SecExGetState(SecExObject object, uint32_t *state) {
  if (!state) return SRVSPI_E_SEC_NULL_POINTER;
  if (!Usable(object.magic, SECEX_MAGIC, object.core)) return SRVSPI_E_SEC_INVALID_HANDLE;
  *state = StateWithoutLock(object.core);
  return 0;
}

SC_API VQRESULT srvspi_SecExLock(SecExObject object) {
  if (!Usable(object.magic, SECEX_MAGIC, object.core)) return SRVSPI_E_SEC_INVALID_HANDLE;
  return critsec_Enter(sc::ValueOf(object.core->lock));
}

SC_API VQRESULT srvspi_SecExUnlock(SecExObject object) {
  if (!Usable(object.magic, SECEX_MAGIC, object.core)) return SRVSPI_E_SEC_INVALID_HANDLE;
  return critsec_Leave(sc::ValueOf(object.core->lock));
}

SC_API VQRESULT srvspi_SecExToState(SecExObject object, const uint32_t *allowed, uint32_t count,
                                    uint32_t newState, uint32_t *oldState) {
  if (!allowed && count != 0) return SRVSPI_E_SEC_INVALID_ARGUMENT;
  if (!Usable(object.magic, SECEX_MAGIC, object.core)) return SRVSPI_E_SEC_INVALID_HANDLE;
  CoreLock hold(object.core);
  const uint32_t current = object.core->state;
  if (oldState) *oldState = current;
  bool permitted = !allowed;  // a null list with no entries allows any change
  for (uint32_t i = 0; i < count && !permitted; ++i)
    permitted = allowed[i] == current;
  if (permitted) std::atomic_ref(object.core->state).store(newState, std::memory_order_relaxed);
  return permitted ? 0 : SRVSPI_E_SEC_WRONG_STATE;
}

SC_API VQRESULT srvspi_SecOpen(ResourceHandle resourceHandle, uint32_t owner, SecObject *out) {
  sc::HeldResource held;
  const VQRESULT resolved = sc::ResolveResource(resourceHandle, &held);
  if (resolved) return resolved;
  Resource *resource = held.resource;
  if (!out) return SRVSPI_E_SEC_NULL_POINTER;
  SecExObject ex;
  const VQRESULT opened = srvspi_SecExOpen(resourceHandle, owner, SEC_STATE_FREE, &ex);
  if (opened) return opened;
  out->core = ex.core;
  out->owner = owner;
  out->magic = SEC_MAGIC;
  out->resource = resource;
  return 0;
}

SC_API VQRESULT srvspi_SecClose(SecObject *object) {
  if (!object) return SRVSPI_E_SEC_NULL_POINTER;
  if (!Usable(object->magic, SEC_MAGIC, object->core)) return SRVSPI_E_SEC_INVALID_HANDLE;
  SecExObject ex = AsEx(*object);
  const VQRESULT closed = srvspi_SecExClose(&ex);
  if (closed) return closed;
  object->magic = 0;
  object->owner = 0;
  object->core = nullptr;
  return 0;
}

SC_API VQRESULT srvspi_SecValidate(SecObject object, uint32_t owner) {
  if (!Usable(object.magic, SEC_MAGIC, object.core)) return SRVSPI_E_SEC_INVALID_HANDLE;
  return srvspi_SecExValidate(AsEx(object), owner);
}

// The lock round trip of every guarded operation: straight to the lock record. The lock is
// held from one call to the other, across the C interface, where the analysis (one function at
// a time) cannot follow it.
SC_API VQRESULT srvspi_SecLock(SecObject object) SC_NO_THREAD_SAFETY_ANALYSIS {
  if (!Usable(object.magic, SEC_MAGIC, object.core)) return SRVSPI_E_SEC_INVALID_HANDLE;
  sc::plat::LockEnter(&object.core->lock->lock);
  return 0;
}

SC_API VQRESULT srvspi_SecUnlock(SecObject object) SC_NO_THREAD_SAFETY_ANALYSIS {
  if (!Usable(object.magic, SEC_MAGIC, object.core)) return SRVSPI_E_SEC_INVALID_HANDLE;
  sc::plat::LockLeave(&object.core->lock->lock);
  return 0;
}

SC_API VQRESULT srvspi_SecToBusy(SecObject object) {
  if (!Usable(object.magic, SEC_MAGIC, object.core)) return SRVSPI_E_SEC_INVALID_HANDLE;
  CoreLock hold(object.core);
  if (object.core->holders != 0) return SRVSPI_E_SEC_READ_ONLY;
  static constexpr uint32_t kFromFree[] = {SEC_STATE_FREE};
  const VQRESULT changed = srvspi_SecExToState(AsEx(object), kFromFree, 1, SEC_STATE_BUSY, nullptr);
  if (changed) return changed;
  ++object.core->holders;
  return 0;
}

SC_API VQRESULT srvspi_SecToReadOnly(SecObject object) {
  if (!Usable(object.magic, SEC_MAGIC, object.core)) return SRVSPI_E_SEC_INVALID_HANDLE;
  CoreLock hold(object.core);
  uint32_t state = 0;
  const VQRESULT got = srvspi_SecExGetState(AsEx(object), &state);
  if (got) return got;
  if (state == SEC_STATE_BUSY) return SRVSPI_E_SEC_READ_ONLY;
  ++object.core->holders;
  return 0;
}

SC_API VQRESULT srvspi_SecToFree(SecObject object) {
  if (!Usable(object.magic, SEC_MAGIC, object.core)) return SRVSPI_E_SEC_INVALID_HANDLE;
  CoreLock hold(object.core);
  uint32_t state = 0;
  const VQRESULT got = srvspi_SecExGetState(AsEx(object), &state);
  if (got) return got;
  // With no hold outstanding there is nothing to give back; the count must not wrap.
  if (object.core->holders == 0) return SRVSPI_E_SEC_WRONG_STATE;
  if (state == SEC_STATE_BUSY) {
    static constexpr uint32_t kFromBusy[] = {SEC_STATE_BUSY};
    const VQRESULT changed =
        srvspi_SecExToState(AsEx(object), kFromBusy, 1, SEC_STATE_FREE, nullptr);
    if (changed) return changed;
  }
  --object.core->holders;
  return 0;
}

SC_API VQRESULT srvspi_SpiGetVersion(uint32_t *version) {
  if (!version) return SRVSPI_E_ARRAY_INVALID_ARGUMENT;
  *version = 0x01000003u;
  return 0;
}

}  // extern "C"
