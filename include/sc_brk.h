/* brk_: the component broker. */
#ifndef SC_BRK_H
#define SC_BRK_H

#include "sc_common.h"

SC_EXTERN_C_BEGIN

SC_API const char *brk_ErrorGetString(VQRESULT code);
SC_API const char *brk_ErrorGetSubModuleName(VQRESULT code);

SC_EXTERN_C_END

#endif /* SC_BRK_H */
