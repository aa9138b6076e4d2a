/**
 * @file sc_osspi.h
 * `osspi_`: probes of whether memory may be read or written.
 *
 * A probe never faults and never changes memory, whatever it is given. It answers for
 * memory as it is at the moment of the call: a range unmapped or re-protected by another
 * thread a moment later may already be gone when the caller uses it. Every function may be
 * called from any thread.
 */
#ifndef SC_OSSPI_H
#define SC_OSSPI_H

#include "sc_common.h"
#include "sc_osspi_codes.h" /* the family's result codes by name (generated) */

SC_EXTERN_C_BEGIN

/**
 * Whether every byte from @p pointer to @p pointer + @p size may be read.
 *
 * @param[in] pointer The first byte.
 * @param[in] size The number of bytes; 0 asks about no byte and is answered with 0.
 * @retval 0 The range may be read.
 * @retval OSSPI_E_NULL_POINTER @p pointer is null, whatever the size.
 * @retval OSSPI_E_INVALID_READ_POINTER Some byte of the range may not be read.
 * @threadsafety Any thread.
 */
SC_API VQRESULT osspi_IsGoodReadPtr(const void *pointer, size_t size);

/**
 * Whether every byte from @p pointer to @p pointer + @p size may be written. Nothing is
 * written.
 *
 * @param[in] pointer The first byte.
 * @param[in] size The number of bytes; 0 asks about no byte and is answered with 0.
 * @retval 0 The range may be written.
 * @retval OSSPI_E_NULL_POINTER @p pointer is null, whatever the size.
 * @retval OSSPI_E_INVALID_WRITE_POINTER Some byte of the range may not be written.
 * @threadsafety Any thread.
 */
SC_API VQRESULT osspi_IsGoodWritePtr(void *pointer, size_t size);

/**
 * Whether an 8-bit string may be read up to its NUL or up to @p maxLength characters,
 * whichever comes first.
 *
 * @param[in] string The string.
 * @param[in] maxLength The most bytes to inspect.
 * @retval 0 The string may be read that far.
 * @retval OSSPI_E_NULL_POINTER @p string is null.
 * @retval OSSPI_E_INVALID_STRING_POINTER A byte before the NUL (and within @p maxLength) may
 *     not be read.
 * @threadsafety Any thread.
 */
SC_API VQRESULT osspi_IsGoodStringPtr(const char *string, size_t maxLength);

/**
 * The interface revision of `osspi_`: 0x01010002. A revision is a number to compare for
 * equality with the one a client was built for; its bytes carry no further meaning.
 *
 * @param[out] version Receives the revision.
 * @retval 0 Written.
 * @retval OSSPI_E_NULL_POINTER @p version is null.
 * @threadsafety Any thread.
 */
SC_API VQRESULT osspi_SpiGetVersion(uint32_t *version);

/**
 * The text of a code as `osspi_` reads it.
 *
 * @param[in] code Any result code; its module id is not looked at.
 * @return "Success" for any success; vq_ErrorGetString() for a general reason; the text of an
 *     own reason ("Invalid read pointer", "Invalid write pointer", "Invalid string pointer");
 *     "Unknown Error" for any other. A constant of the library.
 * @threadsafety Any thread.
 */
SC_API const char *osspi_ErrorGetString(VQRESULT code);

/**
 * The name of the submodule of an `osspi_` code.
 *
 * @param[in] code Any result code.
 * @return "osspi" for submodule 1 of module #VQ_MODULE_OSSPI, "unknown submodule" for another
 *     submodule, "Wrong module" for a code of another module. A constant of the library.
 * @threadsafety Any thread.
 */
SC_API const char *osspi_ErrorGetSubModuleName(VQRESULT code);

/**
 * The module name of a code; the same as vq_ErrorGetModuleName().
 *
 * @param[in] code Any result code.
 * @return The module's name, "Unknown Module" when the id is unknown.
 * @threadsafety Any thread.
 */
SC_API const char *osspi_ErrorGetModuleName(VQRESULT code);

SC_EXTERN_C_END

#endif /* SC_OSSPI_H */
