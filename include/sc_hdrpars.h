/* hdrpars_: data header files. A data header file is a UTF-16 tagged text (a tree of named
 * elements) optionally followed by raw data blocks, each named and located by a DATABLOCK
 * element of the text. */
#ifndef SC_HDRPARS_H
#define SC_HDRPARS_H

#include "sc_common.h"
#include "sc_hdrpars_codes.h" /* the family's result codes by name (generated) */

SC_EXTERN_C_BEGIN

/* Kinds of ParserResource. */
#define PARSER_RESOURCE_FILE 0u
#define PARSER_RESOURCE_MEMORY 1u

/* Total size of a file resource whose size is not known. */
#define PARSER_RESOURCE_SIZE_UNKNOWN 0xFFFFFFFFu

/* One element of the tagged text. Every string is a NUL-terminated UTF-16 string. value is the
 * trimmed inner text; for an element with children it is the whole inner text, children's
 * markup included, for the elements of the first three levels (an element with children deeper
 * down has an empty value, so that reading stays within a few times the file's size whatever
 * its nesting). Trees, their strings and DataBlock records that a client builds and hands to
 * hdrpars_WriteFile or hdrpars_DeleteFileStructure are blocks of the C allocator (malloc/free):
 * the writer replaces OFFSET and SIZE values and the delete frees everything. A tree read by
 * hdrpars_ReadFileHeader keeps its tags and strings in blocks of its structure: a client may
 * relink them and link in (or point to) malloc blocks of its own, which the delete frees, but
 * must not free or reallocate a tag or string it read, nor move it to another structure. The
 * structure's path is a malloc block in either case. */
typedef struct Tag {
  char16_t *name;
  char16_t *value;
  struct Tag *children;
  struct Tag *next;
} Tag;

/* A source of bytes that readers map ranges of: a file read through a read-ahead window, or a
 * private copy of bytes in memory. */
typedef struct ParserResource {
  uint32_t kind;       /* PARSER_RESOURCE_FILE or PARSER_RESOURCE_MEMORY */
  void *state;         /* the kind's own state */
  uint32_t baseOffset; /* added to every offset given to hdrpars_DataMap */
} ParserResource;

/* One open data block of a FileStructure. Its source's offsets count from the block's first
 * byte. */
typedef struct DataBlock {
  ParserResource *source;
  uint32_t size;
  char16_t *name;
  struct DataBlock *next;
} DataBlock;

/* A data header file read into memory: its path as UTF-16 text, the elements inside HEADER,
 * and the data blocks opened on it (in order of opening). */
typedef struct FileStructure {
  char16_t *path;
  Tag *tags;
  DataBlock *dataBlocks;
} FileStructure;

SC_API const char *hdrpars_ErrorGetString(VQRESULT code);
SC_API const char *hdrpars_ErrorGetSubModuleName(VQRESULT code);
SC_API const char *hdrpars_ErrorGetModuleName(VQRESULT code);

/* Reads the tagged text of the file at path (UTF-8), which must be a regular file (anything
 * else is refused with HDRPARS_E_FILE_OPEN, without waiting on it). On success *out is a new
 * structure, released with hdrpars_DeleteFileStructure only; on failure *out is null. */
SC_API VQRESULT hdrpars_ReadFileHeader(const char *path, FileStructure **out);
/* The first of first and its following siblings named name (case-sensitive), or null. Children
 * are not searched. */
SC_API VQRESULT hdrpars_FindTag(Tag *first, const char16_t *name, Tag **out);
/* Writes the structure to its path with the bytes of its open data blocks back to back, filling
 * in each block's OFFSET and SIZE. */
SC_API VQRESULT hdrpars_WriteFile(FileStructure *structure);
/* Frees the structure, its tags and its open data blocks. Null is accepted. */
SC_API VQRESULT hdrpars_DeleteFileStructure(FileStructure *structure);
/* Prints the tag tree to the standard output as UTF-8 text. */
SC_API VQRESULT hdrpars_PrintFileStructure(FileStructure *structure);

/* Opens a resource. kind PARSER_RESOURCE_FILE: what is a UTF-8 path, size the total size counted
 * from baseOffset (PARSER_RESOURCE_SIZE_UNKNOWN when unknown), minimumWindow the smallest read
 * ahead in bytes (0: 1024). kind PARSER_RESOURCE_MEMORY: what points to size bytes, copied now.
 * On failure *out is null. */
SC_API VQRESULT hdrpars_OpenResource(const void *what, uint32_t baseOffset, uint32_t size,
                                     uint32_t kind, uint32_t minimumWindow, ParserResource **out);
/* Closes a resource; refused (nothing closed) while a mapping into it is outstanding. */
SC_API VQRESULT hdrpars_CloseResource(ParserResource *resource);
/* Maps length bytes (-1: the total size) at offset. *data points into the resource and stays
 * valid until given back with hdrpars_DataUnMap; *available may be fewer than asked for. */
SC_API VQRESULT hdrpars_DataMap(ParserResource *resource, uint32_t offset, int32_t length,
                                const void **data, uint32_t *available);
SC_API VQRESULT hdrpars_DataUnMap(ParserResource *resource, const void *pointer);
/* Opens the data block named name on the structure, or hands out the one already open. */
SC_API VQRESULT hdrpars_OpenData(const char16_t *name, FileStructure *structure, DataBlock **out);
SC_API VQRESULT hdrpars_CloseData(DataBlock *block, FileStructure *structure);

SC_EXTERN_C_END

#endif /* SC_HDRPARS_H */
