/**
 * @file sc_dbg.h
 * `dbg_`: trace lines, debug data files, timing lines and assertions. The family returns no
 * result codes: its functions return nothing, a truth value or a small status.
 *
 * The facility is silent until dbg_Init() and is configured from the environment at that
 * moment (read again only after dbg_Terminate()):
 * - `VQ_TRACELEVEL`: the level mask. Unset: 0, nothing is traced. Set: #DBG_LEVEL_ERR, plus
 *   #DBG_LEVEL_2 if the text contains "2", #DBG_LEVEL_1 for "1", #DBG_LEVEL_0 for "0",
 *   #DBG_LEVEL_FUNC for "FUNC"; "none" makes it #DBG_LEVEL_ERR alone, "full" every level.
 *   Keywords are plain case-sensitive substrings ("12" sets levels 1 and 2).
 * - `VQ_TRACEINFO`: the fields of the line prefix, in this order: "LEVEL" (`Lv:%4s`),
 *   "MODULE" (` %10s`), "SUBMOD" (` %10s`), "INST" (` In:%10x`), "LINE" (` Ln:%4d`), "FUNC"
 *   (` Fn:%20s`), "FILE" (a blank and the file), "full" for all; unset: LEVEL, MODULE,
 *   SUBMOD, LINE and FUNC. The prefix always ends with one blank.
 * - `VQ_MODULES`, `VQ_SUBMODULES`: the lists dbg_SubModActive() reads; a name is active when
 *   it occurs in its list as a substring, every name when the list contains "full", none when
 *   it contains "none" or the variable is unset.
 * - `VQ_LOGFILE`: the file lines go to (created or truncated, flushed after every line, open
 *   until the process ends); unset or not openable: standard error.
 * - `VQ_OUTPATH`, `VQ_INPATH`: the prefixes (no separator added) of the debug data files
 *   written and read (see ::DBG_DATAFILE_SPEC).
 *
 * A trace call writes a line only when its level is in the level mask, tracing is enabled and
 * the facility is initialised; it does not look at the module lists: callers ask
 * dbg_SubModActive() once and skip their traces when it answers 0. Timing lines and assertions
 * are written whenever the facility is initialised. Strings are 8-bit text; a null string is
 * printed as "(null)". Lines of any length come out whole.
 *
 * Threads: no lock is taken. dbg_Init(), dbg_Terminate(), dbg_TraceSetLevel(),
 * dbg_TraceEnable() and dbg_TraceDisable() must happen before other threads start tracing or
 * after they stop; the trace, timing and data calls may come from any thread, and each line is
 * written whole in one write (lines of several threads to one data file come in any order).
 */
#ifndef SC_DBG_H
#define SC_DBG_H

#include "sc_common.h"

/** Lets the compiler check the format arguments of a printf-style function. */
#if defined(__GNUC__)
#define DBG_PRINTF_LIKE(format_index, first_arg) \
  __attribute__((format(printf, format_index, first_arg)))
#else
#define DBG_PRINTF_LIKE(format_index, first_arg)
#endif

SC_EXTERN_C_BEGIN

/** Trace level of errors ("Err"); always in the mask once a mask is set. */
#define DBG_LEVEL_ERR 1u
/** Trace level of function entry and exit ("Func"). */
#define DBG_LEVEL_FUNC 2u
/** Trace level of detail 0 ("0"). */
#define DBG_LEVEL_0 4u
/** Trace level of detail 1 ("1"). */
#define DBG_LEVEL_1 8u
/** Trace level of detail 2 ("2"); a level that is none of these prints "Unk". */
#define DBG_LEVEL_2 16u

/** Data type: signed 8-bit values, written "%02x". */
#define DBG_TYPE_I8 0u
/** Data type: unsigned 8-bit values, written "%02x". */
#define DBG_TYPE_U8 1u
/** Data type: signed 16-bit values, written "%04x". */
#define DBG_TYPE_I16 2u
/** Data type: unsigned 16-bit values, written "%04x". */
#define DBG_TYPE_U16 3u
/** Data type: signed 32-bit values, written "%08x". */
#define DBG_TYPE_I32 6u
/** Data type: unsigned 32-bit values, written "%08x". */
#define DBG_TYPE_U32 7u
/** Data type: 32-bit truth values, written "1" or "0" (not read back). */
#define DBG_TYPE_BOOL 18u
/** Data type: characters, written side by side on one line (not read back). */
#define DBG_TYPE_CHAR 19u
/** Data type: 32-bit values, written "%08x" (not read back). */
#define DBG_TYPE_HEX32 20u

/** Status of dbg_Init(): initialised (or data files added). */
#define DBG_INIT_OK 0
/** Status of dbg_Init(): a debug data file could not be opened; nothing was initialised. */
#define DBG_INIT_FILE_FAILED 2

/**
 * One debug data file: which dbg_Output() and dbg_Input() calls reach it, and its name,
 * `VQ_OUTPATH` (or `VQ_INPATH`) followed by `submodule_function_dataName.out` (or `.in`); a
 * name of 150 characters or more cannot be opened. The library keeps these pointers, not
 * copies: the strings must stay valid until dbg_Terminate().
 */
typedef struct DBG_DATAFILE_SPEC {
  const char *module;    /**< The module of the calls that reach the file. */
  const char *submodule; /**< Their submodule (not compared for input files). */
  const char *function;  /**< Their function. */
  const char *dataName;  /**< Their data name. */
} DBG_DATAFILE_SPEC;

/**
 * Starts the facility: registers debug data files (output files are created, input files
 * opened; at most 30 output and 20 input files in all, more are dropped silently, and none
 * when the kind's path variable is unset), then, unless already initialised, reads the trace
 * configuration from the environment. A second call only adds data files.
 *
 * @param[in] inputCount Number of input specs.
 * @param[in] inputSpecs The input specs (kept, not copied); may be null when the count is 0.
 * @param[in] outputCount Number of output specs.
 * @param[in] outputSpecs The output specs (kept, not copied); may be null when the count is 0.
 * @return #DBG_INIT_OK, or #DBG_INIT_FILE_FAILED when a data file cannot be opened: that spec
 *     and the later ones of this call are not kept, and nothing is initialised.
 * @threadsafety Before other threads trace.
 */
SC_API int dbg_Init(uint32_t inputCount, const DBG_DATAFILE_SPEC *inputSpecs, uint32_t outputCount,
                    const DBG_DATAFILE_SPEC *outputSpecs);

/**
 * Stops the facility: closes the data files (deleting output files never written to, ending
 * the others with a closing banner), forgets them and the module lists, and stops all output
 * until the next dbg_Init(). The log file stays open.
 *
 * @threadsafety After other threads stopped tracing.
 */
SC_API void dbg_Terminate(void);

/**
 * Whether a module and a submodule are both active in `VQ_MODULES` and `VQ_SUBMODULES`.
 *
 * @param[in] module The module's name; null is active only through "full".
 * @param[in] submodule The submodule's name; the same.
 * @return 1 when both are active, else 0 (always 0 before dbg_Init()).
 * @threadsafety Any thread.
 */
SC_API int dbg_SubModActive(const char *module, const char *submodule);

/**
 * Kept for callers of older versions.
 *
 * @return Always 1.
 * @threadsafety Any thread.
 */
SC_API int dbg_EntryActive(void);

/**
 * Kept for callers of older versions; does nothing.
 *
 * @param[in] module Not used.
 * @threadsafety Any thread.
 */
SC_API void dbg_RegisterModule(const char *module);

/**
 * Kept for callers of older versions; does nothing.
 *
 * @param[in] module Not used.
 * @threadsafety Any thread.
 */
SC_API void dbg_UnRegisterModule(const char *module);

/**
 * Kept for callers of older versions.
 *
 * @return The constant text "XXXX".
 * @threadsafety Any thread.
 */
SC_API const char *dbg_GetRegisteredModule(void);

/**
 * Sets the level mask, before or after dbg_Init().
 *
 * @param[in] mask Any combination of the `DBG_LEVEL_` bits; #DBG_LEVEL_ERR is always added.
 * @threadsafety Before other threads trace.
 */
SC_API void dbg_TraceSetLevel(uint32_t mask);

/**
 * Turns trace lines on again (they are on at the start).
 *
 * @threadsafety Before other threads trace.
 */
SC_API void dbg_TraceEnable(void);

/**
 * Turns trace lines off; timing lines and assertions still come out.
 *
 * @threadsafety Before other threads trace.
 */
SC_API void dbg_TraceDisable(void);

/**
 * Writes a trace line: the prefix, the text, and a line end unless the text ends with one.
 *
 * @param[in] level One `DBG_LEVEL_` value (a combination traces when any bit is in the mask,
 *     and prints "Unk").
 * @param[in] module The module's name, for the prefix.
 * @param[in] submodule The submodule's name, for the prefix.
 * @param[in] instance Printed in hexadecimal (an object's address or handle, or 0).
 * @param[in] function The function's name, for the prefix (FUNC field).
 * @param[in] file The source file, for the prefix (FILE field).
 * @param[in] line The source line, for the prefix (LINE field).
 * @param[in] text The text, written as it is (never used as a format).
 * @threadsafety Any thread.
 */
SC_API void dbg_Trace(uint32_t level, const char *module, const char *submodule, uintptr_t instance,
                      const char *function, const char *file, int line, const char *text);

/**
 * Writes a trace line with formatted text: the prefix, the text `printf` makes of @p format and
 * the arguments, and a line end unless that text ends with one.
 *
 * @param[in] level One `DBG_LEVEL_` value.
 * @param[in] module The module's name.
 * @param[in] submodule The submodule's name.
 * @param[in] instance Printed in hexadecimal.
 * @param[in] function The function's name.
 * @param[in] file The source file.
 * @param[in] line The source line.
 * @param[in] format A `printf` format for the arguments that follow.
 * @threadsafety Any thread.
 */
SC_API void dbg_TraceArg(uint32_t level, const char *module, const char *submodule,
                         uintptr_t instance, const char *function, const char *file, int line,
                         const char *format, ...) DBG_PRINTF_LIKE(8, 9);

/**
 * Writes a function-entry line: the prefix (always with the FUNC field), then "> ".
 *
 * @param[in] level One `DBG_LEVEL_` value, usually #DBG_LEVEL_FUNC.
 * @param[in] module The module's name.
 * @param[in] submodule The submodule's name.
 * @param[in] instance Printed in hexadecimal.
 * @param[in] function The function entered.
 * @param[in] file The source file.
 * @param[in] line The source line.
 * @threadsafety Any thread.
 */
SC_API void dbg_TraceIn(uint32_t level, const char *module, const char *submodule,
                        uintptr_t instance, const char *function, const char *file, int line);

/**
 * Writes a function-exit line: the prefix (always with the FUNC field), then "< ".
 *
 * @param[in] level One `DBG_LEVEL_` value, usually #DBG_LEVEL_FUNC.
 * @param[in] module The module's name.
 * @param[in] submodule The submodule's name.
 * @param[in] instance Printed in hexadecimal.
 * @param[in] function The function left.
 * @param[in] file The source file.
 * @param[in] line The source line.
 * @threadsafety Any thread.
 */
SC_API void dbg_TraceOut(uint32_t level, const char *module, const char *submodule,
                         uintptr_t instance, const char *function, const char *file, int line);

/**
 * Writes @p count elements to every output data file registered with the same module,
 * submodule, function and data name (compared byte for byte), one line per element (all
 * #DBG_TYPE_CHAR characters on one line), and flushes. A type without a `DBG_TYPE_` name
 * writes the line "Logging of this Data Type not supported" instead. Nothing happens before
 * dbg_Init() or without `VQ_OUTPATH`.
 *
 * @param[in] module The module a data file must be registered with.
 * @param[in] submodule The submodule it must be registered with.
 * @param[in] instance Not used.
 * @param[in] function The function it must be registered with.
 * @param[in] dataName The data name it must be registered with.
 * @param[in] data The elements, back to back (1, 2 or 4 bytes each by type).
 * @param[in] count The number of elements.
 * @param[in] type One `DBG_TYPE_` value.
 * @return A value without meaning; ignore it.
 * @threadsafety Any thread.
 */
SC_API uint32_t dbg_Output(const char *module, const char *submodule, uintptr_t instance,
                           const char *function, const char *dataName, const void *data,
                           uint16_t count, uint32_t type);

/**
 * Writes one formatted line to every matching output data file (as dbg_Output() matches):
 * the submodule, the instance and the function, then the text `printf` makes of @p format and
 * the arguments, and a line end.
 *
 * @param[in] module The module a data file must be registered with.
 * @param[in] submodule The submodule it must be registered with; also printed.
 * @param[in] instance Printed in hexadecimal.
 * @param[in] function The function it must be registered with; also printed.
 * @param[in] dataName The data name it must be registered with.
 * @param[in] format A `printf` format for the arguments that follow.
 * @threadsafety Any thread.
 */
SC_API void dbg_OutputArg(const char *module, const char *submodule, uintptr_t instance,
                          const char *function, const char *dataName, const char *format, ...)
    DBG_PRINTF_LIKE(6, 7);

/**
 * Reads @p count elements from every input data file registered with the same module,
 * function and data name (any submodule); several matching files fill the buffer in turn. A
 * value is the hexadecimal digits up to the next other character (a "-" before them makes a
 * signed value negative), kept to the element's width. Only the 8-, 16- and 32-bit integer
 * types are read; the others leave the buffer as it is. Nothing happens before dbg_Init() or
 * without `VQ_INPATH`.
 *
 * A file that ends before its values are read ends the process: it writes "End of file
 * reached : input file not long enough" to the standard output and exits with status -1.
 *
 * @param[in] module The module a data file must be registered with.
 * @param[in] submodule Not compared.
 * @param[in] instance Not used.
 * @param[in] function The function it must be registered with.
 * @param[in] dataName The data name it must be registered with.
 * @param[out] buffer Receives the elements, back to back (1, 2 or 4 bytes each by type); null
 *     reads nothing.
 * @param[in] count The number of elements.
 * @param[in] type One `DBG_TYPE_` value.
 * @return A value without meaning; ignore it.
 * @threadsafety Any thread.
 */
SC_API uint32_t dbg_Input(const char *module, const char *submodule, uintptr_t instance,
                          const char *function, const char *dataName, void *buffer, uint16_t count,
                          uint32_t type);

/**
 * Writes a timing line: "tickcount:" and the milliseconds since the system started, the
 * submodule, the instance and the text (with a line end unless it ends with one). Written
 * whenever the facility is initialised, whatever the level mask and the module lists.
 *
 * @param[in] module Not used.
 * @param[in] submodule Printed.
 * @param[in] instance Printed in hexadecimal.
 * @param[in] text Printed.
 * @threadsafety Any thread.
 */
SC_API void dbg_Time(const char *module, const char *submodule, uintptr_t instance,
                     const char *text);

/**
 * Writes a timing line for a function entry ("msec since start system:", the milliseconds,
 * the submodule, the instance, "> f:" and the function).
 *
 * @param[in] module Not used.
 * @param[in] submodule Printed.
 * @param[in] instance Printed in hexadecimal.
 * @param[in] function Printed.
 * @threadsafety Any thread.
 */
SC_API void dbg_TimeIn(const char *module, const char *submodule, uintptr_t instance,
                       const char *function);

/**
 * Writes a timing line for a function exit (as dbg_TimeIn(), with "< f:").
 *
 * @param[in] module Not used.
 * @param[in] submodule Printed.
 * @param[in] instance Printed in hexadecimal.
 * @param[in] function Printed.
 * @threadsafety Any thread.
 */
SC_API void dbg_TimeOut(const char *module, const char *submodule, uintptr_t instance,
                        const char *function);

/**
 * Reports a failed assertion and ends the process: writes "Program generated assertion:" with
 * the submodule, the instance, the line, the function and the text, then exits with status
 * -1. The caller has already decided that the assertion failed; nothing is tested here.
 *
 * @param[in] module Not used.
 * @param[in] submodule Printed.
 * @param[in] instance Printed in hexadecimal.
 * @param[in] function Printed.
 * @param[in] file Not used.
 * @param[in] line Printed.
 * @param[in] text Printed.
 * @return 0, only when the facility is not initialised (then nothing is written and the
 *     process goes on); otherwise it does not return.
 * @threadsafety Any thread.
 */
SC_API int dbg_Assert(const char *module, const char *submodule, uintptr_t instance,
                      const char *function, const char *file, int line, const char *text);

/**
 * The interface revision of `dbg_`: 0x01010001. A revision is a number to compare for
 * equality with the one a client was built for; its bytes carry no further meaning.
 *
 * @param[out] version Receives the revision; null is ignored.
 * @threadsafety Any thread.
 */
SC_API void dbg_GetVersion(uint32_t *version);

SC_EXTERN_C_END

#endif /* SC_DBG_H */
