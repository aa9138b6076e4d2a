#include "sc_dbg.h"

extern "C" SC_API void dbg_GetVersion(uint32_t *version) {
  if (version) *version = 0x01010001u;
}
