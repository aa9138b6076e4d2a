/**
 * @file sc_vq.h
 * The result-code texts shared by every family: the texts of the general reasons and the
 * names of the modules. Each family's own `..._ErrorGetString` reads its own reasons and hands
 * general ones to vq_ErrorGetString().
 *
 * Every text is a constant of the library: never null, never to be freed, valid for as long
 * as the library is loaded. The getters hold no state and may be called from any thread.
 */
#ifndef SC_VQ_H
#define SC_VQ_H

#include "sc_common.h"

SC_EXTERN_C_BEGIN

/**
 * The text of a general reason, the one shared by every family.
 *
 * @param[in] code Any result code.
 * @return "Succes." for 0; "Unknown error. This Error is not a general error." when the
 *     general flag is clear (a family's own reason: ask the family's `..._ErrorGetString`);
 *     for a failure with the general flag, the text of its reason (for example
 *     " an unexpected nullpointer has been passed to this function." for every
 *     `..._E_NULL_POINTER`), or "Unknown general error " for a reason without text; for a
 *     success with the general flag, " false succes", " object already present" or
 *     "Unknown general succes ". The texts keep their leading and trailing blanks.
 * @threadsafety Any thread.
 */
SC_API const char *vq_ErrorGetString(VQRESULT code);

/**
 * The name of the module of a code (bits 16-30), among the modules of the whole toolkit: for
 * this library's families "SRVSPI", "OSSPI", "DBGSPI", "HEAP", "CRITSEC", "BROKER", "RSRC",
 * "SAFEH", "EDCTSPI" and "HDRPARS".
 *
 * @param[in] code Any result code; only its module id is read.
 * @return The module's name; "Unknown Module" for id 0 and for an id above 71.
 * @threadsafety Any thread.
 */
SC_API const char *vq_ErrorGetModuleName(VQRESULT code);

SC_EXTERN_C_END

#endif /* SC_VQ_H */
