/* osspi_: probes of whether memory may be read or written. They never fault. */
#ifndef SC_OSSPI_H
#define SC_OSSPI_H

#include "sc_common.h"
#include "sc_osspi_codes.h" /* the family's result codes by name (generated) */

SC_EXTERN_C_BEGIN

SC_API VQRESULT osspi_IsGoodReadPtr(const void *pointer, size_t size);
SC_API VQRESULT osspi_IsGoodWritePtr(void *pointer, size_t size);
/* Readable up to its NUL or up to maxLength characters, whichever comes first. */
SC_API VQRESULT osspi_IsGoodStringPtr(const char *string, size_t maxLength);
SC_API VQRESULT osspi_SpiGetVersion(uint32_t *version);

SC_API const char *osspi_ErrorGetString(VQRESULT code);
SC_API const char *osspi_ErrorGetSubModuleName(VQRESULT code);
SC_API const char *osspi_ErrorGetModuleName(VQRESULT code);

SC_EXTERN_C_END

#endif /* SC_OSSPI_H */
