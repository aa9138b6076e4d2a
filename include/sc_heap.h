/* heap_: allocation through a heap instance. */
#ifndef SC_HEAP_H
#define SC_HEAP_H

#include "sc_common.h"
#include "sc_heap_codes.h" /* the family's result codes by name (generated) */

SC_EXTERN_C_BEGIN

SC_API void *heap_Alloc(HeapInstance heap, size_t size);
SC_API void *heap_Calloc(HeapInstance heap, size_t count, size_t size);
/* On failure returns null and the old block stays valid. */
SC_API void *heap_Realloc(HeapInstance heap, void *block, size_t size);
SC_API void heap_Free(HeapInstance heap, void *block);
SC_API VQRESULT heap_GetVersion(uint32_t *version);

SC_API const char *heap_ErrorGetString(VQRESULT code);
SC_API const char *heap_ErrorGetSubModuleName(VQRESULT code);
SC_API const char *heap_ErrorGetModuleName(VQRESULT code);

SC_EXTERN_C_END

#endif /* SC_HEAP_H */
