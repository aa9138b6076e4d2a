// The process-wide state of the trace facility and its log stream.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "platform/textfile.h"

namespace sc::dbg {

// Written by dbg_Init, dbg_Terminate and the level and switch calls, read by every trace
// call. No lock: the switches are atomics so that a trace call on another thread reads a
// whole value, and the rest changes only while no other thread traces.
struct TraceState {
  std::atomic<bool> initialised{false};
  std::atomic<bool> enabled{true};
  std::atomic<uint32_t> levelMask{0};
  uint32_t fieldMask = 0;
  char *modules = nullptr;     // copy of VQ_MODULES, or null
  char *submodules = nullptr;  // copy of VQ_SUBMODULES, or null
  plat::TextFile *log = nullptr;
};

extern TraceState g_trace;

inline bool Initialised() {
  return g_trace.initialised.load(std::memory_order_relaxed);
}

// Reads VQ_MODULES, VQ_SUBMODULES, VQ_LOGFILE, VQ_TRACELEVEL and VQ_TRACEINFO.
void ReadConfiguration();
// Drops the module lists; the log file stays open until the next configuration.
void ForgetModuleLists();

// A line sink that writes to the log file, flushed at once, or to the debug output channel.
void WriteLog(void *unused, const char *bytes, size_t length);

}  // namespace sc::dbg
