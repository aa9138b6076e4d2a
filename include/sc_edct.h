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
 * with an image in any other mode: a writable copy of it. The image is trusted: it is given
 * without its size, and its header, tables and offsets are read as far as they say. Check an
 * image from elsewhere with edct_DctCheckImage first. */
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
