/* dbg_: trace, debug data files, timing and assertions. */
#ifndef SC_DBG_H
#define SC_DBG_H

#include "sc_common.h"

SC_EXTERN_C_BEGIN

SC_API void dbg_GetVersion(uint32_t *version);

SC_EXTERN_C_END

#endif /* SC_DBG_H */
