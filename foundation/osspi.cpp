#include "foundation/codes.h"
#include "platform/probe.h"
#include "sc_osspi.h"

extern "C" {

SC_API VQRESULT osspi_IsGoodReadPtr(const void *pointer, size_t size) {
  if (!pointer) return sc::code::kOsspiNullPointer;
  return sc::plat::CanRead(pointer, size) ? 0 : sc::code::kOsspiBadRead;
}

SC_API VQRESULT osspi_IsGoodWritePtr(void *pointer, size_t size) {
  if (!pointer) return sc::code::kOsspiNullPointer;
  return sc::plat::CanWrite(pointer, size) ? 0 : sc::code::kOsspiBadWrite;
}

SC_API VQRESULT osspi_IsGoodStringPtr(const char *string, size_t maxLength) {
  if (!string) return sc::code::kOsspiNullPointer;
  return sc::plat::CanReadString(string, maxLength) ? 0 : sc::code::kOsspiBadString;
}

SC_API VQRESULT osspi_SpiGetVersion(uint32_t *version) {
  if (!version) return sc::code::kOsspiNullPointer;
  *version = 0x01010002u;
  return 0;
}

}  // extern "C"
