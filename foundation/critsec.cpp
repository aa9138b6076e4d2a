#include "foundation/heap_ptr.h"
#include "foundation/lock_record.h"
#include "sc_critsec.h"
#include "sc_heap.h"

using sc::LockRecord;
using sc::RecordOf;

extern "C" {

SC_API VQRESULT critsec_ObjOpen(LockInstance, HeapInstance heap, uint32_t, LockValue *lock) {
  if (!lock) return CRITSEC_E_NULL_POINTER;
  auto record = sc::Owned(heap, static_cast<LockRecord *>(heap_Alloc(heap, sizeof(LockRecord))));
  if (!record) return CRITSEC_E_OUT_OF_MEMORY;
  record->heap = heap;
  if (!sc::plat::LockInit(&record->lock)) return CRITSEC_E_UNEXPECTED;
  *lock = reinterpret_cast<LockValue>(record.release());
  return 0;
}

SC_API VQRESULT critsec_ObjClose(LockValue lock) {
  LockRecord *record = RecordOf(lock);
  if (!record) return 0;
  sc::plat::LockDestroy(&record->lock);
  heap_Free(record->heap, record);
  return 0;
}

// A lock entered here is held until critsec_Leave, across calls the analysis (one function at
// a time) cannot follow.
SC_API VQRESULT critsec_Enter(LockValue lock) SC_NO_THREAD_SAFETY_ANALYSIS {
  if (lock) sc::plat::LockEnter(&RecordOf(lock)->lock);
  return 0;
}

SC_API VQRESULT critsec_Leave(LockValue lock) SC_NO_THREAD_SAFETY_ANALYSIS {
  if (lock) sc::plat::LockLeave(&RecordOf(lock)->lock);
  return 0;
}

SC_API VQRESULT critsec_GetVersion(uint32_t *version) {
  if (!version) return CRITSEC_E_NULL_POINTER;
  *version = 0x01000002u;
  return 0;
}

}  // extern "C"
