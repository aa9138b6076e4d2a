#include "platform/probe.h"
#include "sc_osspi.h"

extern "C" {

SC_API VQRESULT osspi_IsGoodReadPtr(const void *pointer, size_t size) {
  if (!pointer) return OSSPI_E_NULL_POINTER;
  return sc::plat::CanRead(pointer, size) ? 0 : OSSPI_E_INVALID_READ_POINTER;
}

SC_API VQRESULT osspi_IsGoodWritePtr(void *pointer, size_t size) {
  if (!pointer) return OSSPI_E_NULL_POINTER;
  return sc::plat::CanWrite(pointer, size) ? 0 : OSSPI_E_INVALID_WRITE_POINTER;
}

SC_API VQRESULT osspi_IsGoodStringPtr(const char *string, size_t maxLength) {
  if (!string) return OSSPI_E_NULL_POINTER;
  return sc::plat::CanReadString(string, maxLength) ? 0 : OSSPI_E_INVALID_STRING_POINTER;
}

SC_API VQRESULT osspi_SpiGetVersion(uint32_t *version) {
  if (!version) return OSSPI_E_NULL_POINTER;
  *version = 0x01010002u;
  return 0;
}

}  // extern "C"
