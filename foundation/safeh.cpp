#include "platform/probe.h"
#include "sc_osspi.h"
#include "sc_safeh.h"

extern "C" {

SC_API extern const SafeHandle g_vqNullHandle;
const SafeHandle g_vqNullHandle = {nullptr, 0};

SC_API VQRESULT safeh_HandleCheck(SafeHandle handle, uint32_t expectedCheck, size_t objectSize) {
  if (handle.check != expectedCheck || !handle.pointer) return SAFEH_E_INVALID_HANDLE;
  // One probe answers the common case; the two separate probes only name the failure.
  if (sc::plat::CanWrite(handle.pointer, objectSize)) return 0;
  const VQRESULT readable = osspi_IsGoodReadPtr(handle.pointer, objectSize);
  if (readable) return readable;
  return osspi_IsGoodWritePtr(handle.pointer, objectSize);
}

SC_API int safeh_HandlesEqual(SafeHandle first, SafeHandle second) {
  return first.check == second.check && first.pointer == second.pointer;
}

}  // extern "C"
