// Keys for C callers: a UTF-8 string made into the NUL-terminated UTF-16 key the dictionaries
// take, through the dictionaries' one UTF-8 conversion, so that a key typed in a UTF-8 text
// stream and the same bytes given here are the same key.
#include <cstring>

#include "foundation/resource.h"
#include "platform/text.h"
#include "sc_edct.h"
#include "sc_heap.h"

extern "C" {

SC_API VQRESULT edct_KeyFromUTF8(const char *text, char16_t **key) {
  if (!key) return EDCT_E_NULL_POINTER;
  *key = nullptr;
  if (!text) return EDCT_E_NULL_POINTER;
  // The conversion counts in 32 bits; a unit never takes less than a byte.
  if (std::strlen(text) >= UINT32_MAX) return EDCT_E_OUT_OF_RANGE;
  const uint32_t units = sc::plat::UTF8WcsSize(text);
  auto *converted = static_cast<char16_t *>(
      heap_Alloc(sc::DefaultResource()->heap, size_t{units} * sizeof(char16_t)));
  if (!converted) return EDCT_E_OUT_OF_MEMORY;
  sc::plat::UTF8ToWcs(text, converted);
  *key = converted;
  return 0;
}

SC_API VQRESULT edct_KeyFree(char16_t *key) {
  if (!key) return EDCT_E_NULL_POINTER;
  heap_Free(sc::DefaultResource()->heap, key);
  return 0;
}

}  // extern "C"
