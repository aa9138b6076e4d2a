/* srvspi_: guarded objects, growable arrays and memory blocks. */
#ifndef SC_SRVSPI_H
#define SC_SRVSPI_H

#include "sc_common.h"
#include "sc_srvspi_codes.h" /* the family's result codes by name (generated) */
#include "sc_rsrc.h"

SC_EXTERN_C_BEGIN

/* ---- Guarded objects ------------------------------------------------------------------ */

#define SECEX_MAGIC 0x0F0F0000u
#define SEC_MAGIC 0x0E0E0000u
#define SEC_STATE_FREE 0xFFFEu
#define SEC_STATE_BUSY 0xFFFFu

typedef struct SecCore SecCore;

/* Four words kept by value inside the client's own object. */
typedef struct SecExObject {
  uint32_t magic;
  uint32_t owner;
  SecCore *core;
  Resource *resource;
} SecExObject;

typedef struct SecObject {
  uint32_t magic;
  uint32_t owner;
  SecCore *core;
  Resource *resource;
} SecObject;

SC_API VQRESULT srvspi_SecExOpen(ResourceHandle resource, uint32_t owner, uint32_t initialState,
                                 SecExObject *out);
SC_API VQRESULT srvspi_SecExClose(SecExObject *object);
SC_API VQRESULT srvspi_SecExValidate(SecExObject object, uint32_t owner);
SC_API VQRESULT srvspi_SecExGetState(SecExObject object, uint32_t *state);
SC_API VQRESULT srvspi_SecExLock(SecExObject object);
SC_API VQRESULT srvspi_SecExUnlock(SecExObject object);
SC_API VQRESULT srvspi_SecExToState(SecExObject object, const uint32_t *allowed, uint32_t count,
                                    uint32_t newState, uint32_t *oldState);

SC_API VQRESULT srvspi_SecOpen(ResourceHandle resource, uint32_t owner, SecObject *out);
SC_API VQRESULT srvspi_SecClose(SecObject *object);
SC_API VQRESULT srvspi_SecValidate(SecObject object, uint32_t owner);
SC_API VQRESULT srvspi_SecLock(SecObject object);
SC_API VQRESULT srvspi_SecUnlock(SecObject object);
SC_API VQRESULT srvspi_SecToBusy(SecObject object);
SC_API VQRESULT srvspi_SecToReadOnly(SecObject object);
SC_API VQRESULT srvspi_SecToFree(SecObject object);

/* ---- Arrays ---------------------------------------------------------------------------- */

typedef struct SrvArray {
  uint32_t count;
  uint32_t capacity;
  uint32_t elementSize;
  void *data;
  Resource *resource;
} SrvArray;

/* Walk callback: (element, user value); a failure stops the walk. */
typedef VQRESULT (*SrvArrayWalkFn)(void *element, void *user);
/* Comparator: (key, element, user value); 0 = match, other success = no match, failure = abort. */
typedef VQRESULT (*SrvArrayCompareFn)(uint32_t key, void *element, void *user);

SC_API VQRESULT srvspi_ArrayInit(ResourceHandle resource, uint32_t elementSize, SrvArray *array);
SC_API VQRESULT srvspi_ArrayDeinit(SrvArray *array);
SC_API VQRESULT srvspi_ArrayClear(SrvArray *array);
SC_API VQRESULT srvspi_ArrayCount(const SrvArray *array, uint32_t *count);
SC_API VQRESULT srvspi_ArrayClone(const SrvArray *source, SrvArray *destination);
SC_API VQRESULT srvspi_ArrayResize(SrvArray *array, int32_t capacity);
SC_API VQRESULT srvspi_ArrayAdd(SrvArray *array, const void *element);
SC_API VQRESULT srvspi_ArrayPush(SrvArray *array, const void *element);
SC_API VQRESULT srvspi_ArrayRemove(SrvArray *array, uint32_t index);
SC_API VQRESULT srvspi_ArrayAt(SrvArray *array, uint32_t index, void **element);
SC_API VQRESULT srvspi_ArrayBegin(SrvArray *array, void **cursor);
SC_API VQRESULT srvspi_ArrayNext(SrvArray *array, void **cursor);
SC_API VQRESULT srvspi_ArrayPop(SrvArray *array, void **element);
SC_API VQRESULT srvspi_ArrayTop(SrvArray *array, void **element);
SC_API VQRESULT srvspi_ArrayForEach(SrvArray *array, SrvArrayWalkFn callback, void *user);
SC_API VQRESULT srvspi_ArrayFind(SrvArray *array, uint32_t key, SrvArrayCompareFn compare,
                                 void *user, uint32_t *index);

/* ---- Memory blocks --------------------------------------------------------------------- */

typedef struct SrvMemblock {
  uint32_t used;
  uint32_t size;
  void *base; /* null in a measuring block */
} SrvMemblock;

SC_API VQRESULT srvspi_MemblockInit(SrvMemblock *block, uint32_t size, void *base);
SC_API VQRESULT srvspi_MemblockAlign(SrvMemblock *block, uint32_t alignment);
SC_API VQRESULT srvspi_MemblockAlloc(SrvMemblock *block, uint32_t count, void **pointer);
SC_API VQRESULT srvspi_MemblockRead(SrvMemblock *block, uint32_t count, void **pointer);
SC_API VQRESULT srvspi_MemblockGetUsed(const SrvMemblock *block, uint32_t *used);
SC_API VQRESULT srvspi_MemblockGetBegin(const SrvMemblock *block, void **base);

SC_API VQRESULT srvspi_SpiGetVersion(uint32_t *version);

SC_API const char *srvspi_ErrorGetString(VQRESULT code);
SC_API const char *srvspi_ErrorGetSubModuleName(VQRESULT code);
SC_API const char *srvspi_ErrorGetModuleName(VQRESULT code);

SC_EXTERN_C_END

#endif /* SC_SRVSPI_H */
