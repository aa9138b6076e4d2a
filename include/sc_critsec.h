/**
 * @file sc_critsec.h
 * `critsec_`: re-entrant locks.
 *
 * A lock is handed out as a ::LockValue. The thread that owns it may enter it again without
 * blocking and leaves it once for every entry. Entering blocks without a time limit. The lock
 * functions do not check their lock value: a value that did not come from critsec_ObjOpen(), or
 * one already closed, is a caller error that is not detected. Every function may be called
 * from any thread.
 */
#ifndef SC_CRITSEC_H
#define SC_CRITSEC_H

#include "sc_common.h"
#include "sc_critsec_codes.h" /* the family's result codes by name (generated) */

SC_EXTERN_C_BEGIN

/**
 * Opens a re-entrant lock.
 *
 * @param[in] lockInstance The lock instance of a Resource; accepted and not used.
 * @param[in] heap The heap instance the lock's record is allocated from, and freed with at
 *     critsec_ObjClose().
 * @param[in] flags Accepted and not used (callers pass 0 or 1).
 * @param[out] lock Receives the lock, to be closed with critsec_ObjClose().
 * @retval 0 Opened.
 * @retval CRITSEC_E_NULL_POINTER @p lock is null; nothing is allocated.
 * @retval CRITSEC_E_OUT_OF_MEMORY The lock's record cannot be allocated.
 * @retval CRITSEC_E_UNEXPECTED The system refused to make the lock.
 * @threadsafety Any thread.
 * @onfailure @p lock is not written and nothing stays allocated.
 */
SC_API VQRESULT critsec_ObjOpen(LockInstance lockInstance, HeapInstance heap, uint32_t flags,
                                LockValue *lock);

/**
 * Closes a lock and frees its record with the heap instance it was opened with. The lock must
 * not be held, and no thread may use it afterwards.
 *
 * @param[in] lock A lock from critsec_ObjOpen(); 0 is accepted and does nothing.
 * @retval 0 Always.
 * @threadsafety Any thread, once no other thread uses the lock.
 */
SC_API VQRESULT critsec_ObjClose(LockValue lock);

/**
 * Enters a lock: returns once the calling thread owns it, at once when it owns it already.
 *
 * @param[in] lock A lock from critsec_ObjOpen(); 0 is accepted and does nothing.
 * @retval 0 Always.
 * @threadsafety Any thread.
 */
SC_API VQRESULT critsec_Enter(LockValue lock);

/**
 * Leaves a lock: gives back one level of ownership; the lock is free once the owner has left
 * it as often as it entered it.
 *
 * @param[in] lock A lock the calling thread owns; 0 is accepted and does nothing.
 * @retval 0 Always.
 * @threadsafety The thread that owns the lock.
 */
SC_API VQRESULT critsec_Leave(LockValue lock);

/**
 * The interface revision of `critsec_`: 0x01000002. A revision is a number to compare for
 * equality with the one a client was built for; its bytes carry no further meaning.
 *
 * @param[out] version Receives the revision.
 * @retval 0 Written.
 * @retval CRITSEC_E_NULL_POINTER @p version is null.
 * @threadsafety Any thread.
 */
SC_API VQRESULT critsec_GetVersion(uint32_t *version);

/**
 * The text of a code as `critsec_` reads it.
 *
 * @param[in] code Any result code; its module id is not looked at.
 * @return "Success" for any success; vq_ErrorGetString() for a general reason; "Unknown Error"
 *     for any other failure (`critsec_` has no reasons of its own). A constant of the library.
 * @threadsafety Any thread.
 */
SC_API const char *critsec_ErrorGetString(VQRESULT code);

/**
 * The name of the submodule of a `critsec_` code.
 *
 * @param[in] code Any result code.
 * @return "csspi" for submodule 1 of module #VQ_MODULE_CRITSEC, "unknown submodule" for
 *     another submodule, "Wrong module" for a code of another module. A constant of the
 *     library.
 * @threadsafety Any thread.
 */
SC_API const char *critsec_ErrorGetSubModuleName(VQRESULT code);

/**
 * The module name of a code; the same as vq_ErrorGetModuleName().
 *
 * @param[in] code Any result code.
 * @return The module's name, "Unknown Module" when the id is unknown.
 * @threadsafety Any thread.
 */
SC_API const char *critsec_ErrorGetModuleName(VQRESULT code);

SC_EXTERN_C_END

#endif /* SC_CRITSEC_H */
