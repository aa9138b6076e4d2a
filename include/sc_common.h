/* Shared definitions of every speechcommon family: the export macro, result codes,
 * safe handles and the value types of heaps and locks. */
#ifndef SC_COMMON_H
#define SC_COMMON_H

#include <stddef.h>
#include <stdint.h>
#ifndef __cplusplus
#include <uchar.h>
#endif

#if defined(SC_BUILDING_LIBRARY)
#define SC_API __attribute__((visibility("default")))
#else
#define SC_API
#endif

#ifdef __cplusplus
#define SC_EXTERN_C_BEGIN extern "C" {
#define SC_EXTERN_C_END }
#else
#define SC_EXTERN_C_BEGIN
#define SC_EXTERN_C_END
#endif

SC_EXTERN_C_BEGIN

/* A result code: bit 31 failure, bits 16-30 module, 8-15 submodule, bit 7 general, 0-6 reason. */
typedef uint32_t VQRESULT;

#define VQ_FAILED(code) ((uint32_t)(code) >= 0x80000000u)
#define VQ_SUCCEEDED(code) ((uint32_t)(code) < 0x80000000u)
#define VQ_MODULE(code) (((uint32_t)(code) >> 16) & 0x7FFFu)
#define VQ_SUBMODULE(code) (((uint32_t)(code) >> 8) & 0xFFu)
#define VQ_IS_GENERAL(code) ((((uint32_t)(code)) & 0x80u) != 0)
#define VQ_REASON(code) ((uint32_t)(code)&0x7Fu)

/* Module ids of the library's families. */
#define VQ_MODULE_SRVSPI 1
#define VQ_MODULE_OSSPI 6
#define VQ_MODULE_DBG 9
#define VQ_MODULE_HEAP 11
#define VQ_MODULE_CRITSEC 20
#define VQ_MODULE_BRK 21
#define VQ_MODULE_RSRC 22
#define VQ_MODULE_SAFEH 23
#define VQ_MODULE_EDCT 30
#define VQ_MODULE_HDRPARS 34

/* A heap instance names the heap an allocation comes from; a lock instance is what a
 * Resource hands to critsec_ObjOpen; a lock value leads to an open lock record.
 * All three may lead to objects, so they are pointer-sized. */
typedef uintptr_t HeapInstance;
typedef uintptr_t LockInstance;
typedef uintptr_t LockValue;

/* The two words of a safe handle travel together, by value. */
typedef struct SafeHandle {
  void *pointer;
  uint32_t check;
} SafeHandle;

typedef SafeHandle ResourceHandle;

SC_EXTERN_C_END

#endif /* SC_COMMON_H */
