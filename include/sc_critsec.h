/* critsec_: re-entrant locks. */
#ifndef SC_CRITSEC_H
#define SC_CRITSEC_H

#include "sc_common.h"
#include "sc_critsec_codes.h" /* the family's result codes by name (generated) */

SC_EXTERN_C_BEGIN

/* flags is accepted and not used (callers pass 0 or 1). */
SC_API VQRESULT critsec_ObjOpen(LockInstance lockInstance, HeapInstance heap, uint32_t flags,
                                LockValue *lock);
SC_API VQRESULT critsec_ObjClose(LockValue lock);
SC_API VQRESULT critsec_Enter(LockValue lock);
SC_API VQRESULT critsec_Leave(LockValue lock);
SC_API VQRESULT critsec_GetVersion(uint32_t *version);

SC_API const char *critsec_ErrorGetString(VQRESULT code);
SC_API const char *critsec_ErrorGetSubModuleName(VQRESULT code);
SC_API const char *critsec_ErrorGetModuleName(VQRESULT code);

SC_EXTERN_C_END

#endif /* SC_CRITSEC_H */
