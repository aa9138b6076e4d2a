/* edct_: exception dictionaries. */
#ifndef SC_EDCT_H
#define SC_EDCT_H

#include "sc_common.h"

SC_EXTERN_C_BEGIN

SC_API VQRESULT edct_GetVersion(uint32_t *version);

SC_API const char *edct_ErrorGetString(VQRESULT code);
SC_API const char *edct_ErrorGetSubModuleName(VQRESULT code);
SC_API const char *edct_ErrorGetModuleName(VQRESULT code);

SC_EXTERN_C_END

#endif /* SC_EDCT_H */
