/**
 * @file sc_safeh.h
 * `safeh_`: checks of safe handles, and the null handle.
 *
 * Every object the library hands out behind a ::SafeHandle is checked by the function that
 * receives it before anything of it is touched: the check value must be the one of the
 * object's kind and the pointer must lead to memory that may be read and written. The
 * families then confirm that the object is still open, so a closed or foreign handle is
 * refused with a code instead of reaching freed memory. Every function may be called from any
 * thread.
 */
#ifndef SC_SAFEH_H
#define SC_SAFEH_H

#include "sc_common.h"
#include "sc_safeh_codes.h" /* the family's result codes by name (generated) */

SC_EXTERN_C_BEGIN

/**
 * The null handle {NULL, 0}. Passed as a ::ResourceHandle it selects the library's built-in
 * default resource (heap instance 0), which needs no opening and is never closed. The opens
 * of the dictionaries write it to their out handle, so that a failed open leaves a null
 * handle.
 */
SC_API extern const SafeHandle g_vqNullHandle;

/**
 * Checks a handle against the kind of object it must lead to.
 *
 * @param[in] handle The handle to check.
 * @param[in] expectedCheck The check value of the kind (RESOURCE_MAGIC, EDCT_DCT_TAG, ...).
 * @param[in] objectSize The size in bytes of the object behind the handle; every byte of it
 *     is probed.
 * @retval 0 The check value matches and the object's memory may be read and written.
 * @retval SAFEH_E_INVALID_HANDLE The check value differs from @p expectedCheck, or the pointer
 *     is null.
 * @retval OSSPI_E_INVALID_READ_POINTER The object's memory may not be read.
 * @retval OSSPI_E_INVALID_WRITE_POINTER The object's memory may be read but not written.
 * @threadsafety Any thread; nothing is written.
 */
SC_API VQRESULT safeh_HandleCheck(SafeHandle handle, uint32_t expectedCheck, size_t objectSize);

/**
 * Compares two handles.
 *
 * @param[in] first A handle.
 * @param[in] second Another handle.
 * @return 1 when both the pointers and the check values are equal, else 0 (a truth value,
 *     not a result code).
 * @threadsafety Any thread.
 */
SC_API int safeh_HandlesEqual(SafeHandle first, SafeHandle second);

/**
 * The text of a code as `safeh_` reads it.
 *
 * @param[in] code Any result code; its module id is not looked at.
 * @return "Success" for any success; vq_ErrorGetString() for a general reason (such as
 *     #SAFEH_E_INVALID_HANDLE); "Unknown Error" for any other failure (`safeh_` has no
 *     reasons of its own). A constant of the library.
 * @threadsafety Any thread.
 */
SC_API const char *safeh_ErrorGetString(VQRESULT code);

/**
 * The name of the submodule of a `safeh_` code.
 *
 * @param[in] code Any result code.
 * @return "Safe Handle" for submodule 1 of module #VQ_MODULE_SAFEH, "unknown submodule" for
 *     another submodule, "Wrong module" for a code of another module. A constant of the
 *     library.
 * @threadsafety Any thread.
 */
SC_API const char *safeh_ErrorGetSubModuleName(VQRESULT code);

/**
 * The module name of a code; the same as vq_ErrorGetModuleName().
 *
 * @param[in] code Any result code.
 * @return The module's name, "Unknown Module" when the id is unknown.
 * @threadsafety Any thread.
 */
SC_API const char *safeh_ErrorGetModuleName(VQRESULT code);

SC_EXTERN_C_END

#endif /* SC_SAFEH_H */
