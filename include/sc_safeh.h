/* safeh_: checks of safe handles. */
#ifndef SC_SAFEH_H
#define SC_SAFEH_H

#include "sc_common.h"
#include "sc_safeh_codes.h" /* the family's result codes by name (generated) */

SC_EXTERN_C_BEGIN

/* The null handle {null, 0}. */
SC_API extern const SafeHandle g_vqNullHandle;

SC_API VQRESULT safeh_HandleCheck(SafeHandle handle, uint32_t expectedCheck, size_t objectSize);
/* 1 when pointer and check value are both equal, else 0. */
SC_API int safeh_HandlesEqual(SafeHandle first, SafeHandle second);

SC_API const char *safeh_ErrorGetString(VQRESULT code);
SC_API const char *safeh_ErrorGetSubModuleName(VQRESULT code);
SC_API const char *safeh_ErrorGetModuleName(VQRESULT code);

SC_EXTERN_C_END

#endif /* SC_SAFEH_H */
