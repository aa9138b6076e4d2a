/* Result-code texts shared by every family. */
#ifndef SC_VQ_H
#define SC_VQ_H

#include "sc_common.h"

SC_EXTERN_C_BEGIN

/* Text of a general reason ("Succes." for 0). Never null; the text is the library's. */
SC_API const char *vq_ErrorGetString(VQRESULT code);
/* Name of the module in bits 16-30 of the code, "Unknown Module" for an unknown id. */
SC_API const char *vq_ErrorGetModuleName(VQRESULT code);

SC_EXTERN_C_END

#endif /* SC_VQ_H */
