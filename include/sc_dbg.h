/* dbg_: trace, debug data files, timing and assertions.
 *
 * The facility is silent until dbg_Init and is configured from the environment at that
 * moment: VQ_TRACELEVEL, VQ_TRACEINFO, VQ_LOGFILE, VQ_MODULES, VQ_SUBMODULES for trace lines,
 * VQ_OUTPATH and VQ_INPATH for debug data files. Lines go to the log file named by
 * VQ_LOGFILE (flushed after every line) or else to standard error.
 *
 * No lock is taken. dbg_Init, dbg_Terminate and the data file registration must happen
 * before other threads start tracing and after they stop; trace calls themselves may come
 * from any thread, and each line is written whole in one write. */
#ifndef SC_DBG_H
#define SC_DBG_H

#include "sc_common.h"

#if defined(__GNUC__)
#define DBG_PRINTF_LIKE(format_index, first_arg) \
  __attribute__((format(printf, format_index, first_arg)))
#else
#define DBG_PRINTF_LIKE(format_index, first_arg)
#endif

SC_EXTERN_C_BEGIN

/* Trace levels: a trace call passes one, the level mask holds any combination. */
#define DBG_LEVEL_ERR 1u
#define DBG_LEVEL_FUNC 2u
#define DBG_LEVEL_0 4u
#define DBG_LEVEL_1 8u
#define DBG_LEVEL_2 16u

/* Data types of dbg_Output and dbg_Input. */
#define DBG_TYPE_I8 0u
#define DBG_TYPE_U8 1u
#define DBG_TYPE_I16 2u
#define DBG_TYPE_U16 3u
#define DBG_TYPE_I32 6u
#define DBG_TYPE_U32 7u
#define DBG_TYPE_BOOL 18u
#define DBG_TYPE_CHAR 19u
#define DBG_TYPE_HEX32 20u

/* Statuses of dbg_Init. */
#define DBG_INIT_OK 0
#define DBG_INIT_FILE_FAILED 2 /* a debug data file could not be opened */

/* One debug data file: which dbg_Output / dbg_Input calls reach it, and (submodule,
 * function, data name) its file name. The library keeps these pointers, not copies: the
 * strings must stay valid until dbg_Terminate. */
typedef struct DBG_DATAFILE_SPEC {
  const char *module;
  const char *submodule;
  const char *function;
  const char *dataName;
} DBG_DATAFILE_SPEC;

/* Registers the output specs (files VQ_OUTPATH + submodule_function_dataName.out, created)
 * and the input specs (VQ_INPATH + ....in, opened for reading), then, when not yet
 * initialised, reads the trace configuration. Returns DBG_INIT_FILE_FAILED, without
 * initialising, when a data file cannot be opened. */
SC_API int dbg_Init(uint32_t inputCount, const DBG_DATAFILE_SPEC *inputSpecs, uint32_t outputCount,
                    const DBG_DATAFILE_SPEC *outputSpecs);
/* Closes the data files (deleting those never written to), forgets them and the module
 * lists, and stops all output until the next dbg_Init. The log file stays open. */
SC_API void dbg_Terminate(void);

/* 1 when the module is active in VQ_MODULES and the submodule in VQ_SUBMODULES. */
SC_API int dbg_SubModActive(const char *module, const char *submodule);
SC_API int dbg_EntryActive(void);
/* Kept for callers of older versions; they do nothing. */
SC_API void dbg_RegisterModule(const char *module);
SC_API void dbg_UnRegisterModule(const char *module);
SC_API const char *dbg_GetRegisteredModule(void);

/* The level mask becomes mask with DBG_LEVEL_ERR added. */
SC_API void dbg_TraceSetLevel(uint32_t mask);
SC_API void dbg_TraceEnable(void);
SC_API void dbg_TraceDisable(void);

SC_API void dbg_Trace(uint32_t level, const char *module, const char *submodule, uintptr_t instance,
                      const char *function, const char *file, int line, const char *text);
SC_API void dbg_TraceArg(uint32_t level, const char *module, const char *submodule,
                         uintptr_t instance, const char *function, const char *file, int line,
                         const char *format, ...) DBG_PRINTF_LIKE(8, 9);
SC_API void dbg_TraceIn(uint32_t level, const char *module, const char *submodule,
                        uintptr_t instance, const char *function, const char *file, int line);
SC_API void dbg_TraceOut(uint32_t level, const char *module, const char *submodule,
                         uintptr_t instance, const char *function, const char *file, int line);

/* Writes count elements of the given type to every output file registered with the same
 * module, submodule, function and data name. The result has no meaning. */
SC_API uint32_t dbg_Output(const char *module, const char *submodule, uintptr_t instance,
                           const char *function, const char *dataName, const void *data,
                           uint16_t count, uint32_t type);
SC_API void dbg_OutputArg(const char *module, const char *submodule, uintptr_t instance,
                          const char *function, const char *dataName, const char *format, ...)
    DBG_PRINTF_LIKE(6, 7);
/* Reads count elements of the given type from every input file registered with the same
 * module, function and data name (any submodule). A file that ends too early ends the
 * process with status -1. The result has no meaning. */
SC_API uint32_t dbg_Input(const char *module, const char *submodule, uintptr_t instance,
                          const char *function, const char *dataName, void *buffer, uint16_t count,
                          uint32_t type);

SC_API void dbg_Time(const char *module, const char *submodule, uintptr_t instance,
                     const char *text);
SC_API void dbg_TimeIn(const char *module, const char *submodule, uintptr_t instance,
                       const char *function);
SC_API void dbg_TimeOut(const char *module, const char *submodule, uintptr_t instance,
                        const char *function);
/* Writes the assertion line and ends the process with status -1; returns 0 only when the
 * facility is not initialised. The caller has already decided that the assertion failed. */
SC_API int dbg_Assert(const char *module, const char *submodule, uintptr_t instance,
                      const char *function, const char *file, int line, const char *text);

SC_API void dbg_GetVersion(uint32_t *version);

SC_EXTERN_C_END

#endif /* SC_DBG_H */
