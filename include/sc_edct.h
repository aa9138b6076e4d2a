/* edct_: exception dictionaries. A dictionary maps words (16-bit keys) to typed data entries,
 * grouped by six attributes; it is writable in memory or a read-only view over an archive
 * image. Iterators walk a dictionary, and a manager searches several in priority order. */
#ifndef SC_EDCT_H
#define SC_EDCT_H

#include "sc_common.h"
#include "sc_edct_codes.h" /* the family's result codes by name (generated) */

SC_EXTERN_C_BEGIN

/* Check values of the dictionaries' safe handles (and owner tags of their guarded objects). */
#define EDCT_DCT_TAG 44892u
#define EDCT_DCTIT_TAG 44893u
#define EDCT_DCTMGR_TAG 56613u

/* Content kinds. */
#define EDCT_CONTENT_BROAD_NARROWS 0u
#define EDCT_CONTENT_USERWORDS 1u
#define EDCT_CONTENT_ORTHOGRAPHIC 2u

/* Representations of the data bytes. */
#define EDCT_REPR_SZZ_STRING 0u
#define EDCT_REPR_BINARY 1u
#define EDCT_REPR_SZ_STRING 2u
#define EDCT_REPR_WSZ_STRING 3u

/* Notify actions. */
#define EDCT_NOTIFY_NEWKEY 0u
#define EDCT_NOTIFY_REMOVED 1u
#define EDCT_NOTIFY_ADDED 2u

/* Open modes: any mode other than EDCT_OPEN_READONLY opens a writable dictionary. */
#define EDCT_OPEN_WRITABLE 0u
#define EDCT_OPEN_READONLY 1u

/* Text stream encodings. */
#define EDCT_FORMAT_UTF8 0u
#define EDCT_FORMAT_UCS2LE 1u
#define EDCT_FORMAT_UCS2BE 2u

/* One entry: what kind of data, how its bytes are represented, a part-of-speech class
 * (0xFFFFFFFF unspecified), three optional attributes (Model is a block of exactly 128
 * bytes), and the data. */
typedef struct EDCT_ENTRY {
  uint32_t Content;
  uint32_t Representation;
  uint32_t POS;
  const char *Language;
  const char *Model;
  const char *Engine;
  const void *Data;
  uint32_t DataSize;
} EDCT_ENTRY;

typedef struct EDCT_INFO {
  const char16_t *Name;
  const char16_t *Description;
  uint32_t NbrKeys;
  uint32_t NbrEntries;
} EDCT_INFO;

/* A selection of entries: 0xFFFFFFFF and null fields select anything. */
typedef struct EDCT_FILTER {
  uint32_t Content;
  uint32_t POS;
  const char *Language;
  const char *Model;
  const char *Engine;
} EDCT_FILTER;

/* Called after each entry added and each key removed, on the calling thread with the
 * dictionary's lock held; a nonzero return stops the operation. */
typedef uint32_t (*EDCT_NOTIFY_FN)(SafeHandle dictionary, uint32_t action, const char16_t *key,
                                   const EDCT_ENTRY *entry, void *user);
/* Stores up to *count bytes and sets *count to the number stored (0 at the end). */
typedef uint32_t (*EDCT_READSTREAM_FN)(void *user, void *buffer, uint32_t *count);
/* Takes all count bytes. */
typedef uint32_t (*EDCT_WRITESTREAM_FN)(void *user, const void *buffer, uint32_t count);

/* ---- Dictionaries ---------------------------------------------------------------------- */

/* Without image: a new empty writable dictionary. With an image and EDCT_OPEN_READONLY: a
 * view that reads the image in place (it must stay alive and unchanged until the close);
 * with an image in any other mode: a writable copy of it. */
SC_API VQRESULT edct_DctOpen(ResourceHandle resource, const void *image, uint32_t mode,
                             EDCT_NOTIFY_FN notify, void *notifyUser, SafeHandle *out);
SC_API VQRESULT edct_DctClose(SafeHandle dictionary);
SC_API VQRESULT edct_DctAddEntry(SafeHandle dictionary, const char16_t *key,
                                 const EDCT_ENTRY *entries, uint32_t count);
SC_API VQRESULT edct_DctRemoveEntry(SafeHandle dictionary, const char16_t *key);
/* The entries of a key that pass the filter (null: all); free them with
 * edct_DctFreeEntryData on the same dictionary. */
SC_API VQRESULT edct_DctGetEntryData(SafeHandle dictionary, const char16_t *key,
                                     const EDCT_FILTER *filter, EDCT_ENTRY **entries,
                                     uint32_t *count);
SC_API VQRESULT edct_DctFreeEntryData(SafeHandle dictionary, EDCT_ENTRY *entries, uint32_t count);
SC_API VQRESULT edct_DctGetInfo(SafeHandle dictionary, EDCT_INFO *info);
SC_API VQRESULT edct_DctFreeInfo(SafeHandle dictionary, EDCT_INFO *info);
SC_API VQRESULT edct_DctSetInfo(SafeHandle dictionary, const EDCT_INFO *info);
SC_API VQRESULT edct_DctGetCallbackError(SafeHandle dictionary, uint32_t *value);

/* Writes a writable dictionary as an archive image: call with a null buffer to learn the
 * size (*size), then with a buffer of that size. A nonzero swap writes the image for a host
 * of the other byte order. */
SC_API VQRESULT edct_DctArchive(SafeHandle dictionary, void *buffer, uint32_t *size, uint32_t swap);

/* ---- Text streams ---------------------------------------------------------------------- */

/* Reads a text stream ("[Header]", then "[SubHeader]" and "[Data]" sections) into a writable
 * dictionary; format is one of EDCT_FORMAT_*. The callback is called with a 1024-byte buffer
 * and *count 1024, stores up to that many bytes and sets *count (0 at the end of the
 * stream; it may be asked again after that and must answer 0 again). A nonzero return stops
 * the read with EDCT_E_READSTREAM_FAILED and stays readable through edct_DctGetCallbackError.
 * Entries read before a failure stay in the dictionary. In the 16-bit formats a last half unit (a
 * stream of odd length) is dropped. */
SC_API VQRESULT edct_DctReadStream(SafeHandle dictionary, EDCT_READSTREAM_FN callback,
                                   uint32_t format, void *user);

/* Why a text stream read stopped: the Reason of an EDCT_STREAM_DIAGNOSTIC. */
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
 * @return 0 when the stream was read; EDCT_E_UNKNOWN_FORMAT for a malformed stream or an
 *   unknown format; EDCT_E_READSTREAM_FAILED when the callback failed;
 *   EDCT_E_OUT_OF_MEMORY, also for a Model value over 128 bytes; EDCT_E_READ_ONLY;
 *   EDCT_E_NULL_POINTER for a null callback; EDCT_E_ITERATOR_OPEN; a failure of the handle
 *   or of edct_DctAddEntry unchanged.
 */
SC_API VQRESULT edct_DctReadStreamEx(SafeHandle dictionary, EDCT_READSTREAM_FN callback,
                                     uint32_t format, void *user,
                                     EDCT_STREAM_DIAGNOSTIC *diagnostic);
/* Writes the whole dictionary as a text stream, handing the bytes to the callback in blocks
 * of 1024 (the last one shorter). The 16-bit formats are written in the host's byte order
 * only: the other order gives EDCT_E_NOT_IMPLEMENTED before the callback is called. */
SC_API VQRESULT edct_DctWriteStream(SafeHandle dictionary, EDCT_WRITESTREAM_FN callback,
                                    uint32_t format, void *user);

/* ---- Iterators ------------------------------------------------------------------------- */

/* Walks every key of a dictionary, SubDictionary by SubDictionary, keys in ascending order of
 * their 16-bit units. While an iterator is open the dictionary refuses changes of its entries
 * and its close. What edct_DctItCurrent hands out belongs to the iterator and stays valid
 * until the next increment, reset or close. */
SC_API VQRESULT edct_DctItOpen(ResourceHandle resource, SafeHandle dictionary, SafeHandle *out);
SC_API VQRESULT edct_DctItClose(SafeHandle iterator);
SC_API VQRESULT edct_DctItReset(SafeHandle iterator);
SC_API VQRESULT edct_DctItHasEnded(SafeHandle iterator, uint32_t *ended);
/* Every out pointer may be null; nothing is allocated for what is not asked for. */
SC_API VQRESULT edct_DctItCurrent(SafeHandle iterator, const char16_t **key,
                                  const EDCT_ENTRY **entries, uint32_t *count,
                                  uint32_t *newSection);
SC_API VQRESULT edct_DctItIncrement(SafeHandle iterator);

/* ---- Managers -------------------------------------------------------------------------- */

/* A lookup through a manager is answered by the first registered dictionary, in list order,
 * that has entries for the key passing the filter. A registered dictionary cannot be closed;
 * closing the manager unregisters everything. */
SC_API VQRESULT edct_DctMgrOpen(ResourceHandle resource, SafeHandle *out);
SC_API VQRESULT edct_DctMgrClose(SafeHandle manager);
/* A nonzero front puts the dictionary first, else last. */
SC_API VQRESULT edct_DctMgrRegisterDct(SafeHandle manager, SafeHandle dictionary, uint32_t front);
SC_API VQRESULT edct_DctMgrUnregisterDct(SafeHandle manager, SafeHandle dictionary);
SC_API VQRESULT edct_DctMgrPromoteDct(SafeHandle manager, SafeHandle dictionary);
/* With a null array only the count is written. */
SC_API VQRESULT edct_DctMgrGetRegisteredDcts(SafeHandle manager, SafeHandle *dictionaries,
                                             uint32_t *count);
/* Free the entries with edct_DctFreeEntryData on the dictionary handed out. */
SC_API VQRESULT edct_DctMgrGetEntryData(SafeHandle manager, const char16_t *key,
                                        const EDCT_FILTER *filter, EDCT_ENTRY **entries,
                                        uint32_t *count, SafeHandle *dictionary);

SC_API VQRESULT edct_GetVersion(uint32_t *version);

SC_API const char *edct_ErrorGetString(VQRESULT code);
SC_API const char *edct_ErrorGetSubModuleName(VQRESULT code);
SC_API const char *edct_ErrorGetModuleName(VQRESULT code);

SC_EXTERN_C_END

#endif /* SC_EDCT_H */
