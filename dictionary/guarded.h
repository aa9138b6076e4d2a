// What dictionaries, iterators and managers share as guarded objects behind safe handles.
#pragma once

#include <cstdint>

#include "foundation/live_set.h"
#include "foundation/resource.h"
#include "sc_edct.h"
#include "sc_safeh.h"
#include "sc_srvspi.h"

namespace sc::edct {

// Holds a guarded object's lock for one scope. It carries no thread-safety annotations: the
// lock is taken through srvspi_SecLock on a guard whose core is opaque here, the taking may be
// refused (result()), and BeginChange keeps the guard in an optional; the analysis can follow
// none of these, so the data of dictionaries, iterators and managers is not annotated either.
class GuardLock {
 public:
  explicit GuardLock(const SecObject &guard) : guard_(guard), result_(srvspi_SecLock(guard)) {}
  ~GuardLock() {
    if (!result_) srvspi_SecUnlock(guard_);
  }
  GuardLock(const GuardLock &) = delete;
  GuardLock &operator=(const GuardLock &) = delete;
  VQRESULT result() const { return result_; }

 private:
  SecObject guard_;
  VQRESULT result_;
};

// Resolves a handle to an open object of type T (one with `guard` and `resource`): checks the
// handle, that the object is still open, its guard, and that its Resource is alive. A closed
// object has left the set of open objects, so its memory is never read.
template <class T>
VQRESULT ResolveGuarded(SafeHandle handle, uint32_t tag, T **out) {
  const VQRESULT checked = safeh_HandleCheck(handle, tag, sizeof(T));
  if (checked) return checked;
  if (!live::Contains(handle.pointer, tag)) return SRVSPI_E_SEC_INVALID_HANDLE;
  auto *object = static_cast<T *>(handle.pointer);
  const VQRESULT valid = srvspi_SecValidate(object->guard, tag);
  if (valid) return valid;
  if (!ResourceAlive(object->resource)) return EDCT_E_INVALID_RESOURCE;
  *out = object;
  return 0;
}

// Opens a new object's guard and enters the object in the set of open objects.
inline VQRESULT OpenGuarded(ResourceHandle resource, uint32_t tag, const void *object,
                            SecObject *guard) {
  VQRESULT result = srvspi_SecOpen(resource, tag, guard);
  if (!result && !live::Add(object, tag)) {
    srvspi_SecClose(guard);
    result = EDCT_E_OUT_OF_MEMORY;
  }
  return result;
}

// The last step of a close, once the object (locked through `guard`, a copy of its guard) has
// left the set of open objects and been freed.
inline VQRESULT CloseGuardCopy(SecObject guard) {
  srvspi_SecUnlock(guard);
  return srvspi_SecClose(&guard);
}

}  // namespace sc::edct
