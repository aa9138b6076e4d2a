/**
 * @file sc_edct.h
 * `edct_`: exception dictionaries. A dictionary maps words (keys) to typed data entries; it is
 * writable in memory, or a read-only view over an archive image in the client's memory.
 * Iterators walk a dictionary, a manager searches several in priority order, and a dictionary
 * travels as an archive image or as a line-oriented text stream.
 *
 * **Keys and entries.** A key is a NUL-terminated UTF-16 string, compared unit by unit, case
 * included (edct_KeyFromUTF8() makes one from UTF-8). Each entry (::EDCT_ENTRY) carries six
 * attributes (Content, Representation, POS, Language, Model, Engine) and its data bytes;
 * entries with equal attributes form a *SubDictionary*, and a key may have entries in several.
 * Lookups go through the SubDictionaries in the order they were made (image order for a
 * read-only view); within one, a key's entries come newest first.
 *
 * @anchor edct_utf8
 * **UTF-8.** Wherever the dictionaries meet 8-bit text (edct_KeyFromUTF8(), text streams in
 * UTF-8, keys stored in images, the attributes written to a 16-bit stream) they use one
 * conversion: each UTF-16 unit becomes 1 to 3 bytes, a surrogate pair two 3-byte sequences
 * (as CESU-8 does). Decoding never refuses input: a lead byte below 0x80 is one unit, below
 * 0xE0 the start of a 2-byte sequence, any other the start of a 3-byte sequence, continuation
 * bytes are not checked, and a NUL where a continuation is due ends the string. So a 4-byte
 * UTF-8 sequence (a character beyond U+FFFF) does not become its surrogate pair: write such a
 * character as its two 3-byte sequences. Whatever the bytes, a key made from them matches the
 * key a UTF-8 text stream with the same bytes gives.
 *
 * @anchor edct_handles
 * **Handles.** Dictionaries, iterators and managers travel as ::SafeHandle values with check
 * values #EDCT_DCT_TAG, #EDCT_DCTIT_TAG and #EDCT_DCTMGR_TAG. Every function first checks the
 * handles it is given, and refuses
 * - #SAFEH_E_INVALID_HANDLE: a null pointer, or the check value of another kind;
 * - #OSSPI_E_INVALID_READ_POINTER, #OSSPI_E_INVALID_WRITE_POINTER: a pointer to memory that
 *   may not be read or written;
 * - #SRVSPI_E_SEC_INVALID_HANDLE: no open object of that kind there (a closed one included:
 *   its memory is never read);
 * - #EDCT_E_INVALID_RESOURCE: the Resource the object was opened with has been closed.
 *
 * Out pointers are checked the same way before anything changes: one that may not be written
 * is refused with #OSSPI_E_INVALID_WRITE_POINTER.
 *
 * These are the *handle failures* the functions below refer to. The opens take a
 * ::ResourceHandle (::g_vqNullHandle for the default resource) and pass on the failures of
 * InitRsrcFunction() unchanged (#RSRC_E_INVALID_RESOURCE, #OSSPI_E_INVALID_READ_POINTER,
 * #OSSPI_E_INVALID_WRITE_POINTER): the *resource failures*. A null pointer argument is refused
 * with #EDCT_E_NULL_POINTER, exhausted memory with #EDCT_E_OUT_OF_MEMORY.
 *
 * **Ownership.** What a client passes in (keys, entry arrays, data, attribute strings, Name
 * and Description) is copied; the client keeps it. What a function hands out comes from the
 * heap of the Resource the dictionary (or iterator) was opened with and is given back with the
 * function its description names, on the same dictionary. The image behind a read-only view
 * belongs to the client and must stay alive and unchanged until the view is closed.
 *
 * @anchor edct_threads
 * **Threads.** Any thread may call any function. Each dictionary, iterator and manager has a
 * re-entrant lock, held for the whole of each operation on it, so operations on one object are
 * serialised; a manager takes a dictionary's lock while it holds its own, as an iterator does
 * (manager before dictionary, iterator before dictionary). Callbacks (Notify, ReadStream,
 * WriteStream) run on the calling thread with the dictionary's lock held: they may call back
 * into the dictionary on that thread, but must not wait for another thread that uses it.
 *
 * @anchor edct_streams
 * **Text streams.** edct_DctReadStream() and edct_DctWriteStream() carry a dictionary as
 * lines of text through client callbacks, in UTF-8 (no byte-order mark) or UCS-2 of either
 * byte order (with U+FEFF first). A line end is LF (CR is dropped, CR LF written); the stream
 * starts with a `[Header]` section, then `[SubHeader]` sections (attribute lines) each followed
 * by a `[Data]` section (one line per entry):
 * @code
 * [Header]
 * Name = Demo
 * Description = Test
 *
 * [SubHeader]
 * Language = en
 * Content = EDCT_CONTENT_ORTHOGRAPHIC
 * Representation = EDCT_REPR_SZ_STRING
 *
 * [Data]
 * hello	"hello world"
 * hi	hi
 * @endcode
 * Section keys: Name and Description (kept only when the dictionary has none), Language,
 * Engine, Model (at most 128 UTF-8 bytes), Content and Representation (by their constant
 * names), POS and NbrSubDct (both read and ignored: entries read get POS 0xFFFFFFFF). A
 * `[SubHeader]` changes only the attributes it names. An entry line is a key (double quotes
 * and backslash escapes allowed; it ends at a blank or tab outside quotes) and the data, by
 * kind: `//a//b` for broad narrows (#EDCT_REPR_SZZ_STRING), hexadecimal byte pairs for user
 * words (#EDCT_REPR_BINARY; a line ending in a backslash continues), text for orthographic
 * entries (#EDCT_REPR_SZ_STRING or #EDCT_REPR_WSZ_STRING; quotes and escapes allowed). Keys
 * and values lose their leading and trailing blanks; blank lines are skipped. What does not
 * survive a write and a read: blanks at the ends of keys and strings, tabs and line ends in
 * them, empty data, POS.
 */
#ifndef SC_EDCT_H
#define SC_EDCT_H

#include "sc_common.h"
#include "sc_edct_codes.h" /* the family's result codes by name (generated) */

SC_EXTERN_C_BEGIN

/** The check value of a dictionary's ::SafeHandle (and owner tag of its guarded object). */
#define EDCT_DCT_TAG 44892u
/** The check value of an iterator's ::SafeHandle. */
#define EDCT_DCTIT_TAG 44893u
/** The check value of a manager's ::SafeHandle. */
#define EDCT_DCTMGR_TAG 56613u

/** Content kind: pronunciations, a list of strings (paired with #EDCT_REPR_SZZ_STRING). */
#define EDCT_CONTENT_BROAD_NARROWS 0u
/** Content kind: user words, raw bytes (paired with #EDCT_REPR_BINARY). */
#define EDCT_CONTENT_USERWORDS 1u
/** Content kind: spellings, a string (#EDCT_REPR_SZ_STRING or #EDCT_REPR_WSZ_STRING). */
#define EDCT_CONTENT_ORTHOGRAPHIC 2u

/**
 * Representation: UTF-8 strings, each with its NUL, followed by one more NUL; DataSize counts
 * every NUL ("a", "b" is `a\0b\0\0`, 5 bytes).
 */
#define EDCT_REPR_SZZ_STRING 0u
/** Representation: bytes as they are; DataSize is their number. */
#define EDCT_REPR_BINARY 1u
/** Representation: one UTF-8 string; DataSize counts its NUL ("hi" is 3 bytes). */
#define EDCT_REPR_SZ_STRING 2u
/**
 * Representation: one UTF-16 string in host byte order; DataSize counts its terminator, in
 * bytes (2 times (units + 1); "hi" is 6 bytes).
 */
#define EDCT_REPR_WSZ_STRING 3u

/** Notify action: an entry was added under a key no SubDictionary held before. */
#define EDCT_NOTIFY_NEWKEY 0u
/** Notify action: a key was removed with all its entries (the entry argument is null). */
#define EDCT_NOTIFY_REMOVED 1u
/** Notify action: an entry was added under a key already present. */
#define EDCT_NOTIFY_ADDED 2u

/** Open mode of edct_DctOpen(): a writable dictionary (so is any mode but the read-only one). */
#define EDCT_OPEN_WRITABLE 0u
/** Open mode of edct_DctOpen(): a read-only view over an archive image, read in place. */
#define EDCT_OPEN_READONLY 1u

/** Text stream encoding: UTF-8, without byte-order mark. */
#define EDCT_FORMAT_UTF8 0u
/** Text stream encoding: UCS-2 little-endian, starting with U+FEFF. */
#define EDCT_FORMAT_UCS2LE 1u
/** Text stream encoding: UCS-2 big-endian, starting with U+FEFF. */
#define EDCT_FORMAT_UCS2BE 2u

/**
 * One entry: its six attributes and its data. Passed to edct_DctAddEntry() (everything is
 * copied), handed out by the lookups (then owned by the array they come in).
 */
typedef struct EDCT_ENTRY {
  /** The content kind, one of `EDCT_CONTENT_`; any value is stored and matched. */
  uint32_t Content;
  /** How the data bytes are represented, one of `EDCT_REPR_`; any value is stored. */
  uint32_t Representation;
  /** A part-of-speech class; 0xFFFFFFFF for none. */
  uint32_t POS;
  /** The language, a UTF-8 string, or null; compared byte for byte. */
  const char *Language;
  /**
   * The model, a block of exactly 128 bytes (not a string: all 128 are copied and compared),
   * or null. Text streams fill it with the text, a NUL and blanks to the end.
   */
  const char *Model;
  /** The engine, a UTF-8 string, or null; compared byte for byte. */
  const char *Engine;
  /** The data bytes; may be null when DataSize is 0. */
  const void *Data;
  /**
   * The number of data bytes, counting the NUL terminators of the string representations (see
   * #EDCT_REPR_SZ_STRING, #EDCT_REPR_WSZ_STRING, #EDCT_REPR_SZZ_STRING). The dictionary stores
   * exactly this many bytes and does not look into them; the stream writer stops a string at
   * its first NUL and never reads past DataSize.
   */
  uint32_t DataSize;
} EDCT_ENTRY;

/** A dictionary's name, description and counts; see edct_DctGetInfo() and edct_DctSetInfo(). */
typedef struct EDCT_INFO {
  const char16_t *Name;        /**< The name, UTF-16, or null for none. */
  const char16_t *Description; /**< The description, UTF-16, or null for none. */
  uint32_t NbrKeys;            /**< Distinct keys (a key in several SubDictionaries counts once). */
  uint32_t NbrEntries;         /**< Entries in all SubDictionaries. */
} EDCT_INFO;

/**
 * A selection of entries for the lookups; a null filter selects everything. A writable
 * dictionary lets a SubDictionary that lacks an attribute pass a filter on it; a read-only
 * view does not (a filter with a Language selects only sections that have an equal one).
 */
typedef struct EDCT_FILTER {
  /** The content kind wanted, or 0xFFFFFFFF for any. */
  uint32_t Content;
  /** The part-of-speech class wanted, or 0xFFFFFFFF for any. */
  uint32_t POS;
  /** The language wanted (UTF-8, compared byte for byte), or null for any. */
  const char *Language;
  /** The 128-byte model block wanted, or null for any. */
  const char *Model;
  /** The engine wanted (UTF-8, compared byte for byte), or null for any. */
  const char *Engine;
} EDCT_FILTER;

/**
 * A writable dictionary's Notify callback, given to edct_DctOpen(): called after each entry
 * is added (edct_DctAddEntry(), and so edct_DctReadStream()) and after each key is removed,
 * on the calling thread with the dictionary's lock held. Loading an image notifies nothing.
 *
 * @param[in] dictionary The dictionary's handle.
 * @param[in] action #EDCT_NOTIFY_NEWKEY, #EDCT_NOTIFY_ADDED or #EDCT_NOTIFY_REMOVED.
 * @param[in] key The key as the caller of the change gave it; valid during the call.
 * @param[in] entry The entry added, as the caller gave it; null for a removal.
 * @param[in] user The value given to edct_DctOpen().
 * @return 0 to go on. Any other value is kept as the callback error
 *     (edct_DctGetCallbackError()) and makes the change return #EDCT_E_NOTIFY_FAILED; the
 *     entry or removal just notified stays done.
 */
typedef uint32_t (*EDCT_NOTIFY_FN)(SafeHandle dictionary, uint32_t action, const char16_t *key,
                                   const EDCT_ENTRY *entry, void *user);

/**
 * The source of a text stream, given to edct_DctReadStream() and called on its thread with the
 * dictionary's lock held.
 *
 * @param[in] user The value given to edct_DctReadStream().
 * @param[out] buffer Where to store the bytes (1024 bytes of room).
 * @param[in,out] count 1024 on entry; set it to the number of bytes stored, 0 at the end of
 *     the stream. Fewer bytes may come at any time (a 16-bit unit may be split between calls);
 *     after the end the callback may be asked again and must answer 0 again.
 * @return 0 for success; any other value stops the read with #EDCT_E_READSTREAM_FAILED. Every
 *     value returned, 0 included, is kept as the callback error.
 */
typedef uint32_t (*EDCT_READSTREAM_FN)(void *user, void *buffer, uint32_t *count);

/**
 * The sink of a text stream, given to edct_DctWriteStream() and called on its thread with the
 * dictionary's lock held.
 *
 * @param[in] user The value given to edct_DctWriteStream().
 * @param[in] buffer The bytes, valid during the call: 1024 of them in every call but the
 *     last, which passes 1 to 1024 (a 16-bit unit or a UTF-8 sequence may be split).
 * @param[in] count The number of bytes; the callback takes them all.
 * @return 0 for success; any other value stops the write with #EDCT_E_WRITESTREAM_FAILED. Every
 *     value returned, 0 included, is kept as the callback error.
 */
typedef uint32_t (*EDCT_WRITESTREAM_FN)(void *user, const void *buffer, uint32_t count);

/* ---- Keys -------------------------------------------------------------------------------- */

/**
 * Makes a key from a UTF-8 string, for callers that cannot write `u"..."` literals: a
 * NUL-terminated UTF-16 copy, decoded by the dictionaries' one conversion (see
 * @ref edct_utf8 "UTF-8"), which never refuses input. Free it with edct_KeyFree().
 *
 * @param[in] text A NUL-terminated UTF-8 string; the empty string gives the empty key.
 * @param[out] key Receives the key, from the default resource's heap; free it with
 *     edct_KeyFree(). The dictionaries copy keys, so it may be freed as soon as the call that
 *     took it has returned.
 * @retval 0 Made.
 * @retval EDCT_E_NULL_POINTER @p text or @p key is null.
 * @retval EDCT_E_OUT_OF_RANGE @p text is 4 GiB long or longer.
 * @retval EDCT_E_OUT_OF_MEMORY The key cannot be allocated.
 * @threadsafety Any thread; no lock is taken.
 * @onfailure @p key holds null (unless it is null itself); nothing is allocated.
 */
SC_API VQRESULT edct_KeyFromUTF8(const char *text, char16_t **key);

/**
 * Frees a key of edct_KeyFromUTF8().
 *
 * @param[in] key The key; null is refused (and nothing happens), so cleanup code may call it
 *     unconditionally and ignore the result.
 * @retval 0 Freed.
 * @retval EDCT_E_NULL_POINTER @p key is null.
 * @threadsafety Any thread; no lock is taken.
 */
SC_API VQRESULT edct_KeyFree(char16_t *key);

/* ---- Dictionaries ---------------------------------------------------------------------- */

/**
 * Opens a dictionary: a new empty writable one, a writable copy of an archive image, or a
 * read-only view that reads an image in place.
 *
 * @param[in] resource The Resource whose heap holds the dictionary and everything it hands
 *     out; ::g_vqNullHandle selects the default resource. It must outlive the dictionary.
 * @param[in] image An archive image (edct_DctArchive()), or null for an empty dictionary. In
 *     #EDCT_OPEN_READONLY the view reads it in place: it must start at an address that is a
 *     multiple of 4 and stay alive and unchanged until edct_DctClose(). In any other mode it
 *     is read during the call only; the copy returns a key's entries within one SubDictionary
 *     in the reverse of the order of the dictionary that was archived. The image is trusted: it
 * comes without its size, and its header, tables and offsets are read as far as they say; check an
 * image from elsewhere with edct_DctCheckImage() first.
 * @param[in] mode #EDCT_OPEN_READONLY, or any other value (#EDCT_OPEN_WRITABLE) for a writable
 *     dictionary.
 * @param[in] notify The Notify callback of a writable dictionary, or null; must be null in
 *     #EDCT_OPEN_READONLY.
 * @param[in] notifyUser Handed to every Notify call.
 * @param[out] out Receives the handle; close it with edct_DctClose().
 * @retval 0 Opened.
 * @retval EDCT_E_NULL_POINTER @p out is null.
 * @retval EDCT_E_READ_ONLY #EDCT_OPEN_READONLY without an image, or with a Notify callback.
 * @retval EDCT_E_CORRUPT The image is no archive image of this host's byte order (a wrong
 *     format number or reserved word; for a view, no SubDictionary or offsets outside the
 *     image).
 * @retval SRVSPI_E_ARRAY_BUFFER_TOO_SMALL Copying: a section runs past the image's size.
 * @retval EDCT_E_OUT_OF_MEMORY Memory ran out.
 * @return Also a resource failure (see @ref edct_handles "handles"), or a failure to make the
 *     dictionary's lock (#SRVSPI_E_SEC_OUT_OF_MEMORY, #CRITSEC_E_OUT_OF_MEMORY,
 *     #CRITSEC_E_UNEXPECTED), unchanged.
 * @threadsafety Any thread.
 * @onfailure @p out holds ::g_vqNullHandle (untouched after a resource failure or when it is
 *     null); nothing stays allocated.
 */
SC_API VQRESULT edct_DctOpen(ResourceHandle resource, const void *image, uint32_t mode,
                             EDCT_NOTIFY_FN notify, void *notifyUser, SafeHandle *out);

/**
 * Closes a dictionary and frees everything it holds. A read-only view leaves its image as it
 * is: free the image after the close.
 *
 * @param[in] dictionary The dictionary.
 * @retval 0 Closed; the handle is refused from now on.
 * @retval EDCT_E_ITERATOR_OPEN An iterator is open on it.
 * @retval EDCT_E_STILL_REGISTERED It is registered on a manager.
 * @retval EDCT_E_BAD_REGISTER_COUNT Its registration count is below 0 (an inconsistent state).
 * @return Also a handle failure (see @ref edct_handles "handles").
 * @threadsafety Any thread; no other thread may use the dictionary afterwards.
 * @onfailure The dictionary stays open and usable.
 */
SC_API VQRESULT edct_DctClose(SafeHandle dictionary);

/**
 * Adds entries under a key. Adding never replaces: an entry under a key that already has
 * entries is one more entry (within one SubDictionary it comes first in lookups). Each entry
 * goes into the SubDictionary of its six attributes, which is made when it is new. The Notify
 * callback is called after each entry.
 *
 * @param[in] dictionary A writable dictionary.
 * @param[in] key The key, NUL-terminated UTF-16; copied.
 * @param[in] entries @p count entries; their attribute strings, Model blocks and DataSize bytes
 *     of data are copied.
 * @param[in] count The number of entries; 0 adds nothing.
 * @retval 0 Added.
 * @retval EDCT_E_NULL_POINTER @p key or @p entries is null, or an entry has null Data with a
 *     non-zero DataSize.
 * @retval EDCT_E_READ_ONLY A read-only view.
 * @retval EDCT_E_ITERATOR_OPEN An iterator is open on it.
 * @retval EDCT_E_NOTIFY_FAILED The Notify callback returned nonzero (see
 *     edct_DctGetCallbackError()).
 * @retval EDCT_E_OUT_OF_MEMORY Memory ran out (or an entry's DataSize is above 2 GiB).
 * @return Also a handle failure (see @ref edct_handles "handles").
 * @threadsafety Any thread; the dictionary's lock is held for the whole call, Notify calls
 *     included.
 * @onfailure The entries before the failing one stay added (after #EDCT_E_NOTIFY_FAILED, the
 *     entry just notified too); the failing one is not added.
 */
SC_API VQRESULT edct_DctAddEntry(SafeHandle dictionary, const char16_t *key,
                                 const EDCT_ENTRY *entries, uint32_t count);

/**
 * Removes a key with all its entries, from every SubDictionary. A SubDictionary left without
 * keys stays (its attributes still head a section when the dictionary is written). The Notify
 * callback is called once, after the removal.
 *
 * @param[in] dictionary A writable dictionary.
 * @param[in] key The key, NUL-terminated UTF-16.
 * @retval 0 Removed.
 * @retval EDCT_E_NOT_FOUND No SubDictionary holds the key.
 * @retval EDCT_E_NULL_POINTER @p key is null.
 * @retval EDCT_E_READ_ONLY A read-only view.
 * @retval EDCT_E_ITERATOR_OPEN An iterator is open on it.
 * @retval EDCT_E_NOTIFY_FAILED The Notify callback returned nonzero; the key is removed all the
 *     same.
 * @return Also a handle failure (see @ref edct_handles "handles").
 * @threadsafety Any thread; the dictionary's lock is held for the whole call.
 * @onfailure Nothing changes (except after #EDCT_E_NOTIFY_FAILED).
 */
SC_API VQRESULT edct_DctRemoveEntry(SafeHandle dictionary, const char16_t *key);

/**
 * Looks a key up: all its entries that pass the filter, SubDictionary by SubDictionary in list
 * order (image order for a view), newest first within one.
 *
 * @param[in] dictionary The dictionary.
 * @param[in] key The key, NUL-terminated UTF-16.
 * @param[in] filter The selection, or null for every entry.
 * @param[out] entries Receives one array from the dictionary's heap. For a writable dictionary
 *     each entry's Language, Model, Engine and Data point to copies inside that array's block,
 *     valid until it is freed; for a read-only view they point into the image. Free it with
 *     edct_DctFreeEntryData() on the same dictionary, with the count received.
 * @param[out] count Receives the number of entries.
 * @retval 0 Found.
 * @retval EDCT_E_NOT_FOUND No entry of the key passes the filter.
 * @retval EDCT_E_NULL_POINTER @p key, @p entries or @p count is null.
 * @retval EDCT_E_CORRUPT The image behind a view is damaged where the key's data lie.
 * @retval EDCT_E_OUT_OF_MEMORY Memory ran out.
 * @return Also a handle failure (see @ref edct_handles "handles").
 * @threadsafety Any thread; the dictionary's lock is held for the whole call.
 * @onfailure @p entries holds null and @p count 0 (when they are not null).
 */
SC_API VQRESULT edct_DctGetEntryData(SafeHandle dictionary, const char16_t *key,
                                     const EDCT_FILTER *filter, EDCT_ENTRY **entries,
                                     uint32_t *count);

/**
 * Frees an array of edct_DctGetEntryData() or edct_DctMgrGetEntryData(), and every copy its
 * entries point to.
 *
 * @param[in] dictionary The dictionary the array came from (for the manager, the one it
 *     named).
 * @param[in] entries The array.
 * @param[in] count The count received with it; 0 returns 0 at once, without looking at the
 *     other arguments.
 * @retval 0 Freed.
 * @retval EDCT_E_NULL_POINTER @p entries is null (with a non-zero count).
 * @return Also a handle failure (see @ref edct_handles "handles"); nothing is freed then.
 * @threadsafety Any thread; the dictionary's lock is held for the call.
 */
SC_API VQRESULT edct_DctFreeEntryData(SafeHandle dictionary, EDCT_ENTRY *entries, uint32_t count);

/**
 * The dictionary's name, description and counts. Call edct_DctFreeInfo() on the same
 * dictionary when done, whatever its kind.
 *
 * @param[in] dictionary The dictionary.
 * @param[out] info Receives them. For a writable dictionary Name and Description are copies
 *     from the dictionary's heap (null when it has none), owned by the caller until
 *     edct_DctFreeInfo() frees them; for a read-only view they point into the image (null
 *     when empty) and edct_DctFreeInfo() frees nothing.
 * @retval 0 Written.
 * @retval EDCT_E_NULL_POINTER @p info is null.
 * @retval EDCT_E_OUT_OF_MEMORY A copy cannot be allocated.
 * @return Also a handle failure (see @ref edct_handles "handles").
 * @threadsafety Any thread; the dictionary's lock is held for the call.
 * @onfailure @p info is untouched and nothing stays allocated.
 */
SC_API VQRESULT edct_DctGetInfo(SafeHandle dictionary, EDCT_INFO *info);

/**
 * Frees the Name and Description copies that edct_DctGetInfo() put in @p info (for a writable
 * dictionary; for a view it frees nothing). The fields are not cleared.
 *
 * @param[in] dictionary The dictionary whose edct_DctGetInfo() filled @p info.
 * @param[in] info The record.
 * @retval 0 Freed.
 * @retval EDCT_E_NULL_POINTER @p info is null.
 * @return Also a handle failure (see @ref edct_handles "handles"); nothing is freed then.
 * @threadsafety Any thread; the dictionary's lock is held for the call.
 */
SC_API VQRESULT edct_DctFreeInfo(SafeHandle dictionary, EDCT_INFO *info);

/**
 * Sets the dictionary's name and description; the counts of @p info are not looked at.
 * Allowed while iterators are open.
 *
 * @param[in] dictionary A writable dictionary.
 * @param[in] info Name and Description, UTF-16, copied; a null field leaves the dictionary
 *     without one.
 * @retval 0 Set.
 * @retval EDCT_E_NULL_POINTER @p info is null.
 * @retval EDCT_E_READ_ONLY A read-only view.
 * @retval EDCT_E_OUT_OF_MEMORY A copy cannot be allocated.
 * @return Also a handle failure (see @ref edct_handles "handles").
 * @threadsafety Any thread; the dictionary's lock is held for the call.
 * @onfailure Name and Description are unchanged.
 */
SC_API VQRESULT edct_DctSetInfo(SafeHandle dictionary, const EDCT_INFO *info);

/**
 * The value the last callback call returned: the Notify callback's, or the stream callback's
 * of the last edct_DctReadStream() or edct_DctWriteStream(); 0 after a call that succeeded.
 * Reading does not clear it.
 *
 * @param[in] dictionary The dictionary.
 * @param[out] value Receives the value.
 * @retval 0 Written.
 * @retval EDCT_E_NULL_POINTER @p value is null.
 * @return Also a handle failure (see @ref edct_handles "handles").
 * @threadsafety Any thread; the dictionary's lock is held for the call.
 */
SC_API VQRESULT edct_DctGetCallbackError(SafeHandle dictionary, uint32_t *value);

/**
 * Checks an archive image against the number of bytes it is given, before edct_DctOpen()
 * trusts it. The image must have the layout edct_DctArchive() writes, in this host's byte
 * order: format number 3 and reserved 0; a recorded image size within @p size; a Name and a
 * Description that end inside it; a section table whose entries give, in order, sections that
 * follow one another (so no two overlap or are the same); in each section a key encoding this
 * host reads, attribute strings that end inside the image, a section size, key block size and
 * data block size that agree with what the section holds, an entry count that its keys and
 * data can hold, key offsets that start at 0, never go back, give every key at least its
 * terminator and end at the key block's size, and data offsets that never go back and end at
 * the data block's size. It reads the header, the Name, the Description, the section table
 * and each section's two offset tables, and no key or item: the bytes of keys and items, the
 * lengths inside item lists and the order of keys are not checked (a view over such an image
 * stays within it, but a lookup may miss or give #EDCT_E_CORRUPT, and a writable copy may be
 * refused with #EDCT_E_CORRUPT or #SRVSPI_E_ARRAY_BUFFER_TOO_SMALL).
 *
 * An image with no section passes; edct_DctOpen() refuses it read-only (#EDCT_E_CORRUPT) and
 * opens it writable as an empty dictionary.
 *
 * @param[in] image The image's first byte; any alignment. Only the bytes
 *     [@p image, @p image + @p size) are read.
 * @param[in] size The number of bytes at @p image that may be read; bytes after the recorded
 *     image size are not looked at.
 * @retval 0 The image has the layout above.
 * @retval EDCT_E_CORRUPT Anything else, a @p size below 24 included.
 * @retval EDCT_E_NULL_POINTER @p image is null.
 * @threadsafety Any thread; nothing is locked and nothing is kept.
 */
SC_API VQRESULT edct_DctCheckImage(const void *image, size_t size);

/**
 * Writes a writable dictionary as an archive image, in two calls: with a null buffer it only
 * measures; then with a buffer of at least that size it writes. The image needs no fix-ups: a
 * read-only view can use it in place (from a mapped file, say), or edct_DctOpen() can copy it.
 * Allowed while iterators are open; the image is a consistent snapshot.
 *
 * @param[in] dictionary A writable dictionary.
 * @param[out] buffer Null to measure; else the buffer, filled with the image (bytes between its
 *     pieces hold 0xAA). To open it read-only later, give it an address that is a multiple of
 *     4.
 * @param[in,out] size In: the buffer's size in bytes (not read when measuring). Out, on
 *     success: the image's size in bytes, the same for both calls while the dictionary does
 *     not change.
 * @param[in] swap 0 for this host's byte order; nonzero for a host of the other byte order (such
 *     an image does not open on this host).
 * @retval 0 Measured or written.
 * @retval EDCT_E_NULL_POINTER @p size is null.
 * @retval EDCT_E_READ_ONLY A read-only view (its image is an image already).
 * @retval SRVSPI_E_ARRAY_BUFFER_TOO_SMALL The buffer is smaller than the image, or the image
 *     would pass 4 GiB.
 * @retval EDCT_E_OUT_OF_RANGE A key with several entries has one whose data pass 65535 bytes.
 * @retval EDCT_E_OUT_OF_MEMORY Memory ran out.
 * @return Also a handle failure (see @ref edct_handles "handles").
 * @threadsafety Any thread; the dictionary's lock is held for the whole call.
 * @onfailure @p size is unchanged; the buffer may hold a partial image.
 */
SC_API VQRESULT edct_DctArchive(SafeHandle dictionary, void *buffer, uint32_t *size, uint32_t swap);

/* ---- Text streams ---------------------------------------------------------------------- */

/**
 * Reads a text stream (see @ref edct_streams "text streams") into a writable dictionary,
 * adding its entries through edct_DctAddEntry() (so Notify sees each) to those already there.
 * Name and Description are set when the whole stream has been read, and only where the
 * dictionary has none.
 *
 * @param[in] dictionary A writable dictionary.
 * @param[in] callback The stream's source.
 * @param[in] format #EDCT_FORMAT_UTF8, #EDCT_FORMAT_UCS2LE or #EDCT_FORMAT_UCS2BE (a 16-bit
 *     stream must start with U+FEFF in that order; a last half unit is dropped).
 * @param[in] user Handed to every callback call.
 * @retval 0 The whole stream was read.
 * @retval EDCT_E_UNKNOWN_FORMAT An unknown @p format, or a malformed stream: a missing or wrong
 *     byte-order mark, a first line other than `[Header]`, sections out of order, an unknown
 *     key or kind name, a value cut by the end of the stream, data that do not fit their kind.
 *     No line number is reported.
 * @retval EDCT_E_READSTREAM_FAILED The callback returned nonzero (see
 *     edct_DctGetCallbackError()).
 * @retval EDCT_E_NULL_POINTER @p callback is null.
 * @retval EDCT_E_READ_ONLY A read-only view.
 * @retval EDCT_E_ITERATOR_OPEN An iterator is open on it.
 * @retval EDCT_E_OUT_OF_MEMORY Memory ran out, or a Model value passes 128 UTF-8 bytes.
 * @return Also a failure of edct_DctAddEntry() (#EDCT_E_NOTIFY_FAILED, ...) or a handle or
 *     resource failure (see @ref edct_handles "handles"), unchanged.
 * @threadsafety Any thread; the dictionary's lock is held for the whole call, callback calls
 *     included.
 * @onfailure The entries read before the failure stay; Name and Description are unchanged.
 */
SC_API VQRESULT edct_DctReadStream(SafeHandle dictionary, EDCT_READSTREAM_FN callback,
                                   uint32_t format, void *user);

/** Read to the end, or to the [SubHeader] line that ends a [Data] section right after [Header]. */
#define EDCT_STREAM_OK 0u
/** A 16-bit stream that does not start with U+FEFF in the order of its format. */
#define EDCT_STREAM_NO_BYTE_ORDER_MARK 1u
/** The first line is not [Header]. */
#define EDCT_STREAM_NO_HEADER 2u
/** A [...] line among section keys that names no section. */
#define EDCT_STREAM_UNKNOWN_SECTION 3u
/** A section key other than Name, Description, Language, Engine, Model, Content,
 * Representation, POS and NbrSubDct. */
#define EDCT_STREAM_UNKNOWN_KEY 4u
/** A key line cut by the end of the stream before its value. */
#define EDCT_STREAM_MISSING_VALUE 5u
/** A Content value other than the names of EDCT_CONTENT_BROAD_NARROWS and the others. */
#define EDCT_STREAM_UNKNOWN_CONTENT 6u
/** A Representation value other than the names of EDCT_REPR_SZZ_STRING and the others. */
#define EDCT_STREAM_UNKNOWN_REPRESENTATION 7u
/** A Model value longer than 128 bytes in UTF-8. */
#define EDCT_STREAM_MODEL_TOO_LONG 8u
/** A section line where another section was expected. */
#define EDCT_STREAM_SECTION_ORDER 9u
/** An entry line whose section's Content and Representation do not pair, or lack. */
#define EDCT_STREAM_KIND_MISMATCH 10u
/** Broad-narrows data that does not start with //. */
#define EDCT_STREAM_BAD_BROAD_NARROWS 11u
/** User-words data that is not hexadecimal byte pairs. */
#define EDCT_STREAM_BAD_HEX 12u
/** edct_DctAddEntry refused the entry (its code is the read's result). */
#define EDCT_STREAM_ENTRY_REFUSED 13u
/** No fault of the text (a failing callback, exhausted memory, a refused call): the result
 * code says why. */
#define EDCT_STREAM_STOPPED 14u

/** Where and why edct_DctReadStreamEx stopped. Lines and columns count from 1; a column counts
 * characters (a UTF-8 sequence, a 16-bit unit, a surrogate pair: one each), a tab as one. */
typedef struct EDCT_STREAM_DIAGNOSTIC {
  uint32_t Reason;  /**< EDCT_STREAM_OK or another EDCT_STREAM_ reason */
  uint32_t Line;    /**< line of the offending text; 0 when there is none */
  uint32_t Column;  /**< its column */
  const char *Text; /**< the reason in a few English words, static; never null */
  char Found[128];  /**< the offending text in UTF-8, cut to whole characters, or "" */
} EDCT_STREAM_DIAGNOSTIC;

/**
 * @brief Reads a text stream into a writable dictionary as edct_DctReadStream does, and says
 * where reading stopped and why.
 *
 * The read itself, its result codes and what it leaves in the dictionary are those of
 * edct_DctReadStream; only the diagnostic is added. When the read fails on the text, the
 * diagnostic names the reason, the line and column of the offending token (of the key line,
 * for an entry that cannot be stored or a value cut by the end of the stream; of the first
 * character of a bad hex pair) and the token itself. A failure that is no fault of the text
 * (a failing callback, exhausted memory) gives EDCT_STREAM_STOPPED and the place reached; a
 * call refused before reading (a bad handle, a read-only dictionary, a null callback, an
 * unknown format) gives EDCT_STREAM_STOPPED with Line 0. After a read that succeeded, Reason
 * is EDCT_STREAM_OK and Line is 0, unless a [SubHeader] line ended the stream early (the
 * stream's [Data] section followed its [Header] directly): then Line and Column point at that
 * line, whose rest was not read.
 *
 * Keeping track of the place costs the read a little time, so edct_DctReadStream does not.
 *
 * @param[in] dictionary A writable dictionary.
 * @param[in] callback The stream's ReadStream callback, as for edct_DctReadStream.
 * @param[in] format EDCT_FORMAT_UTF8, EDCT_FORMAT_UCS2LE or EDCT_FORMAT_UCS2BE.
 * @param[in] user Passed to the callback.
 * @param[out] diagnostic Where and why reading stopped; may be null, and the call is then
 *   edct_DctReadStream.
 * @retval 0 The whole stream was read.
 * @retval EDCT_E_UNKNOWN_FORMAT An unknown @p format, or a malformed stream (the diagnostic
 *     says where and why).
 * @retval EDCT_E_READSTREAM_FAILED The callback returned nonzero.
 * @retval EDCT_E_NULL_POINTER @p callback is null.
 * @retval EDCT_E_READ_ONLY A read-only view.
 * @retval EDCT_E_ITERATOR_OPEN An iterator is open on it.
 * @retval EDCT_E_OUT_OF_MEMORY Memory ran out, or a Model value passes 128 UTF-8 bytes.
 * @retval OSSPI_E_INVALID_WRITE_POINTER @p diagnostic is not null and may not be written.
 * @return Also a failure of edct_DctAddEntry() or a handle or resource failure (see
 *     @ref edct_handles "handles"), unchanged.
 * @threadsafety Any thread; the dictionary's lock is held for the whole call, callback calls
 *     included.
 * @onfailure As for edct_DctReadStream(); @p diagnostic is filled in.
 */
SC_API VQRESULT edct_DctReadStreamEx(SafeHandle dictionary, EDCT_READSTREAM_FN callback,
                                     uint32_t format, void *user,
                                     EDCT_STREAM_DIAGNOSTIC *diagnostic);

/**
 * Writes a whole dictionary, writable or read-only, as a text stream (see
 * @ref edct_streams "text streams"): `[Header]` with Name and Description, then per
 * SubDictionary that has keys a `[SubHeader]` and a `[Data]` section, keys in ascending order
 * of their units. Allowed while iterators are open. What it writes, edct_DctReadStream() reads.
 *
 * @param[in] dictionary The dictionary.
 * @param[in] callback The stream's sink, handed blocks of 1024 bytes (the last one shorter).
 * @param[in] format #EDCT_FORMAT_UTF8, or the 16-bit format of this host's byte order (with
 *     U+FEFF first).
 * @param[in] user Handed to every callback call.
 * @retval 0 Written.
 * @retval EDCT_E_NOT_IMPLEMENTED The 16-bit format of the other byte order (refused before the
 *     callback is called), or an entry whose Content is none of the three kinds.
 * @retval EDCT_E_UNKNOWN_FORMAT An unknown @p format, or an entry whose Representation does not
 *     fit its Content.
 * @retval EDCT_E_WRITESTREAM_FAILED The callback returned nonzero (see
 *     edct_DctGetCallbackError()).
 * @retval EDCT_E_NULL_POINTER @p callback is null.
 * @retval EDCT_E_OUT_OF_MEMORY Memory ran out.
 * @return Also a handle or resource failure (see @ref edct_handles "handles"), unchanged.
 * @threadsafety Any thread; the dictionary's lock is held for the whole call, callback calls
 *     included.
 * @onfailure The dictionary is unchanged (but for its callback error); what the callback took
 *     stays taken.
 */
SC_API VQRESULT edct_DctWriteStream(SafeHandle dictionary, EDCT_WRITESTREAM_FN callback,
                                    uint32_t format, void *user);

/* ---- Iterators ------------------------------------------------------------------------- */

/**
 * Opens an iterator over every key of a dictionary: SubDictionary by SubDictionary (list order,
 * image order for a view; those without keys are passed over), keys in ascending order of
 * their UTF-16 units within each; a key held by two SubDictionaries is visited in each. While
 * an iterator is open the dictionary refuses edct_DctClose() and, when writable, every change
 * of its entries (#EDCT_E_ITERATOR_OPEN), so the walk sees a fixed set of keys.
 *
 * Typical use: while edct_DctItHasEnded() gives 0, edct_DctItCurrent(), use the key and
 * entries, edct_DctItIncrement(); then edct_DctItClose().
 *
 * @param[in] resource The Resource whose heap holds the iterator and what it hands out (need
 *     not be the dictionary's); ::g_vqNullHandle for the default resource.
 * @param[in] dictionary The dictionary to walk.
 * @param[out] out Receives the iterator's handle; close it with edct_DctItClose() before the
 *     dictionary.
 * @retval 0 Opened, on the first key, or ended at once for a dictionary without keys.
 * @retval EDCT_E_NULL_POINTER @p out is null.
 * @retval EDCT_E_OUT_OF_MEMORY Memory ran out.
 * @return Also a resource failure, a handle failure of @p dictionary (see
 *     @ref edct_handles "handles"), or a failure to make the iterator's lock
 *     (#SRVSPI_E_SEC_OUT_OF_MEMORY, #CRITSEC_E_OUT_OF_MEMORY, #CRITSEC_E_UNEXPECTED).
 * @threadsafety Any thread; takes the dictionary's lock briefly.
 * @onfailure @p out holds ::g_vqNullHandle once the handles were accepted (untouched before);
 *     the dictionary counts no iterator more.
 */
SC_API VQRESULT edct_DctItOpen(ResourceHandle resource, SafeHandle dictionary, SafeHandle *out);

/**
 * Closes an iterator and frees what it handed out.
 *
 * @param[in] iterator The iterator.
 * @retval 0 Closed.
 * @return Also a handle failure of the iterator (see @ref edct_handles "handles"); it then
 *     stays open.
 * @threadsafety Any thread; takes the iterator's lock, then the dictionary's.
 */
SC_API VQRESULT edct_DctItClose(SafeHandle iterator);

/**
 * Goes back to the first key, as after edct_DctItOpen(), and frees what was handed out.
 *
 * @param[in] iterator The iterator.
 * @retval 0 Reset (ended only when the dictionary has no key at all).
 * @return Also a handle failure of the iterator (see @ref edct_handles "handles").
 * @threadsafety Any thread; the iterator's lock is held for the call.
 */
SC_API VQRESULT edct_DctItReset(SafeHandle iterator);

/**
 * Whether the walk has ended.
 *
 * @param[in] iterator The iterator.
 * @param[out] ended Receives 1 when no key is left, else 0.
 * @retval 0 Written.
 * @retval EDCT_E_NULL_POINTER @p ended is null.
 * @return Also a handle failure of the iterator (see @ref edct_handles "handles").
 * @threadsafety Any thread; the iterator's lock is held for the call.
 */
SC_API VQRESULT edct_DctItHasEnded(SafeHandle iterator, uint32_t *ended);

/**
 * The current key and its entries in the current SubDictionary. What is handed out belongs to
 * the iterator and stays valid until the next edct_DctItIncrement(), edct_DctItReset() or
 * edct_DctItClose(); the caller frees none of it. Only what is asked for is built (asking for
 * neither key nor entries allocates nothing); a second call at the same position hands out
 * the same pointers without building again, and what the first call did not ask for stays
 * null.
 *
 * @param[in] iterator The iterator.
 * @param[out] key Receives the key, NUL-terminated UTF-16; may be null.
 * @param[out] entries Receives the key's entries (newest first for a writable dictionary,
 *     image order for a view), built like those of edct_DctGetEntryData(); may be null.
 * @param[out] count Receives the number of entries (counted even when not asked for); may be
 *     null.
 * @param[out] newSection Receives 1 at the first call on the first key of a SubDictionary,
 *     else 0; may be null.
 * @retval 0 Written.
 * @retval EDCT_E_ITERATOR_ENDED No key is left.
 * @retval EDCT_E_OUT_OF_MEMORY Memory ran out; the position is kept and a later call builds it
 *     again.
 * @retval EDCT_E_CORRUPT The image behind a view is damaged at this key.
 * @return Also a handle failure of the iterator (see @ref edct_handles "handles").
 * @threadsafety Any thread; the iterator's lock is held for the call.
 * @onfailure The outputs that are not null hold null or 0.
 */
SC_API VQRESULT edct_DctItCurrent(SafeHandle iterator, const char16_t **key,
                                  const EDCT_ENTRY **entries, uint32_t *count,
                                  uint32_t *newSection);

/**
 * Moves to the next key, freeing what was handed out at this one.
 *
 * @param[in] iterator The iterator.
 * @retval 0 Moved (possibly to the end: see edct_DctItHasEnded()).
 * @retval EDCT_E_ITERATOR_ENDED The walk had already ended; it stays ended until a reset.
 * @return Also a handle failure of the iterator (see @ref edct_handles "handles").
 * @threadsafety Any thread; the iterator's lock is held for the call.
 */
SC_API VQRESULT edct_DctItIncrement(SafeHandle iterator);

/* ---- Managers -------------------------------------------------------------------------- */

/**
 * Opens a dictionary manager: an ordered list of registered dictionaries that answers a
 * lookup from the first one holding the key.
 *
 * @param[in] resource The Resource whose heap holds the manager and its list;
 *     ::g_vqNullHandle for the default resource.
 * @param[out] out Receives the manager's handle; close it with edct_DctMgrClose().
 * @retval 0 Opened.
 * @retval EDCT_E_NULL_POINTER @p out is null.
 * @retval EDCT_E_OUT_OF_MEMORY Memory ran out.
 * @return Also a resource failure (see @ref edct_handles "handles"), or a failure to make the
 *     manager's lock (#SRVSPI_E_SEC_OUT_OF_MEMORY, #CRITSEC_E_OUT_OF_MEMORY,
 *     #CRITSEC_E_UNEXPECTED).
 * @threadsafety Any thread.
 * @onfailure @p out holds ::g_vqNullHandle (untouched after a resource failure or when it is
 *     null); nothing stays allocated.
 */
SC_API VQRESULT edct_DctMgrOpen(ResourceHandle resource, SafeHandle *out);

/**
 * Closes a manager: unregisters every dictionary still registered (the last first), so that
 * they can be closed, and frees the manager.
 *
 * @param[in] manager The manager.
 * @retval 0 Closed.
 * @retval EDCT_E_BAD_REGISTER_COUNT A registered dictionary counts no registration (an
 *     inconsistent state).
 * @return Also a handle failure of the manager or of a registered dictionary (see
 *     @ref edct_handles "handles").
 * @threadsafety Any thread; takes the manager's lock, then each dictionary's.
 * @onfailure The manager stays open and usable, holding the dictionaries not yet unregistered.
 */
SC_API VQRESULT edct_DctMgrClose(SafeHandle manager);

/**
 * Registers a dictionary, at the front (searched first) or at the end. A dictionary may be
 * registered on any number of managers, once on each; while registered it refuses
 * edct_DctClose() (#EDCT_E_STILL_REGISTERED).
 *
 * @param[in] manager The manager.
 * @param[in] dictionary The dictionary; its handle is kept (compared by pointer and check value).
 * @param[in] front Nonzero to put it first, 0 to put it last.
 * @retval 0 Registered.
 * @retval EDCT_E_ALREADY_REGISTERED It is registered on this manager already.
 * @retval EDCT_E_OUT_OF_MEMORY Memory ran out.
 * @return Also a handle failure of either handle (see @ref edct_handles "handles").
 * @threadsafety Any thread; takes the manager's lock, then the dictionary's.
 * @onfailure Nothing changes.
 */
SC_API VQRESULT edct_DctMgrRegisterDct(SafeHandle manager, SafeHandle dictionary, uint32_t front);

/**
 * Unregisters a dictionary; the others keep their order.
 *
 * @param[in] manager The manager.
 * @param[in] dictionary The dictionary.
 * @retval 0 Unregistered.
 * @retval EDCT_E_NOT_REGISTERED It is not registered on this manager.
 * @retval EDCT_E_BAD_REGISTER_COUNT It counts no registration (an inconsistent state).
 * @return Also a handle failure of either handle (see @ref edct_handles "handles").
 * @threadsafety Any thread; takes the manager's lock, then the dictionary's.
 * @onfailure Nothing changes.
 */
SC_API VQRESULT edct_DctMgrUnregisterDct(SafeHandle manager, SafeHandle dictionary);

/**
 * Moves a registered dictionary to the front; the others keep their order.
 *
 * @param[in] manager The manager.
 * @param[in] dictionary The dictionary.
 * @retval 0 Moved (or first already).
 * @retval EDCT_E_NOT_REGISTERED It is not registered on this manager.
 * @return Also a handle failure of either handle (see @ref edct_handles "handles").
 * @threadsafety Any thread; the manager's lock is held for the call.
 * @onfailure Nothing changes.
 */
SC_API VQRESULT edct_DctMgrPromoteDct(SafeHandle manager, SafeHandle dictionary);

/**
 * The registered dictionaries, in search order.
 *
 * @param[in] manager The manager.
 * @param[out] dictionaries Receives copies of their handles (nothing is allocated); null to ask
 *     for the number only.
 * @param[in,out] count In: the room in @p dictionaries, in handles (not read when it is null).
 *     Out: the number of registered dictionaries.
 * @retval 0 Written.
 * @retval EDCT_E_BUFFER_TOO_SMALL @p dictionaries has room for fewer; neither it nor @p count
 *     is written.
 * @retval EDCT_E_NULL_POINTER @p count is null.
 * @return Also a handle failure of the manager (see @ref edct_handles "handles").
 * @threadsafety Any thread; the manager's lock is held for the call.
 */
SC_API VQRESULT edct_DctMgrGetRegisteredDcts(SafeHandle manager, SafeHandle *dictionaries,
                                             uint32_t *count);

/**
 * Looks a key up in the registered dictionaries, in search order: the first one that holds
 * entries of the key passing the filter supplies all of them; the entries of the same key in
 * later dictionaries are hidden.
 *
 * @param[in] manager The manager.
 * @param[in] key The key, NUL-terminated UTF-16.
 * @param[in] filter The selection, or null for every entry.
 * @param[out] entries Receives the array, as edct_DctGetEntryData() hands it out; free it with
 *     edct_DctFreeEntryData() on the dictionary received in @p dictionary.
 * @param[out] count Receives the number of entries.
 * @param[out] dictionary Receives the handle of the dictionary that answered.
 * @retval 0 Found.
 * @retval EDCT_E_NOT_FOUND No registered dictionary holds the key with entries that pass;
 *     the outputs hold null, 0 and ::g_vqNullHandle.
 * @retval EDCT_E_NULL_POINTER @p key, @p entries, @p count or @p dictionary is null.
 * @return Also a handle failure of the manager, or the failure of a registered dictionary's
 *     lookup (#EDCT_E_OUT_OF_MEMORY, #EDCT_E_CORRUPT, a handle failure), which stops the
 *     search.
 * @threadsafety Any thread; takes the manager's lock, then each dictionary's in turn.
 * @onfailure Except for #EDCT_E_NOT_FOUND, the outputs are untouched.
 */
SC_API VQRESULT edct_DctMgrGetEntryData(SafeHandle manager, const char16_t *key,
                                        const EDCT_FILTER *filter, EDCT_ENTRY **entries,
                                        uint32_t *count, SafeHandle *dictionary);

/**
 * The interface revision of `edct_`: 0xFFFFFFFF, the dictionaries' fixed marker for
 * "unversioned". Like every family's revision it is compared for equality only; its bytes
 * carry no meaning.
 *
 * @param[out] version Receives the revision.
 * @retval 0 Written.
 * @retval EDCT_E_NULL_POINTER @p version is null.
 * @threadsafety Any thread.
 */
SC_API VQRESULT edct_GetVersion(uint32_t *version);

/**
 * The text of a code as the dictionaries read it.
 *
 * @param[in] code Any result code.
 * @return "Success" for 0; vq_ErrorGetString() for a general reason; for the modules whose
 *     codes the dictionaries pass on (#VQ_MODULE_SRVSPI, #VQ_MODULE_OSSPI,
 *     #VQ_MODULE_CRITSEC, #VQ_MODULE_RSRC) that family's getter; for #VQ_MODULE_EDCT the text
 *     of its reason (those of the `EDCT_E_` names), "Unknown Error" for a reason without text
 *     (#EDCT_E_NOTIFY_FAILED); "Unknown Module" for any other module. A constant of the
 *     library.
 * @threadsafety Any thread.
 */
SC_API const char *edct_ErrorGetString(VQRESULT code);

/**
 * The name of the submodule of a code as the dictionaries read it.
 *
 * @param[in] code Any result code.
 * @return "Success" for 0; "EDCTSPI" for module #VQ_MODULE_EDCT; for #VQ_MODULE_SRVSPI,
 *     #VQ_MODULE_OSSPI, #VQ_MODULE_CRITSEC and #VQ_MODULE_RSRC that family's getter; "Unknown
 *     Module" for any other module. A constant of the library.
 * @threadsafety Any thread.
 */
SC_API const char *edct_ErrorGetSubModuleName(VQRESULT code);

/**
 * The module name of a code; the same as vq_ErrorGetModuleName().
 *
 * @param[in] code Any result code.
 * @return The module's name, "Unknown Module" when the id is unknown.
 * @threadsafety Any thread.
 */
SC_API const char *edct_ErrorGetModuleName(VQRESULT code);

SC_EXTERN_C_END

#endif /* SC_EDCT_H */
