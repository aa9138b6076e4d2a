// The record behind a critsec_ lock value, shared with the guarded objects so that their
// lock round trip goes straight to the lock.
#pragma once

#include "platform/lock.h"
#include "sc_common.h"

namespace sc {

struct LockRecord {
  plat::RecursiveLock lock;
  HeapInstance heap;
};

inline LockRecord *RecordOf(LockValue value) {
  return reinterpret_cast<LockRecord *>(value);
}
inline LockValue ValueOf(LockRecord *record) {
  return reinterpret_cast<LockValue>(record);
}

}  // namespace sc
