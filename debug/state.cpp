#include "debug/state.h"

#include <cstring>

#include "debug/config.h"
#include "foundation/alloc.h"
#include "platform/debugout.h"
#include "platform/env.h"

namespace sc::dbg {

TraceState g_trace;

namespace {

// The list is copied so that later changes of the environment cannot pull it away. A copy
// that cannot be made leaves the list absent: nothing traced rather than a failed start.
char *CopyOf(const char *text) {
  if (!text) return nullptr;
  const size_t size = std::strlen(text) + 1;
  auto *copy = static_cast<char *>(RawAlloc(size));
  if (copy) std::memcpy(copy, text, size);
  return copy;
}

}  // namespace

void ForgetModuleLists() {
  RawFree(g_trace.modules);
  RawFree(g_trace.submodules);
  g_trace.modules = nullptr;
  g_trace.submodules = nullptr;
}

void ReadConfiguration() {
  ForgetModuleLists();
  g_trace.submodules = CopyOf(plat::EnvironmentValue("VQ_SUBMODULES"));
  g_trace.modules = CopyOf(plat::EnvironmentValue("VQ_MODULES"));

  // Nothing is traced between dbg_Terminate and this point, so a log file of an earlier
  // run can be closed here without losing a line.
  if (g_trace.log) plat::TextFileClose(g_trace.log);
  g_trace.log =
      plat::TextFileOpen(plat::EnvironmentValue("VQ_LOGFILE"), plat::TextFileMode::kReadWrite);

  g_trace.levelMask.store(LevelMaskFrom(plat::EnvironmentValue("VQ_TRACELEVEL")),
                          std::memory_order_relaxed);
  g_trace.fieldMask = FieldMaskFrom(plat::EnvironmentValue("VQ_TRACEINFO"));
}

void WriteLog(void *, const char *bytes, size_t length) {
  // The line is written literally, never used as a format.
  if (g_trace.log)
    plat::TextFileWriteFlushed(g_trace.log, bytes, length);
  else
    plat::DebugOutput(bytes, length);
}

}  // namespace sc::dbg
