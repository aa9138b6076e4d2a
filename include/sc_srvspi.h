/**
 * @file sc_srvspi.h
 * `srvspi_`: guarded objects, growable arrays and memory blocks.
 *
 * **Guarded objects** (submodule 1, codes `SRVSPI_E_SEC_...`) give a client's data structure
 * a type tag that proves a value really leads to that kind of object, a re-entrant lock, and a
 * small state machine that changes only from an allowed state. ::SecExObject carries any
 * 32-bit state; ::SecObject uses the state as a reader and writer gate that never waits: a
 * hold that cannot be had now is refused with #SRVSPI_E_SEC_READ_ONLY. Both are four words
 * that the client keeps inside its own object and passes by value; copies share one core,
 * so closing one copy invalidates them all (close only after the last use). To *check the
 * value* below means: a wrong magic word or a null core gives #SRVSPI_E_SEC_INVALID_HANDLE.
 *
 * **Arrays** (::SrvArray) and **memory blocks** (::SrvMemblock) form submodule 2 (codes
 * `SRVSPI_E_ARRAY_...`); they report a null or wrong argument with
 * #SRVSPI_E_ARRAY_INVALID_ARGUMENT, not with a general null-pointer code. Two informational
 * successes, #SRVSPI_S_ARRAY_NOT_FOUND and #SRVSPI_S_ARRAY_NO_ELEMENT, have the failure bit
 * clear and leave the out pointer unwritten: test them by name, or with VQ_FAILED() knowing
 * that they pass.
 *
 * Threads: the guarded-object functions may be called from any thread; every change of a core
 * happens under its lock. Arrays and memory blocks take no lock: a client that shares one
 * across threads guards it itself.
 */
#ifndef SC_SRVSPI_H
#define SC_SRVSPI_H

#include "sc_common.h"
#include "sc_srvspi_codes.h" /* the family's result codes by name (generated) */
#include "sc_rsrc.h"

SC_EXTERN_C_BEGIN

/* ---- Guarded objects ------------------------------------------------------------------ */

/** The magic word of an open ::SecExObject. */
#define SECEX_MAGIC 0x0F0F0000u
/** The magic word of an open ::SecObject. */
#define SEC_MAGIC 0x0E0E0000u
/** State of a ::SecObject that no writer holds (readers may). */
#define SEC_STATE_FREE 0xFFFEu
/** State of a ::SecObject that one writer holds. */
#define SEC_STATE_BUSY 0xFFFFu

/** The shared core of a guarded object (its lock, state and holder count); opaque. */
typedef struct SecCore SecCore;

/**
 * A guarded object with any 32-bit state, kept by value inside the client's own object.
 * Opened by srvspi_SecExOpen(), closed by srvspi_SecExClose(); the words are the library's.
 */
typedef struct SecExObject {
  uint32_t magic;     /**< #SECEX_MAGIC while open, 0 once this copy was closed. */
  uint32_t owner;     /**< The client's owner tag, checked by srvspi_SecExValidate(). */
  SecCore *core;      /**< The shared core; null once this copy was closed. */
  Resource *resource; /**< The Resource whose heap holds the core; kept after the close. */
} SecExObject;

/**
 * A guarded object used as a reader and writer gate (states #SEC_STATE_FREE and
 * #SEC_STATE_BUSY), kept by value inside the client's own object. Opened by srvspi_SecOpen(),
 * closed by srvspi_SecClose(); the words are the library's.
 */
typedef struct SecObject {
  uint32_t magic;     /**< #SEC_MAGIC while open, 0 once this copy was closed. */
  uint32_t owner;     /**< The client's owner tag, checked by srvspi_SecValidate(). */
  SecCore *core;      /**< The shared core; null once this copy was closed. */
  Resource *resource; /**< The Resource whose heap holds the core; kept after the close. */
} SecObject;

/**
 * Opens a guarded object with any 32-bit state.
 *
 * @param[in] resource The Resource whose heap holds the core and whose lock instance makes
 *     the lock; ::g_vqNullHandle for the default resource.
 * @param[in] owner The client's owner tag (by convention the check value of its handles).
 * @param[in] initialState The first state.
 * @param[out] out Receives the object; close it with srvspi_SecExClose().
 * @retval 0 Opened.
 * @retval SRVSPI_E_SEC_NULL_POINTER @p out is null.
 * @retval SRVSPI_E_SEC_OUT_OF_MEMORY The core cannot be allocated.
 * @return Also a failure of InitRsrcFunction() (#RSRC_E_INVALID_RESOURCE,
 *     #OSSPI_E_INVALID_READ_POINTER, #OSSPI_E_INVALID_WRITE_POINTER) or of critsec_ObjOpen()
 *     (#CRITSEC_E_OUT_OF_MEMORY, #CRITSEC_E_UNEXPECTED), unchanged.
 * @threadsafety Any thread.
 * @onfailure Nothing stays allocated. After a resource failure @p out is untouched; after a
 *     later one it is not a usable object and is not to be closed.
 */
SC_API VQRESULT srvspi_SecExOpen(ResourceHandle resource, uint32_t owner, uint32_t initialState,
                                 SecExObject *out);

/**
 * Closes a guarded object: frees its core and lock, and clears the magic, owner and core of
 * @p object (the Resource word stays). Every other copy of the value then leads to freed
 * memory: close only when no other thread or copy can still use the object.
 *
 * @param[in,out] object The object.
 * @retval 0 Closed.
 * @retval SRVSPI_E_SEC_NULL_POINTER @p object is null.
 * @retval SRVSPI_E_SEC_INVALID_HANDLE Not an open ::SecExObject (a copy already closed
 *     included).
 * @threadsafety Any thread, once nothing else uses the object; the lock must not be held.
 * @onfailure Nothing changes.
 */
SC_API VQRESULT srvspi_SecExClose(SecExObject *object);

/**
 * Checks a value and its owner tag.
 *
 * @param[in] object The value.
 * @param[in] owner The owner tag it must carry.
 * @retval 0 An open ::SecExObject of that owner.
 * @retval SRVSPI_E_SEC_INVALID_HANDLE A wrong magic word, a null core, or another owner.
 * @threadsafety Any thread.
 */
SC_API VQRESULT srvspi_SecExValidate(SecExObject object, uint32_t owner);

/**
 * Reads the current state without taking the lock; outside a held lock the answer may be
 * stale at once.
 *
 * @param[in] object The value.
 * @param[out] state Receives the state.
 * @retval 0 Written.
 * @retval SRVSPI_E_SEC_NULL_POINTER @p state is null (tested first).
 * @retval SRVSPI_E_SEC_INVALID_HANDLE The value does not check.
 * @threadsafety Any thread.
 */
SC_API VQRESULT srvspi_SecExGetState(SecExObject object, uint32_t *state);

/**
 * Enters the object's re-entrant lock (blocks until the calling thread owns it).
 *
 * @param[in] object The value.
 * @retval 0 The calling thread owns the lock; leave it with srvspi_SecExUnlock().
 * @retval SRVSPI_E_SEC_INVALID_HANDLE The value does not check; no lock is taken.
 * @threadsafety Any thread.
 */
SC_API VQRESULT srvspi_SecExLock(SecExObject object);

/**
 * Leaves the object's lock once.
 *
 * @param[in] object The value.
 * @retval 0 Left.
 * @retval SRVSPI_E_SEC_INVALID_HANDLE The value does not check.
 * @threadsafety The thread that owns the lock.
 */
SC_API VQRESULT srvspi_SecExUnlock(SecExObject object);

/**
 * Changes the state, if the current state is one of the allowed ones.
 *
 * @param[in] object The value.
 * @param[in] allowed The states a change may start from; null with @p count 0 allows any
 *     change, a non-null list with @p count 0 allows none.
 * @param[in] count The number of entries of @p allowed.
 * @param[in] newState The state to change to.
 * @param[out] oldState Receives the state found, whether or not the change is allowed; may be
 *     null.
 * @retval 0 Changed.
 * @retval SRVSPI_E_SEC_WRONG_STATE The current state is not allowed; nothing changes.
 * @retval SRVSPI_E_SEC_INVALID_ARGUMENT @p allowed is null while @p count is not 0 (tested
 *     before the value).
 * @retval SRVSPI_E_SEC_INVALID_HANDLE The value does not check.
 * @threadsafety Any thread; runs under the object's lock.
 * @onfailure The state is unchanged.
 */
SC_API VQRESULT srvspi_SecExToState(SecExObject object, const uint32_t *allowed, uint32_t count,
                                    uint32_t newState, uint32_t *oldState);

/**
 * Opens a guarded object used as a reader and writer gate: state #SEC_STATE_FREE, no holder.
 *
 * @param[in] resource The Resource whose heap holds the core; ::g_vqNullHandle for the
 *     default resource.
 * @param[in] owner The client's owner tag (by convention the check value of its handles).
 * @param[out] out Receives the object; close it with srvspi_SecClose().
 * @retval 0 Opened.
 * @retval SRVSPI_E_SEC_NULL_POINTER @p out is null.
 * @retval SRVSPI_E_SEC_OUT_OF_MEMORY The core cannot be allocated.
 * @return Also a failure of InitRsrcFunction() or critsec_ObjOpen(), unchanged (see
 *     srvspi_SecExOpen()).
 * @threadsafety Any thread.
 * @onfailure @p out is untouched and nothing stays allocated.
 */
SC_API VQRESULT srvspi_SecOpen(ResourceHandle resource, uint32_t owner, SecObject *out);

/**
 * Closes a guarded object: frees its core and lock and clears the magic, owner and core of
 * @p object. Every other copy of the value then leads to freed memory: close only when no
 * other thread or copy can still use the object.
 *
 * @param[in,out] object The object.
 * @retval 0 Closed.
 * @retval SRVSPI_E_SEC_NULL_POINTER @p object is null.
 * @retval SRVSPI_E_SEC_INVALID_HANDLE Not an open ::SecObject (a copy already closed
 *     included).
 * @threadsafety Any thread, once nothing else uses the object; the lock must not be held.
 * @onfailure Nothing changes.
 */
SC_API VQRESULT srvspi_SecClose(SecObject *object);

/**
 * Checks a value and its owner tag.
 *
 * @param[in] object The value.
 * @param[in] owner The owner tag it must carry.
 * @retval 0 An open ::SecObject of that owner.
 * @retval SRVSPI_E_SEC_INVALID_HANDLE A wrong magic word (a ::SecExObject included), a null
 *     core, or another owner.
 * @threadsafety Any thread.
 */
SC_API VQRESULT srvspi_SecValidate(SecObject object, uint32_t owner);

/**
 * Enters the object's re-entrant lock (blocks until the calling thread owns it). The hold
 * functions may be called while it is held.
 *
 * @param[in] object The value.
 * @retval 0 The calling thread owns the lock; leave it with srvspi_SecUnlock().
 * @retval SRVSPI_E_SEC_INVALID_HANDLE The value does not check; no lock is taken.
 * @threadsafety Any thread.
 */
SC_API VQRESULT srvspi_SecLock(SecObject object);

/**
 * Leaves the object's lock once.
 *
 * @param[in] object The value.
 * @retval 0 Left.
 * @retval SRVSPI_E_SEC_INVALID_HANDLE The value does not check.
 * @threadsafety The thread that owns the lock.
 */
SC_API VQRESULT srvspi_SecUnlock(SecObject object);

/**
 * Takes the writer hold: from #SEC_STATE_FREE with no holder to #SEC_STATE_BUSY with one.
 * Never waits. Give it back with srvspi_SecToFree().
 *
 * @param[in] object The value.
 * @retval 0 Held.
 * @retval SRVSPI_E_SEC_READ_ONLY Readers or a writer hold the object; nothing changes.
 * @retval SRVSPI_E_SEC_INVALID_HANDLE The value does not check.
 * @threadsafety Any thread; runs under the object's lock.
 */
SC_API VQRESULT srvspi_SecToBusy(SecObject object);

/**
 * Takes a reader hold: readers do not exclude each other. Never waits. Give it back with
 * srvspi_SecToFree().
 *
 * @param[in] object The value.
 * @retval 0 Held.
 * @retval SRVSPI_E_SEC_READ_ONLY A writer holds the object; nothing changes.
 * @retval SRVSPI_E_SEC_INVALID_HANDLE The value does not check.
 * @threadsafety Any thread; runs under the object's lock.
 */
SC_API VQRESULT srvspi_SecToReadOnly(SecObject object);

/**
 * Gives one hold back: the writer's (back to #SEC_STATE_FREE) or one reader's.
 *
 * @param[in] object The value.
 * @retval 0 Given back.
 * @retval SRVSPI_E_SEC_WRONG_STATE No hold is outstanding; nothing changes.
 * @retval SRVSPI_E_SEC_INVALID_HANDLE The value does not check.
 * @threadsafety Any thread; runs under the object's lock.
 */
SC_API VQRESULT srvspi_SecToFree(SecObject object);

/* ---- Arrays ---------------------------------------------------------------------------- */

/**
 * A growable array of fixed-size elements, kept by value in the client's structures and
 * initialised by srvspi_ArrayInit(). Elements are raw bytes stored back to back in index
 * order; the array never looks into them. Addresses of elements stay valid until the next
 * call that can move the storage (add, push, resize, remove, deinit).
 */
typedef struct SrvArray {
  uint32_t count;       /**< Elements in use. */
  uint32_t capacity;    /**< Elements the storage holds; at least count. */
  uint32_t elementSize; /**< Bytes per element; not 0. */
  void *data;           /**< capacity times elementSize bytes, or null when capacity is 0. */
  Resource *resource;   /**< The Resource whose heap holds the storage. */
} SrvArray;

/**
 * A walk callback of srvspi_ArrayForEach(), called for each element in index order on the
 * calling thread.
 *
 * @param[in] element The element's address in the array's storage.
 * @param[in] user The value given to srvspi_ArrayForEach().
 * @return 0 or another success to go on; a failure stops the walk and is returned.
 */
typedef VQRESULT (*SrvArrayWalkFn)(void *element, void *user);

/**
 * A comparator of srvspi_ArrayFind(), called for each element in index order on the calling
 * thread.
 *
 * @param[in] key The key given to srvspi_ArrayFind().
 * @param[in] element The element's address in the array's storage.
 * @param[in] user The value given to srvspi_ArrayFind().
 * @return 0 when the element matches; another success when it does not; a failure aborts the
 *     search and is returned.
 */
typedef VQRESULT (*SrvArrayCompareFn)(uint32_t key, void *element, void *user);

/**
 * Initialises an empty array.
 *
 * @param[in] resource The Resource whose heap holds the storage; ::g_vqNullHandle for the
 *     default resource. It must outlive the array.
 * @param[in] elementSize Bytes per element; not 0.
 * @param[out] array The array to initialise; its previous contents are overwritten, not
 *     freed.
 * @retval 0 Initialised: count 0, capacity 0, no storage.
 * @retval SRVSPI_E_ARRAY_INVALID_ARGUMENT @p elementSize is 0 or @p array is null.
 * @return Also a failure of InitRsrcFunction() (#RSRC_E_INVALID_RESOURCE,
 *     #OSSPI_E_INVALID_READ_POINTER, #OSSPI_E_INVALID_WRITE_POINTER), unchanged.
 * @threadsafety No lock: one thread at a time per array or memory block.
 * @onfailure @p array is untouched.
 */
SC_API VQRESULT srvspi_ArrayInit(ResourceHandle resource, uint32_t elementSize, SrvArray *array);

/**
 * Frees the storage and empties the array; it must be initialised again before any further
 * use.
 *
 * @param[in,out] array The array.
 * @retval 0 Freed.
 * @retval SRVSPI_E_ARRAY_INVALID_ARGUMENT @p array is null, or has no Resource (never
 *     initialised); its count, capacity and element size are 0 all the same.
 * @threadsafety No lock: one thread at a time per array or memory block.
 */
SC_API VQRESULT srvspi_ArrayDeinit(SrvArray *array);

/**
 * Empties the array; the capacity and the storage are kept.
 *
 * @param[in,out] array The array.
 * @retval 0 Emptied.
 * @retval SRVSPI_E_ARRAY_INVALID_ARGUMENT @p array is null.
 * @threadsafety No lock: one thread at a time per array or memory block.
 */
SC_API VQRESULT srvspi_ArrayClear(SrvArray *array);

/**
 * The number of elements.
 *
 * @param[in] array The array.
 * @param[out] count Receives the count.
 * @retval 0 Written.
 * @retval SRVSPI_E_ARRAY_INVALID_ARGUMENT @p array or @p count is null.
 * @threadsafety No lock: one thread at a time per array or memory block.
 */
SC_API VQRESULT srvspi_ArrayCount(const SrvArray *array, uint32_t *count);

/**
 * Makes @p destination a copy of @p source, with a capacity of exactly the source's count.
 *
 * @param[in] source The array to copy.
 * @param[out] destination An array that is empty or was never initialised: its previous
 *     storage is not freed. Free the copy with srvspi_ArrayDeinit().
 * @retval 0 Copied (an empty source gives an empty copy without storage).
 * @retval SRVSPI_E_ARRAY_INVALID_ARGUMENT @p source or @p destination is null, or a non-empty
 *     source has no Resource.
 * @retval SRVSPI_E_ARRAY_OUT_OF_MEMORY The storage cannot be allocated.
 * @threadsafety No lock: one thread at a time per array or memory block.
 * @onfailure @p destination is untouched.
 */
SC_API VQRESULT srvspi_ArrayClone(const SrvArray *source, SrvArray *destination);

/**
 * Sets the capacity. The array grows one element at a time otherwise, so a client that adds
 * many elements reserves room first.
 *
 * @param[in,out] array The array.
 * @param[in] capacity The new capacity in elements; -1 stands for the current count; 0 (when
 *     the array is empty) frees the storage.
 * @retval 0 Resized.
 * @retval SRVSPI_E_ARRAY_INVALID_ARGUMENT @p array is null, @p capacity is negative and not
 *     -1, or the array has no Resource.
 * @retval SRVSPI_E_ARRAY_OUT_OF_RANGE @p capacity is below the count.
 * @retval SRVSPI_E_ARRAY_OUT_OF_MEMORY The storage cannot be reallocated.
 * @threadsafety No lock: one thread at a time per array or memory block.
 * @onfailure The array is unchanged.
 */
SC_API VQRESULT srvspi_ArrayResize(SrvArray *array, int32_t capacity);

/**
 * Appends one element, growing the storage by exactly one element when it is full.
 *
 * @param[in,out] array The array.
 * @param[in] element The element's elementSize bytes, copied; null reserves the slot and
 *     leaves its bytes as they are (uninitialised in new storage).
 * @retval 0 Appended.
 * @retval SRVSPI_E_ARRAY_INVALID_ARGUMENT @p array is null, or it must grow and has no
 *     Resource.
 * @retval SRVSPI_E_ARRAY_OUT_OF_MEMORY The storage cannot grow.
 * @threadsafety No lock: one thread at a time per array or memory block.
 * @onfailure The array keeps its elements, storage and capacity.
 */
SC_API VQRESULT srvspi_ArrayAdd(SrvArray *array, const void *element);

/**
 * The same as srvspi_ArrayAdd(), for arrays used as stacks.
 *
 * @param[in,out] array The array.
 * @param[in] element The element's bytes, copied; null reserves the slot.
 * @retval 0 Pushed.
 * @retval SRVSPI_E_ARRAY_INVALID_ARGUMENT See srvspi_ArrayAdd().
 * @retval SRVSPI_E_ARRAY_OUT_OF_MEMORY The storage cannot grow.
 * @threadsafety No lock: one thread at a time per array or memory block.
 * @onfailure The array is unchanged.
 */
SC_API VQRESULT srvspi_ArrayPush(SrvArray *array, const void *element);

/**
 * Removes the element at @p index; the elements after it move one place down. The capacity
 * is kept.
 *
 * @param[in,out] array The array.
 * @param[in] index The element's index.
 * @retval 0 Removed.
 * @retval SRVSPI_E_ARRAY_INVALID_ARGUMENT @p array is null.
 * @retval SRVSPI_E_ARRAY_OUT_OF_RANGE @p index is not below the count; nothing changes.
 * @threadsafety No lock: one thread at a time per array or memory block.
 */
SC_API VQRESULT srvspi_ArrayRemove(SrvArray *array, uint32_t index);

/**
 * The address of the element at @p index.
 *
 * @param[in] array The array.
 * @param[in] index The element's index.
 * @param[out] element Receives the address, valid until the storage moves; may be null.
 * @retval 0 Written.
 * @retval SRVSPI_S_ARRAY_NO_ELEMENT @p index is not below the count: a *success* with nothing
 *     written.
 * @retval SRVSPI_E_ARRAY_INVALID_ARGUMENT @p array is null.
 * @threadsafety No lock: one thread at a time per array or memory block.
 */
SC_API VQRESULT srvspi_ArrayAt(SrvArray *array, uint32_t index, void **element);

/**
 * Starts a cursor walk at the first element; go on with srvspi_ArrayNext().
 *
 * @param[in] array The array.
 * @param[out] cursor Receives the first element's address; may be null.
 * @retval 0 Written.
 * @retval SRVSPI_E_ARRAY_NOT_FOUND The array is empty (a failure); nothing written.
 * @retval SRVSPI_E_ARRAY_INVALID_ARGUMENT @p array is null.
 * @threadsafety No lock: one thread at a time per array or memory block.
 */
SC_API VQRESULT srvspi_ArrayBegin(SrvArray *array, void **cursor);

/**
 * Moves a cursor to the next element.
 *
 * @param[in] array The array.
 * @param[in,out] cursor An element's address from srvspi_ArrayBegin() or an earlier call; set
 *     to the next element's address, or to null at the end.
 * @retval 0 Moved.
 * @retval SRVSPI_S_ARRAY_NOT_FOUND The walk has ended: a *success*, with @p cursor set to
 *     null (also for a cursor that is null or outside the elements).
 * @retval SRVSPI_E_ARRAY_INVALID_ARGUMENT @p array or @p cursor is null.
 * @threadsafety No lock: one thread at a time per array or memory block.
 */
SC_API VQRESULT srvspi_ArrayNext(SrvArray *array, void **cursor);

/**
 * Removes the last element.
 *
 * @param[in,out] array The array.
 * @param[out] element Receives the removed element's address: it stays readable in the
 *     storage until the next call that changes the array. May be null.
 * @retval 0 Removed.
 * @retval SRVSPI_S_ARRAY_NO_ELEMENT The array is empty: a *success* with nothing written.
 * @retval SRVSPI_E_ARRAY_INVALID_ARGUMENT @p array is null.
 * @threadsafety No lock: one thread at a time per array or memory block.
 */
SC_API VQRESULT srvspi_ArrayPop(SrvArray *array, void **element);

/**
 * The address of the last element; the count is unchanged.
 *
 * @param[in] array The array.
 * @param[out] element Receives the address, valid until the storage moves; may be null.
 * @retval 0 Written.
 * @retval SRVSPI_S_ARRAY_NO_ELEMENT The array is empty: a *success* with nothing written.
 * @retval SRVSPI_E_ARRAY_INVALID_ARGUMENT @p array is null.
 * @threadsafety No lock: one thread at a time per array or memory block.
 */
SC_API VQRESULT srvspi_ArrayTop(SrvArray *array, void **element);

/**
 * Calls @p callback for every element in index order, until one fails.
 *
 * @param[in] array The array; the callback must not add or remove elements.
 * @param[in] callback The walk callback.
 * @param[in] user Handed to every call.
 * @return 0 for an empty array; else the first failure of the callback, or the result of its
 *     last call (which may be a success other than 0).
 * @retval SRVSPI_E_ARRAY_INVALID_ARGUMENT @p array or @p callback is null.
 * @threadsafety No lock: one thread at a time per array or memory block.
 */
SC_API VQRESULT srvspi_ArrayForEach(SrvArray *array, SrvArrayWalkFn callback, void *user);

/**
 * Searches the elements in index order with a comparator.
 *
 * @param[in] array The array.
 * @param[in] key Handed to every comparison.
 * @param[in] compare The comparator; may be null only for an empty array.
 * @param[in] user Handed to every comparison.
 * @param[out] index Receives the matching element's index; 0 for an empty array; after a
 *     search without match, the count. May be null.
 * @return 0 on a match; a failure of the comparator as it came; after a search without match,
 *     the comparator's last (non-zero success) result.
 * @retval SRVSPI_S_ARRAY_NOT_FOUND The array is empty: a *success*.
 * @retval SRVSPI_E_ARRAY_INVALID_ARGUMENT @p array is null, or @p compare is null for a
 *     non-empty array.
 * @threadsafety No lock: one thread at a time per array or memory block.
 */
SC_API VQRESULT srvspi_ArrayFind(SrvArray *array, uint32_t key, SrvArrayCompareFn compare,
                                 void *user, uint32_t *index);

/* ---- Memory blocks --------------------------------------------------------------------- */

/**
 * A bump allocator over a buffer that the client owns, or, without a buffer, a measuring
 * block that only adds up sizes: one routine can run once to size a flat image and once to
 * fill it, with the same aligns and allocations both times. Initialised by
 * srvspi_MemblockInit(); it owns nothing.
 */
typedef struct SrvMemblock {
  uint32_t used; /**< Bytes handed out so far, padding included, from the start of the block. */
  uint32_t size; /**< Bytes available in the buffer. */
  void *base;    /**< The start of the buffer; null in a measuring block. */
} SrvMemblock;

/**
 * Initialises a memory block.
 *
 * @param[out] block The block.
 * @param[in] size The buffer's size in bytes (not used by a measuring block).
 * @param[in] base The buffer, owned by the client and kept by the block; null for a measuring
 *     block.
 * @retval 0 Initialised with nothing used.
 * @retval SRVSPI_E_ARRAY_INVALID_ARGUMENT @p block is null.
 * @threadsafety No lock: one thread at a time per array or memory block.
 */
SC_API VQRESULT srvspi_MemblockInit(SrvMemblock *block, uint32_t size, void *base);

/**
 * Pads the used size up to a multiple of @p alignment. The alignment is of the offset from
 * the block's start, not of a machine address.
 *
 * @param[in,out] block The block.
 * @param[in] alignment The alignment in bytes, at least 1.
 * @retval 0 Aligned (a measuring block accepts any padding).
 * @retval SRVSPI_E_ARRAY_BUFFER_TOO_SMALL The padding does not fit the buffer, or the used
 *     size would pass 4 GiB.
 * @retval SRVSPI_E_ARRAY_INVALID_ARGUMENT @p block is null or @p alignment is 0.
 * @threadsafety No lock: one thread at a time per array or memory block.
 * @onfailure The used size is unchanged.
 */
SC_API VQRESULT srvspi_MemblockAlign(SrvMemblock *block, uint32_t alignment);

/**
 * Hands out the next @p count bytes.
 *
 * @param[in,out] block The block.
 * @param[in] count The number of bytes.
 * @param[out] pointer Receives the bytes' address in the buffer (null in a measuring block);
 *     may be null.
 * @retval 0 Handed out.
 * @retval SRVSPI_E_ARRAY_BUFFER_TOO_SMALL The bytes pass the end of the buffer: the used size
 *     has advanced and @p pointer has been written all the same, and must not be used; or the
 *     used size would pass 4 GiB (it is then unchanged).
 * @retval SRVSPI_E_ARRAY_INVALID_ARGUMENT @p block is null.
 * @threadsafety No lock: one thread at a time per array or memory block.
 */
SC_API VQRESULT srvspi_MemblockAlloc(SrvMemblock *block, uint32_t count, void **pointer);

/**
 * The same as srvspi_MemblockAlloc(), for reading back an image that was written through it.
 *
 * @param[in,out] block The block.
 * @param[in] count The number of bytes.
 * @param[out] pointer Receives the bytes' address; may be null.
 * @retval 0 Handed out.
 * @retval SRVSPI_E_ARRAY_BUFFER_TOO_SMALL See srvspi_MemblockAlloc().
 * @retval SRVSPI_E_ARRAY_INVALID_ARGUMENT @p block is null.
 * @threadsafety No lock: one thread at a time per array or memory block.
 */
SC_API VQRESULT srvspi_MemblockRead(SrvMemblock *block, uint32_t count, void **pointer);

/**
 * The used size: after a measuring pass, the buffer size a filling pass needs.
 *
 * @param[in] block The block.
 * @param[out] used Receives the used size in bytes.
 * @retval 0 Written.
 * @retval SRVSPI_E_ARRAY_INVALID_ARGUMENT @p block or @p used is null.
 * @threadsafety No lock: one thread at a time per array or memory block.
 */
SC_API VQRESULT srvspi_MemblockGetUsed(const SrvMemblock *block, uint32_t *used);

/**
 * The start of the block's buffer.
 *
 * @param[in] block The block.
 * @param[out] base Receives the buffer (null for a measuring block).
 * @retval 0 Written.
 * @retval SRVSPI_E_ARRAY_INVALID_ARGUMENT @p block or @p base is null.
 * @threadsafety No lock: one thread at a time per array or memory block.
 */
SC_API VQRESULT srvspi_MemblockGetBegin(const SrvMemblock *block, void **base);

/**
 * The interface revision of `srvspi_`: 0x01000003. A revision is a number to compare for
 * equality with the one a client was built for; its bytes carry no further meaning.
 *
 * @param[out] version Receives the revision.
 * @retval 0 Written.
 * @retval SRVSPI_E_ARRAY_INVALID_ARGUMENT @p version is null.
 * @threadsafety Any thread.
 */
SC_API VQRESULT srvspi_SpiGetVersion(uint32_t *version);

/**
 * The text of a code as `srvspi_` reads it.
 *
 * @param[in] code Any result code; its module id is not looked at.
 * @return "Success" for 0 only; vq_ErrorGetString() for a general reason, success or failure;
 *     "Unknown error" for any other success (#SRVSPI_S_ARRAY_NOT_FOUND included); the text of
 *     an own reason for a failure (the texts of the `SRVSPI_E_` names), "Unknown error" when
 *     it has none. A constant of the library.
 * @threadsafety Any thread.
 */
SC_API const char *srvspi_ErrorGetString(VQRESULT code);

/**
 * The name of the submodule of a `srvspi_` code.
 *
 * @param[in] code Any result code.
 * @return " secure" for submodule 1 (guarded objects) and " array " for submodule 2 (arrays and
 *     memory blocks) of module #VQ_MODULE_SRVSPI, " unknown module " for another submodule,
 *     " wrong module" for a code of another module (the blanks belong to the texts). A
 *     constant of the library.
 * @threadsafety Any thread.
 */
SC_API const char *srvspi_ErrorGetSubModuleName(VQRESULT code);

/**
 * The module name of a code; the same as vq_ErrorGetModuleName().
 *
 * @param[in] code Any result code.
 * @return The module's name, "Unknown Module" when the id is unknown.
 * @threadsafety Any thread.
 */
SC_API const char *srvspi_ErrorGetModuleName(VQRESULT code);

SC_EXTERN_C_END

#endif /* SC_SRVSPI_H */
