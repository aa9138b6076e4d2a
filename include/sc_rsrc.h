/* rsrc_: resources, the client's context for everything it opens. */
#ifndef SC_RSRC_H
#define SC_RSRC_H

#include "sc_common.h"
#include "sc_rsrc_codes.h" /* the family's result codes by name (generated) */

SC_EXTERN_C_BEGIN

#define RESOURCE_MAGIC 7777u

typedef struct Resource {
  uint16_t mark; /* RESOURCE_MAGIC while the Resource lives */
  HeapInstance heap;
  LockInstance lock;
  uint32_t clientWord1;
  uint32_t clientWord2;
} Resource;

SC_API VQRESULT rsrc_Open(HeapInstance heap, LockInstance lock, uint32_t clientWord1,
                          uint32_t clientWord2, ResourceHandle *out);
SC_API VQRESULT rsrc_Close(ResourceHandle resource);
/* Resolves a resource handle; g_vqNullHandle gives the built-in default resource. */
SC_API VQRESULT InitRsrcFunction(ResourceHandle resource, Resource **out);

SC_API const char *rsrc_ErrorGetString(VQRESULT code);
SC_API const char *rsrc_ErrorGetSubModuleName(VQRESULT code);
SC_API const char *rsrc_ErrorGetModuleName(VQRESULT code);

SC_EXTERN_C_END

#endif /* SC_RSRC_H */
