/* How a public name is documented, for whoever adds one: docs/documenting.md. */
/**
 * @file speechcommon.h
 * The umbrella header: a client includes this one and links `libspeechcommon.so`.
 *
 * - sc_common.h, sc_vq.h: ::VQRESULT and its fields, the general texts, the module names;
 * - sc_heap.h: `heap_`, allocation through a heap instance;
 * - sc_critsec.h: `critsec_`, re-entrant locks;
 * - sc_osspi.h: `osspi_`, memory probes that never fault;
 * - sc_safeh.h: `safeh_`, safe-handle checks and ::g_vqNullHandle;
 * - sc_rsrc.h: `rsrc_`, resources, the heap and lock context of what a client opens;
 * - sc_srvspi.h: `srvspi_`, guarded objects, growable arrays, memory blocks;
 * - sc_hdrpars.h: `hdrpars_`, data header files (reader, writer, byte sources, data blocks);
 * - sc_brk.h: `brk_`, the component broker (engines, add-ons, interfaces, data, tags);
 * - sc_edct.h: `edct_`, exception dictionaries, iterators, managers, images, text streams;
 * - sc_dbg.h: `dbg_`, trace, debug data files, timing, assertions;
 * - sc_version.h: the library's version at compile time.
 *
 * Each family's result codes are named in a header of their own (`sc_<family>_codes.h`),
 * included by the family's header. Strings are UTF-8 (`char`) or NUL-terminated UTF-16
 * (`char16_t`); see sc_common.h for what all families share, and the "Getting started in C"
 * page for a first program.
 */
#ifndef SPEECHCOMMON_H
#define SPEECHCOMMON_H

#include "sc_common.h"
#include "sc_version.h" /* generated at build time */
#include "sc_vq.h"
#include "sc_heap.h"
#include "sc_critsec.h"
#include "sc_osspi.h"
#include "sc_safeh.h"
#include "sc_rsrc.h"
#include "sc_srvspi.h"
#include "sc_hdrpars.h"
#include "sc_brk.h"
#include "sc_edct.h"
#include "sc_dbg.h"

#endif /* SPEECHCOMMON_H */
