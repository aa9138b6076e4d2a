// Start, stop, activity queries and the four trace calls.
#include <cinttypes>

#include "debug/config.h"
#include "debug/datafile.h"
#include "debug/line.h"
#include "debug/state.h"
#include "sc_dbg.h"

namespace sc::dbg {
namespace {

struct TraceSite {
  uint32_t level;
  const char *module;
  const char *submodule;
  uintptr_t instance;
  const char *function;
  const char *file;
  int line;
};

// Three tests and nothing formatted when the call is not traced.
bool Traced(uint32_t level) {
  return (level & g_trace.levelMask.load(std::memory_order_relaxed)) != 0 &&
         g_trace.enabled.load(std::memory_order_relaxed) && Initialised();
}

// The configured fields in their fixed order, then the closing blank.
void AppendPrefix(LineBuffer &line, const TraceSite &site, uint32_t fields) {
  if (fields & kFieldLevel) line.Format("Lv:%4s", LevelName(site.level));
  if (fields & kFieldModule) line.Format(" %10s", Printable(site.module));
  if (fields & kFieldSubmodule) line.Format(" %10s", Printable(site.submodule));
  if (fields & kFieldInstance) line.Format(" In:%10" PRIxPTR, site.instance);
  if (fields & kFieldLine) line.Format(" Ln:%4d", site.line);
  if (fields & kFieldFunction) line.Format(" Fn:%20s", Printable(site.function));
  if (fields & kFieldFile) {
    line.Append(" ", 1);
    line.AppendText(site.file);
  }
  line.Append(" ", 1);
}

// Function entry and exit always name the function, whatever the field mask.
void TraceMark(const TraceSite &site, const char *mark) {
  if (!Traced(site.level)) return;
  LineBuffer line(WriteLog, nullptr);
  AppendPrefix(line, site, g_trace.fieldMask | kFieldFunction);
  line.AppendText(mark);
  line.Emit();
}

}  // namespace
}  // namespace sc::dbg

using namespace sc::dbg;

extern "C" {

SC_API int dbg_Init(uint32_t inputCount, const DBG_DATAFILE_SPEC *inputSpecs, uint32_t outputCount,
                    const DBG_DATAFILE_SPEC *outputSpecs) {
  const int status = RegisterDataFiles(inputCount, inputSpecs, outputCount, outputSpecs);
  if (status != DBG_INIT_OK) return status;
  // A later start only adds data files; the environment is read again after dbg_Terminate.
  if (Initialised()) return DBG_INIT_OK;
  ReadConfiguration();
  g_trace.initialised.store(true, std::memory_order_relaxed);
  return DBG_INIT_OK;
}

SC_API void dbg_Terminate(void) {
  CloseDataFiles();
  ForgetModuleLists();
  g_trace.initialised.store(false, std::memory_order_relaxed);
}

SC_API int dbg_SubModActive(const char *module, const char *submodule) {
  return NameActive(g_trace.modules, module) && NameActive(g_trace.submodules, submodule);
}

SC_API int dbg_EntryActive(void) {
  return 1;
}

SC_API void dbg_RegisterModule(const char *) {}

SC_API void dbg_UnRegisterModule(const char *) {}

SC_API const char *dbg_GetRegisteredModule(void) {
  return "XXXX";
}

SC_API void dbg_TraceSetLevel(uint32_t mask) {
  g_trace.levelMask.store(mask | kLevelErr, std::memory_order_relaxed);
}

SC_API void dbg_TraceEnable(void) {
  g_trace.enabled.store(true, std::memory_order_relaxed);
}

SC_API void dbg_TraceDisable(void) {
  g_trace.enabled.store(false, std::memory_order_relaxed);
}

SC_API void dbg_Trace(uint32_t level, const char *module, const char *submodule, uintptr_t instance,
                      const char *function, const char *file, int line, const char *text) {
  if (!Traced(level)) return;
  LineBuffer out(WriteLog, nullptr);
  AppendPrefix(out, {level, module, submodule, instance, function, file, line}, g_trace.fieldMask);
  out.AppendText(text);
  out.EndLine();
  out.Emit();
}

SC_API void dbg_TraceArg(uint32_t level, const char *module, const char *submodule,
                         uintptr_t instance, const char *function, const char *file, int line,
                         const char *format, ...) {
  if (!Traced(level)) return;
  LineBuffer out(WriteLog, nullptr);
  AppendPrefix(out, {level, module, submodule, instance, function, file, line}, g_trace.fieldMask);
  va_list args;
  va_start(args, format);
  out.FormatV(Printable(format), args);
  va_end(args);
  out.EndLine();
  out.Emit();
}

SC_API void dbg_TraceIn(uint32_t level, const char *module, const char *submodule,
                        uintptr_t instance, const char *function, const char *file, int line) {
  TraceMark({level, module, submodule, instance, function, file, line}, "> \n");
}

SC_API void dbg_TraceOut(uint32_t level, const char *module, const char *submodule,
                         uintptr_t instance, const char *function, const char *file, int line) {
  TraceMark({level, module, submodule, instance, function, file, line}, "< \n");
}

}  // extern "C"
