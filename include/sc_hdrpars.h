/**
 * @file sc_hdrpars.h
 * `hdrpars_`: data header files. A data header file describes a component and may carry its
 * binary data: a small tagged text (a tree of named elements) in UTF-16 little-endian,
 * optionally followed by raw data blocks, each named and located by a DATABLOCK element.
 *
 * The file, as this library writes it: the byte-order mark, `<VQS>`, a line end,
 * `<VERSION>VQ_1.0</VERSION>`, a line end, `<HEADER>`, a line end, the header's elements (two
 * blanks of indent per level, one element per line or block of lines), `</HEADER>`; then, when
 * the file carries data, a line end, `<BINARYDATA>`, the blocks back to back and
 * `</BINARYDATA>`; then a line end and `</VQS>`. A DATABLOCK element has the children
 * BROKERSTRING (the block's name), OFFSET (counted from the first byte after `<BINARYDATA>`)
 * and SIZE (bytes), the numbers as 12-character decimal fields.
 *
 * The reader is lenient inside HEADER: an element is `<NAME>value</NAME>` (no attributes,
 * comments or references; names compared case-sensitively, at most 256 characters); only
 * blanks and line ends may stand between elements; a value loses its leading and trailing
 * blanks and line ends; a value that begins with an element is read again as the element's
 * children; the first place where no element can be read ends a list of siblings without
 * error. A value ends at the first closing tag of its own name, so an element cannot hold an
 * element of the same name.
 *
 * Memory: everything this family hands out (structures, tags, their strings, data blocks) is
 * allocated with the C allocator (`malloc`), and so must be what a client builds itself and
 * hands to hdrpars_WriteFile() or hdrpars_DeleteFileStructure(). Paths are UTF-8 and pass
 * through unchanged: the UTF-16 path stored in a ::FileStructure converts back to the same
 * bytes (bytes that are not valid UTF-8 travel as U+DC80 to U+DCFF).
 *
 * Threads: no lock is taken and there is no shared state. A ::FileStructure with its blocks,
 * and a ::ParserResource with its mappings, are used by one thread at a time; different ones
 * may be used by different threads at once.
 *
 * A null pointer argument is refused with #HDRPARS_E_INVALID_ARGUMENT.
 */
#ifndef SC_HDRPARS_H
#define SC_HDRPARS_H

#include "sc_common.h"
#include "sc_hdrpars_codes.h" /* the family's result codes by name (generated) */

SC_EXTERN_C_BEGIN

/** A ::ParserResource over a file, read through a read-ahead window. */
#define PARSER_RESOURCE_FILE 0u
/** A ::ParserResource over a private copy of bytes. */
#define PARSER_RESOURCE_MEMORY 1u

/** The total size of a file resource whose size is not known: the file's end bounds it. */
#define PARSER_RESOURCE_SIZE_UNKNOWN 0xFFFFFFFFu

/**
 * One element of the tagged text. Every string is a NUL-terminated UTF-16 string. The value is
 * the trimmed inner text; for an element with children it is the whole inner text, children's
 * markup included, for the elements of the first three levels (an element with children deeper
 * down has an empty value, so that reading stays within a few times the file's size whatever
 * its nesting).
 *
 * Trees, their strings and DataBlock records that a client builds and hands to
 * hdrpars_WriteFile() or hdrpars_DeleteFileStructure() are blocks of the C allocator
 * (`malloc`/`free`): the writer replaces OFFSET and SIZE values and the delete frees
 * everything. A tree read by hdrpars_ReadFileHeader() keeps its tags and strings in blocks of
 * its structure: a client may relink them and link in (or point to) `malloc` blocks of its own,
 * which the delete frees, but must not free or reallocate a tag or string it read, nor move it
 * to another structure. The structure's path is a `malloc` block in either case.
 */
typedef struct Tag {
  char16_t *name; /**< The element's name. */
  /**
   * The element's value, without leading and trailing blanks and line ends; for an element
   * with children, its whole inner text, the children's markup included (hdrpars_WriteFile()
   * writes the children, not this text).
   */
  char16_t *value;
  struct Tag *children; /**< The first child, or null. */
  struct Tag *next;     /**< The next sibling, or null. */
} Tag;

/**
 * A source of bytes that readers map ranges of: a file read through a read-ahead window, or a
 * private copy of bytes. Opened by hdrpars_OpenResource(), closed by hdrpars_CloseResource();
 * its fields are the library's.
 */
typedef struct ParserResource {
  uint32_t kind;       /**< #PARSER_RESOURCE_FILE or #PARSER_RESOURCE_MEMORY. */
  void *state;         /**< The kind's own state; opaque. */
  uint32_t baseOffset; /**< Added to every offset given to hdrpars_DataMap(). */
} ParserResource;

/**
 * One open data block of a ::FileStructure, as hdrpars_OpenData() opens it. Its source's
 * offsets count from the block's first byte.
 */
typedef struct DataBlock {
  ParserResource *source; /**< A file resource over the block; map it with hdrpars_DataMap(). */
  uint32_t size;          /**< The block's SIZE in bytes. */
  char16_t *name;         /**< The block's name (its BROKERSTRING), UTF-16, owned by the block. */
  struct DataBlock *next; /**< The next open block of the structure, or null. */
} DataBlock;

/**
 * A data header file read into memory, or built by a client (then with `malloc` blocks).
 */
typedef struct FileStructure {
  char16_t *path;        /**< The file's path, UTF-16; converts back to the UTF-8 path given. */
  Tag *tags;             /**< The first element inside HEADER, or null. */
  DataBlock *dataBlocks; /**< The blocks opened on it, in order of opening; null after reading. */
} FileStructure;

/**
 * The text of a code as `hdrpars_` reads it.
 *
 * @param[in] code Any result code; its module id is not looked at.
 * @return "Success" for any success; vq_ErrorGetString() for a general reason; the text of an
 *     own reason (those of the `HDRPARS_E_` names, such as "WRONG FILE FORMAT"); "Unknown
 *     Error" for any other. A constant of the library.
 * @threadsafety Any thread.
 */
SC_API const char *hdrpars_ErrorGetString(VQRESULT code);

/**
 * The name of the submodule of an `hdrpars_` code.
 *
 * @param[in] code Any result code.
 * @return "Parser submodule" for submodule 1 of module #VQ_MODULE_HDRPARS, "unknown
 *     submodule" for another submodule, "Wrong module" for a code of another module. A
 *     constant of the library.
 * @threadsafety Any thread.
 */
SC_API const char *hdrpars_ErrorGetSubModuleName(VQRESULT code);

/**
 * The module name of a code; the same as vq_ErrorGetModuleName().
 *
 * @param[in] code Any result code.
 * @return The module's name, "Unknown Module" when the id is unknown.
 * @threadsafety Any thread.
 */
SC_API const char *hdrpars_ErrorGetModuleName(VQRESULT code);

/**
 * Reads the tagged text of a data header file: the elements inside HEADER become a tree. The
 * file must start (after an optional byte-order mark and `<VQS>`) with a VERSION element whose
 * value begins with "VQ_"; elements between it and HEADER are skipped; the binary data after
 * HEADER is not read.
 *
 * @param[in] path The file's path, UTF-8. It must name a regular file: anything else is
 *     refused with #HDRPARS_E_FILE_OPEN, without waiting on it.
 * @param[out] out Receives the new structure, owned by the caller: release it with
 *     hdrpars_DeleteFileStructure().
 * @retval 0 Read.
 * @retval HDRPARS_E_INVALID_ARGUMENT @p path or @p out is null.
 * @retval HDRPARS_E_FILE_OPEN The file cannot be opened.
 * @retval HDRPARS_E_FILE_READ The file cannot be read.
 * @retval HDRPARS_E_WRONG_FORMAT No VERSION element with a value starting "VQ_" where the text
 *     must begin, no HEADER element, or an element before HEADER without its closing tag.
 *     Faults inside HEADER only end the tree early.
 * @retval HDRPARS_E_OUT_OF_MEMORY Memory ran out.
 * @threadsafety Any thread.
 * @onfailure @p out holds null (unless it is null itself); nothing stays allocated or open.
 */
SC_API VQRESULT hdrpars_ReadFileHeader(const char *path, FileStructure **out);

/**
 * Finds an element among siblings: the first of @p first and its following siblings named
 * @p name (case-sensitive). Children are not searched: to reach a nested element, search level
 * by level, handing in the children of the element found.
 *
 * @param[in] first The first sibling to look at; null finds nothing.
 * @param[in] name The name, UTF-16; null finds nothing.
 * @param[out] out Receives the element (owned by its tree), or null when none has the name.
 * @retval 0 Searched, whether or not found.
 * @retval HDRPARS_E_INVALID_ARGUMENT @p out is null.
 * @threadsafety Any thread, on a tree no other thread changes.
 */
SC_API VQRESULT hdrpars_FindTag(Tag *first, const char16_t *name, Tag **out);

/**
 * Writes a structure to its path (created or truncated) with the bytes of its open data
 * blocks back to back, in list order, the first at offset 0. Each open block must be named by
 * a DATABLOCK element, whose OFFSET and SIZE children are set (added at the end of its
 * children when missing) before anything is written. Writing to the very file the blocks are
 * read from destroys their data first: point the path elsewhere, or give blocks whose sources
 * are memory copies.
 *
 * @param[in,out] structure The structure; its DATABLOCK elements get their OFFSET and SIZE.
 * @retval 0 Written.
 * @retval HDRPARS_E_INVALID_ARGUMENT @p structure is null, or a DATABLOCK to fill in has no
 *     children at all.
 * @retval HDRPARS_E_TAG_MISSING A DATABLOCK element has no BROKERSTRING.
 * @retval HDRPARS_E_DATABLOCK_NOT_FOUND A DATABLOCK names no open block, or an open block no
 *     DATABLOCK.
 * @retval HDRPARS_E_UNEXPECTED The structure has no path, or its path has no byte form.
 * @retval HDRPARS_E_FILE_OPEN The file cannot be created.
 * @retval HDRPARS_E_FILE_READ A block's source holds fewer bytes than its size.
 * @retval HDRPARS_E_FILE_WRITE A write failed.
 * @retval HDRPARS_E_OUT_OF_MEMORY Memory ran out.
 * @threadsafety Any thread, on a structure no other thread uses.
 * @onfailure A fault found before the file is opened leaves no file, though OFFSET and SIZE of
 *     some blocks may have been set; a later failure leaves a partly written file.
 */
SC_API VQRESULT hdrpars_WriteFile(FileStructure *structure);

/**
 * Frees a structure: its path, its whole tree and its open data blocks (closing their
 * sources; a source with mappings still outstanding stays open, so those mappings stay valid).
 * Give back mappings and close the blocks still needed first.
 *
 * @param[in] structure A structure from hdrpars_ReadFileHeader() or built with `malloc`; null
 *     is accepted.
 * @retval 0 Always.
 * @threadsafety Any thread, on a structure no other thread uses.
 */
SC_API VQRESULT hdrpars_DeleteFileStructure(FileStructure *structure);

/**
 * Prints the tree to the standard output as UTF-8 text: one line per element, in tree order,
 * indented with "..." per level; an element with children prints its name, one without
 * prints its name, ": " and its value.
 *
 * @param[in] structure The structure.
 * @retval 0 Printed.
 * @retval HDRPARS_E_INVALID_ARGUMENT @p structure is null.
 * @threadsafety Any thread, on a structure no other thread changes.
 */
SC_API VQRESULT hdrpars_PrintFileStructure(FileStructure *structure);

/**
 * Opens a byte source.
 *
 * @param[in] what #PARSER_RESOURCE_FILE: the file's path, UTF-8; #PARSER_RESOURCE_MEMORY: the
 *     bytes, copied now (the caller's bytes are not referred to afterwards; may be null when
 *     @p size is 0).
 * @param[in] baseOffset Added to every offset given to hdrpars_DataMap().
 * @param[in] size File: the total size in bytes counted from @p baseOffset, or
 *     #PARSER_RESOURCE_SIZE_UNKNOWN to let the file's end bound it. Memory: the number of
 *     bytes to copy.
 * @param[in] kind #PARSER_RESOURCE_FILE or #PARSER_RESOURCE_MEMORY.
 * @param[in] minimumWindow File: the smallest read-ahead in bytes (0: 1024). Memory: unused.
 * @param[out] out Receives the resource, to be closed with hdrpars_CloseResource().
 * @retval 0 Opened.
 * @retval HDRPARS_E_INVALID_ARGUMENT @p out is null, @p what is null for a file, or null with a
 *     non-zero @p size for memory.
 * @retval HDRPARS_E_FILE_OPEN The file cannot be opened.
 * @retval HDRPARS_E_OUT_OF_MEMORY Memory ran out.
 * @retval HDRPARS_E_UNEXPECTED @p kind is neither kind.
 * @threadsafety Any thread.
 * @onfailure @p out holds null (unless it is null itself); nothing stays allocated or open.
 */
SC_API VQRESULT hdrpars_OpenResource(const void *what, uint32_t baseOffset, uint32_t size,
                                     uint32_t kind, uint32_t minimumWindow, ParserResource **out);

/**
 * Closes a byte source, once every mapping into it has been given back.
 *
 * @param[in] resource The resource; null is accepted.
 * @retval 0 Closed (or null).
 * @retval HDRPARS_E_STILL_MAPPED A mapping into a file resource is still outstanding; nothing
 *     is closed.
 * @retval HDRPARS_E_UNEXPECTED The resource is of no known kind.
 * @threadsafety The thread that uses the resource.
 */
SC_API VQRESULT hdrpars_CloseResource(ParserResource *resource);

/**
 * Maps a range: hands out a pointer straight into the resource's window or copy, without
 * copying. A mapping stays valid until it is given back with hdrpars_DataUnMap(), even when
 * later mappings move the window (a window with mappings is retired, not freed).
 *
 * @param[in] resource The resource; null maps nothing.
 * @param[in] offset Where the range starts, in bytes from the resource's base offset.
 * @param[in] length The number of bytes; -1 for the resource's total size (for a file of
 *     unknown size, the whole file); 0 or another negative value maps nothing.
 * @param[out] data Receives the address of the bytes, or null when nothing was mapped.
 * @param[out] available Receives how many bytes may be read there; fewer than asked at the end
 *     of a file or block, 0 when the range starts at or past the end.
 * @retval 0 Mapped as far as the source reaches. Whenever @p data is not null, give it back
 *     with hdrpars_DataUnMap() before the resource closes (for a memory resource that is
 *     optional).
 * @retval HDRPARS_E_INVALID_ARGUMENT @p data or @p available is null.
 * @retval HDRPARS_E_FILE_READ The file cannot be sized, sought or read.
 * @retval HDRPARS_E_OUT_OF_MEMORY No room for the window.
 * @retval HDRPARS_E_UNEXPECTED The resource is of no known kind.
 * @threadsafety The thread that uses the resource.
 * @onfailure @p data is null and @p available 0; nothing is mapped, and the resource may be
 *     mapped again.
 */
SC_API VQRESULT hdrpars_DataMap(ParserResource *resource, uint32_t offset, int32_t length,
                                const void **data, uint32_t *available);

/**
 * Gives back one mapping.
 *
 * @param[in] resource The resource it came from; null, or a memory resource, does nothing.
 * @param[in] pointer An address that hdrpars_DataMap() handed out (any address within that
 *     window serves); null does nothing.
 * @retval 0 Given back.
 * @retval HDRPARS_E_UNEXPECTED The pointer lies in no outstanding mapping of a file resource
 *     (given back twice, for instance); nothing changes.
 * @threadsafety The thread that uses the resource.
 */
SC_API VQRESULT hdrpars_DataUnMap(ParserResource *resource, const void *pointer);

/**
 * Opens a named data block of a structure read from a file: the DATABLOCK whose BROKERSTRING
 * equals @p name (case-sensitive; the first one wins), over the first `<BINARYDATA>` of the
 * file at the structure's path. Opening a name already open hands out the same block again,
 * uncounted: one hdrpars_CloseData() ends it for every holder.
 *
 * @param[in] name The block's name, UTF-16; copied.
 * @param[in,out] structure The structure; the block joins the end of its list.
 * @param[out] out Receives the block, owned by the structure: closed by hdrpars_CloseData() or
 *     by hdrpars_DeleteFileStructure().
 * @retval 0 Opened, or found open.
 * @retval HDRPARS_E_INVALID_ARGUMENT @p name, @p structure or @p out is null, or the structure
 *     has no elements.
 * @retval HDRPARS_E_TAG_MISSING A DATABLOCK on the way lacks BROKERSTRING, or the one found
 *     lacks OFFSET or SIZE.
 * @retval HDRPARS_E_DATABLOCK_NOT_FOUND No DATABLOCK carries the name.
 * @retval HDRPARS_E_NO_BINARY_DATA The file has no `<BINARYDATA>`.
 * @retval HDRPARS_E_FILE_OPEN The file cannot be opened.
 * @retval HDRPARS_E_FILE_READ The file cannot be read.
 * @retval HDRPARS_E_UNEXPECTED The structure has no path, or its path has no byte form.
 * @retval HDRPARS_E_OUT_OF_MEMORY Memory ran out.
 * @threadsafety Any thread, on a structure no other thread uses.
 * @onfailure @p out holds null (unless it is null itself); the structure is unchanged.
 */
SC_API VQRESULT hdrpars_OpenData(const char16_t *name, FileStructure *structure, DataBlock **out);

/**
 * Closes a data block: closes its source, takes it off the structure's list and frees it.
 *
 * @param[in] block The block, from hdrpars_OpenData() on @p structure.
 * @param[in,out] structure The structure it is open on.
 * @retval 0 Closed.
 * @retval HDRPARS_E_INVALID_ARGUMENT @p block or @p structure is null.
 * @retval HDRPARS_E_DATABLOCK_NOT_FOUND The block is not open on the structure.
 * @retval HDRPARS_E_STILL_MAPPED A mapping into the block is outstanding; the block stays open.
 * @threadsafety Any thread, on a structure no other thread uses.
 * @onfailure The block stays open and listed.
 */
SC_API VQRESULT hdrpars_CloseData(DataBlock *block, FileStructure *structure);

SC_EXTERN_C_END

#endif /* SC_HDRPARS_H */
