/**
 * @file sc_common.h
 * Definitions shared by every family: the export macro, result codes and their fields, the
 * module ids, safe handles and the value types of heaps and locks.
 *
 * Every function of the library that reports an outcome returns a ::VQRESULT. 0 is success;
 * a code with bit 31 set is a failure. Two successes carry information
 * (#SRVSPI_S_ARRAY_NOT_FOUND, #SRVSPI_S_ARRAY_NO_ELEMENT, both with the failure bit clear), so
 * test with VQ_FAILED() rather than comparing with 0 where a function documents one. Each
 * family names its codes in its own header (`<FAMILY>_E_<REASON>`, `<FAMILY>_S_<REASON>`);
 * a family that passes on the codes of another (the dictionaries those of `srvspi_`,
 * `osspi_`, `rsrc_` and `safeh_`, the broker those of `hdrpars_`) leaves them unchanged, under
 * their own names.
 *
 * Strings: an 8-bit string (`char`) is UTF-8, a wide string is NUL-terminated UTF-16 in
 * `char16_t` units (never `wchar_t`). Paths go through unchanged.
 */
#ifndef SC_COMMON_H
#define SC_COMMON_H

#include <stddef.h>
#include <stdint.h>
#ifndef __cplusplus
#include <uchar.h>
#endif

/** Marks a name that the library exports; every public function and constant carries it. */
#if defined(SC_BUILDING_LIBRARY)
#define SC_API __attribute__((visibility("default")))
#else
#define SC_API
#endif

#ifdef __cplusplus
#define SC_EXTERN_C_BEGIN extern "C" {
#define SC_EXTERN_C_END }
#else
/** Opens the C linkage block of a header: `extern "C" {` in C++, nothing in C. */
#define SC_EXTERN_C_BEGIN
/** Closes the C linkage block of a header. */
#define SC_EXTERN_C_END
#endif

SC_EXTERN_C_BEGIN

/**
 * A result code: bit 31 failure, bits 16-30 module id, bits 8-15 submodule, bit 7 general
 * flag (the reason is one shared by all families), bits 0-6 reason. 0 is success.
 */
typedef uint32_t VQRESULT;

/** Nonzero when the code is a failure (bit 31 set). */
#define VQ_FAILED(code) ((uint32_t)(code) >= 0x80000000u)
/** Nonzero when the code is a success: 0 or an informational success. */
#define VQ_SUCCEEDED(code) ((uint32_t)(code) < 0x80000000u)
/** The module id of a code (bits 16-30): one of the `VQ_MODULE_` values for this library. */
#define VQ_MODULE(code) (((uint32_t)(code) >> 16) & 0x7FFFu)
/** The submodule of a code (bits 8-15): the unit of the family that produced it. */
#define VQ_SUBMODULE(code) (((uint32_t)(code) >> 8) & 0xFFu)
/** Nonzero when the reason of a code is a general one, shared by all families (bit 7). */
#define VQ_IS_GENERAL(code) ((((uint32_t)(code)) & 0x80u) != 0)
/** The reason of a code (bits 0-6), a general or a family's own one by VQ_IS_GENERAL(). */
#define VQ_REASON(code) ((uint32_t)(code)&0x7Fu)

/** Module id of `srvspi_`: guarded objects (submodule 1), arrays and memory blocks (2). */
#define VQ_MODULE_SRVSPI 1
/** Module id of `osspi_`, the memory probes. */
#define VQ_MODULE_OSSPI 6
/** Module id of `dbg_`, the trace facility (which returns no result codes). */
#define VQ_MODULE_DBG 9
/** Module id of `heap_`. */
#define VQ_MODULE_HEAP 11
/** Module id of `critsec_`, the re-entrant locks. */
#define VQ_MODULE_CRITSEC 20
/** Module id of `brk_`, the component broker. */
#define VQ_MODULE_BRK 21
/** Module id of `rsrc_` and InitRsrcFunction(), the resources. */
#define VQ_MODULE_RSRC 22
/** Module id of `safeh_`, the safe-handle checks. */
#define VQ_MODULE_SAFEH 23
/** Module id of `edct_`, the exception dictionaries. */
#define VQ_MODULE_EDCT 30
/** Module id of `hdrpars_`, the data header files. */
#define VQ_MODULE_HDRPARS 34

/**
 * Names the heap an allocation comes from: the heap word of a Resource (0 in the default
 * resource). Every instance is served by the process allocator; a block is freed with the
 * instance that allocated it. Pointer-sized, since an instance may lead to an object.
 */
typedef uintptr_t HeapInstance;
/** What a Resource hands to critsec_ObjOpen() for every lock made on its behalf (unused). */
typedef uintptr_t LockInstance;
/** An open re-entrant lock, as critsec_ObjOpen() hands it out; opaque to its users. */
typedef uintptr_t LockValue;

/**
 * A handle to an object of the library: the object's address and a check value that names
 * its kind. It travels by value, as one argument; out handles are `SafeHandle *`.
 * ::g_vqNullHandle is the null handle {NULL, 0}.
 */
typedef struct SafeHandle {
  /** The object; null in the null handle. */
  void *pointer;
  /** The kind of object (RESOURCE_MAGIC, EDCT_DCT_TAG, ...); 0 in the null handle. */
  uint32_t check;
} SafeHandle;

/**
 * A handle to a Resource (check value RESOURCE_MAGIC), as rsrc_Open() hands it out, or
 * ::g_vqNullHandle for the library's default resource.
 */
typedef SafeHandle ResourceHandle;

SC_EXTERN_C_END

#endif /* SC_COMMON_H */
