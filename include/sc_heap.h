/**
 * @file sc_heap.h
 * `heap_`: allocation through a heap instance.
 *
 * Every allocation the library makes on behalf of a Resource goes through these functions
 * with the Resource's heap instance, and so may the client's. Every instance is served by the
 * process allocator (a heap instance selects no heap of its own), but a block is always freed
 * or resized with the instance that allocated it. Exhaustion is reported by a null pointer,
 * never by an exception; the library turns it into its families' `..._E_OUT_OF_MEMORY` codes.
 *
 * No lock is taken beyond the process allocator's own: every function may be called from any
 * thread.
 */
#ifndef SC_HEAP_H
#define SC_HEAP_H

#include "sc_common.h"
#include "sc_heap_codes.h" /* the family's result codes by name (generated) */

SC_EXTERN_C_BEGIN

/**
 * Allocates an uninitialised block.
 *
 * @param[in] heap The heap instance (a Resource's, or 0 for the default resource's).
 * @param[in] size Size in bytes; 0 gives a distinct block of its own all the same.
 * @return The block, to be freed with heap_Free() on the same instance; null when memory is
 *     exhausted.
 * @threadsafety Any thread.
 */
SC_API void *heap_Alloc(HeapInstance heap, size_t size);

/**
 * Allocates a zeroed block of @p count elements of @p size bytes.
 *
 * @param[in] heap The heap instance.
 * @param[in] count Number of elements.
 * @param[in] size Size of one element in bytes.
 * @return The block of count times size zero bytes (a distinct block when either is 0), to be
 *     freed with heap_Free() on the same instance; null when memory is exhausted or the
 *     product does not fit the address space.
 * @threadsafety Any thread.
 */
SC_API void *heap_Calloc(HeapInstance heap, size_t count, size_t size);

/**
 * Resizes a block, keeping its bytes up to the smaller of the old and the new size.
 *
 * @param[in] heap The instance that allocated @p block.
 * @param[in] block The block, or null to allocate a new one.
 * @param[in] size The new size in bytes.
 * @return The resized block, which may have moved (the old address is then invalid); null
 *     when memory is exhausted.
 * @threadsafety Any thread, on a block no other thread uses meanwhile.
 * @onfailure Null is returned and @p block stays valid and unchanged.
 */
SC_API void *heap_Realloc(HeapInstance heap, void *block, size_t size);

/**
 * Frees a block.
 *
 * @param[in] heap The instance that allocated @p block.
 * @param[in] block A block from heap_Alloc(), heap_Calloc() or heap_Realloc(), or null, which
 *     is accepted and does nothing.
 * @threadsafety Any thread.
 */
SC_API void heap_Free(HeapInstance heap, void *block);

/**
 * The interface revision of `heap_`: 0x01000002. A revision is a number to compare for
 * equality with the one a client was built for; its bytes carry no further meaning.
 *
 * @param[out] version Receives the revision.
 * @retval 0 Written.
 * @retval HEAP_E_NULL_POINTER @p version is null.
 * @threadsafety Any thread.
 */
SC_API VQRESULT heap_GetVersion(uint32_t *version);

/**
 * The text of a code as `heap_` reads it.
 *
 * @param[in] code Any result code; its module id is not looked at.
 * @return "Success" for any success; vq_ErrorGetString() for a general reason; "Unknown error"
 *     for any other failure (`heap_` has no reasons of its own). A constant of the library.
 * @threadsafety Any thread.
 */
SC_API const char *heap_ErrorGetString(VQRESULT code);

/**
 * The name of the submodule of a `heap_` code.
 *
 * @param[in] code Any result code.
 * @return "heap" for submodule 1 of module #VQ_MODULE_HEAP, "Unknown SubModule" for another
 *     submodule, "Wrong Module" for a code of another module. A constant of the library.
 * @threadsafety Any thread.
 */
SC_API const char *heap_ErrorGetSubModuleName(VQRESULT code);

/**
 * The module name of a code; the same as vq_ErrorGetModuleName().
 *
 * @param[in] code Any result code.
 * @return The module's name, "Unknown Module" when the id is unknown.
 * @threadsafety Any thread.
 */
SC_API const char *heap_ErrorGetModuleName(VQRESULT code);

SC_EXTERN_C_END

#endif /* SC_HEAP_H */
