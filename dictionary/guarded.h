// What dictionaries, iterators and managers share as guarded objects behind safe handles: a
// handle resolves to an open object that is held for the call (so it cannot be freed under
// it), and the object's lock is taken; an object closed while the call waited for its lock
// is refused. Each kind's finaliser frees what a close left once the last call has gone.
#pragma once

#include <cstdint>

#include "foundation/live_set.h"
#include "foundation/resource.h"
#include "sc_edct.h"
#include "sc_osspi.h"
#include "sc_safeh.h"
#include "sc_srvspi.h"

namespace sc::edct {

// A handle resolved to an open object of type T (one with `guard` and `resource`) and held
// for one scope. The set of open objects answers for the objects the library made; only a
// handle it does not know is probed, to tell bad memory from a closed or foreign object.
template <class T>
class Held {
 public:
  Held(SafeHandle handle, uint32_t tag) : result_(Resolve(handle, tag)) {}

  VQRESULT result() const { return result_; }
  explicit operator bool() const { return result_ == 0; }
  T *get() const { return hold_.get(); }
  T *operator->() const { return hold_.get(); }
  T &operator*() const { return *hold_.get(); }
  live::Entry *entry() const { return hold_.entry(); }

 private:
  VQRESULT Resolve(SafeHandle handle, uint32_t tag) {
    if (handle.check != tag || !handle.pointer) return SAFEH_E_INVALID_HANDLE;
    hold_ = live::Held<T>(handle.pointer, tag);
    if (!hold_) {
      const VQRESULT checked = safeh_HandleCheck(handle, tag, sizeof(T));
      return checked ? checked : SRVSPI_E_SEC_INVALID_HANDLE;
    }
    const VQRESULT valid = srvspi_SecValidate(hold_->guard, tag);
    if (valid) return valid;
    return ResourceAlive(hold_->resource) ? 0 : EDCT_E_INVALID_RESOURCE;
  }

  live::Held<T> hold_;
  VQRESULT result_;
};

// The lock of a held object for one scope (nothing when guard is null). Refused, with the
// lock left, when the object was closed while the call waited for it (an object known to
// stay open passes no entry).
class ObjectLock {
 public:
  ObjectLock(const SecObject *guard, const live::Entry *entry) : guard_(guard) {
    if (!guard_) return;
    result_ = srvspi_SecLock(*guard_);
    if (result_) {
      guard_ = nullptr;
    } else if (entry && live::IsClosing(entry)) {
      srvspi_SecUnlock(*guard_);
      guard_ = nullptr;
      result_ = SRVSPI_E_SEC_INVALID_HANDLE;
    }
  }
  ~ObjectLock() {
    if (guard_) srvspi_SecUnlock(*guard_);
  }
  ObjectLock(const ObjectLock &) = delete;
  ObjectLock &operator=(const ObjectLock &) = delete;
  VQRESULT result() const { return result_; }

 private:
  const SecObject *guard_;
  VQRESULT result_ = 0;
};

// Held and locked for one scope: what every operation on one object starts with.
template <class T>
class Locked {
 public:
  Locked(SafeHandle handle, uint32_t tag)
      : held_(handle, tag), lock_(held_ ? &held_->guard : nullptr, held_.entry()) {}

  VQRESULT result() const { return held_.result() ? held_.result() : lock_.result(); }
  explicit operator bool() const { return result() == 0; }
  T *get() const { return held_.get(); }
  T *operator->() const { return held_.get(); }
  T &operator*() const { return *held_.get(); }
  // Marks the object closing: every later call is refused, and its finaliser runs when the
  // last call holding it has left.
  void Close() { live::Close(held_.entry()); }

 private:
  Held<T> held_;
  ObjectLock lock_;
};

// Enters a newly built object in the set of open objects, its guard opened over the
// resource handle. On failure nothing of the guard remains and the caller frees the object.
inline VQRESULT OpenGuarded(ResourceHandle resource, uint32_t tag, void *object, SecObject *guard,
                            live::Finalize finalize) {
  VQRESULT result = srvspi_SecOpen(resource, tag, guard);
  if (!result && !live::Add(object, tag, finalize)) {
    srvspi_SecClose(guard);
    result = EDCT_E_OUT_OF_MEMORY;
  }
  return result;
}

// Out pointers of an operation: a null one gives EDCT_E_NULL_POINTER, one that cannot be
// written the probe's refusal. Nothing is written.
template <class... Out>
VQRESULT CheckOut(Out *...out) {
  if ((!out || ...)) return EDCT_E_NULL_POINTER;
  VQRESULT result = 0;
  ((result = result ? result : osspi_IsGoodWritePtr(out, sizeof(Out))), ...);
  return result;
}

}  // namespace sc::edct
