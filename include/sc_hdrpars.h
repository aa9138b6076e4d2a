/* hdrpars_: data header files. */
#ifndef SC_HDRPARS_H
#define SC_HDRPARS_H

#include "sc_common.h"

SC_EXTERN_C_BEGIN

SC_API const char *hdrpars_ErrorGetString(VQRESULT code);
SC_API const char *hdrpars_ErrorGetSubModuleName(VQRESULT code);
SC_API const char *hdrpars_ErrorGetModuleName(VQRESULT code);

SC_EXTERN_C_END

#endif /* SC_HDRPARS_H */
