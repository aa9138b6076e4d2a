/**
 * @file sc_rsrc.h
 * `rsrc_`: resources, the client's context for everything it opens.
 *
 * A Resource names the heap instance that every allocation made on its behalf comes from and
 * the lock instance its locks are made with. Every open that takes a ::ResourceHandle
 * (srvspi_ArrayInit(), srvspi_SecOpen(), brk_ClassOpenEx(), edct_DctOpen(), edct_DctItOpen(),
 * edct_DctMgrOpen()) resolves it with InitRsrcFunction(); ::g_vqNullHandle selects the
 * built-in default resource (heap instance 0, lock instance 0), which needs no opening. The
 * objects so opened keep the Resource: close them all before closing the Resource.
 *
 * The handle of a closed Resource is refused (#RSRC_E_INVALID_RESOURCE) without its memory
 * being read, and so is an object of the dictionaries that was opened with it
 * (#EDCT_E_INVALID_RESOURCE). Opening and closing take no lock; a Resource may be used by
 * several threads at once, but closing it while another thread opens something with it is a
 * caller error.
 */
#ifndef SC_RSRC_H
#define SC_RSRC_H

#include "sc_common.h"
#include "sc_rsrc_codes.h" /* the family's result codes by name (generated) */

SC_EXTERN_C_BEGIN

/** The check value of a ::ResourceHandle, and the mark of a Resource while it lives. */
#define RESOURCE_MAGIC 7777u

/**
 * A Resource, as InitRsrcFunction() hands it out. The library fills it at rsrc_Open(); a
 * client reads it and never changes it.
 */
typedef struct Resource {
  uint16_t mark;     /**< RESOURCE_MAGIC while the Resource lives, 0 once closed. */
  HeapInstance heap; /**< The heap instance of every allocation made on its behalf. */
  LockInstance lock; /**< Handed to critsec_ObjOpen() for every lock made on its behalf. */
  /** The client's own word, as given to rsrc_Open(); the library never reads it. */
  uint32_t clientWord1;
  /** The client's second word, the same. */
  uint32_t clientWord2;
} Resource;

/**
 * Opens a Resource.
 *
 * @param[in] heap The heap instance for everything opened with the Resource, and for the
 *     Resource itself.
 * @param[in] lock The lock instance for every lock made on its behalf.
 * @param[in] clientWord1 Kept for the client (Resource::clientWord1).
 * @param[in] clientWord2 Kept for the client (Resource::clientWord2).
 * @param[out] out Receives the handle, to be closed with rsrc_Close() after every object
 *     opened with it.
 * @retval 0 Opened.
 * @retval OSSPI_E_NULL_POINTER @p out is null; nothing is allocated.
 * @retval OSSPI_E_INVALID_WRITE_POINTER @p out may not be written.
 * @retval RSRC_E_OUT_OF_MEMORY The Resource cannot be allocated.
 * @threadsafety Any thread.
 * @onfailure @p out is not written and nothing stays allocated.
 */
SC_API VQRESULT rsrc_Open(HeapInstance heap, LockInstance lock, uint32_t clientWord1,
                          uint32_t clientWord2, ResourceHandle *out);

/**
 * Closes a Resource: clears its mark and frees it with its own heap instance. Its handle is
 * refused from then on.
 *
 * @param[in] resource A handle from rsrc_Open(); ::g_vqNullHandle is accepted and leaves the
 *     default resource as it is.
 * @return 0, or a failure of InitRsrcFunction() (#RSRC_E_INVALID_RESOURCE for a handle of no
 *     open Resource, a closed one included; #OSSPI_E_INVALID_READ_POINTER or
 *     #OSSPI_E_INVALID_WRITE_POINTER for a pointer to unusable memory).
 * @threadsafety Any thread, once no other thread uses the Resource.
 * @onfailure Nothing is freed.
 */
SC_API VQRESULT rsrc_Close(ResourceHandle resource);

/**
 * Resolves a resource handle to its Resource.
 *
 * @param[in] resource A handle from rsrc_Open(), or ::g_vqNullHandle for the default resource
 *     (returned without probing any memory).
 * @param[out] out Receives the Resource, which stays the library's: valid until rsrc_Close()
 *     (the default resource, as long as the library is loaded).
 * @retval 0 Resolved.
 * @retval RSRC_E_NULL_POINTER @p out is null.
 * @retval RSRC_E_INVALID_RESOURCE The check value is not RESOURCE_MAGIC, the pointer is null,
 *     or no open Resource is there (a closed one included).
 * @retval OSSPI_E_INVALID_READ_POINTER The pointer leads to memory that may not be read.
 * @retval OSSPI_E_INVALID_WRITE_POINTER The pointer leads to memory that may not be written.
 * @threadsafety Any thread.
 * @onfailure @p out is not written.
 */
SC_API VQRESULT InitRsrcFunction(ResourceHandle resource, Resource **out);

/**
 * The text of a code as `rsrc_` reads it.
 *
 * @param[in] code Any result code; its module id is not looked at.
 * @return "Success" for any success; vq_ErrorGetString() for a general reason; "Invalid
 *     resource handle" for own reason 1 (#RSRC_E_INVALID_RESOURCE); "Unknown Error" for any
 *     other. A constant of the library.
 * @threadsafety Any thread.
 */
SC_API const char *rsrc_ErrorGetString(VQRESULT code);

/**
 * The name of the submodule of an `rsrc_` code.
 *
 * @param[in] code Any result code.
 * @return "rsrc" for submodule 1 of module #VQ_MODULE_RSRC, "unknown submodule" for another
 *     submodule, "Wrong module" for a code of another module. A constant of the library.
 * @threadsafety Any thread.
 */
SC_API const char *rsrc_ErrorGetSubModuleName(VQRESULT code);

/**
 * The module name of a code; the same as vq_ErrorGetModuleName().
 *
 * @param[in] code Any result code.
 * @return The module's name, "Unknown Module" when the id is unknown.
 * @threadsafety Any thread.
 */
SC_API const char *rsrc_ErrorGetModuleName(VQRESULT code);

SC_EXTERN_C_END

#endif /* SC_RSRC_H */
