// Timing lines and assertions. They write whenever the facility is initialised: the level
// mask, the trace switch and the module lists do not apply.
#include <cinttypes>

#include "debug/line.h"
#include "debug/state.h"
#include "platform/clock.h"
#include "platform/process.h"
#include "sc_dbg.h"

namespace sc::dbg {
namespace {

// The tick wraps at 32 bits and prints as a signed number.
int32_t Tick() {
  return static_cast<int32_t>(plat::MillisecondsSinceBoot());
}

// "> f:name \n" on entry, "< f:name  \n" (two blanks) on exit.
void TimeMark(const char *submodule, uintptr_t instance, const char *function, const char *mark,
              const char *tail) {
  if (!Initialised()) return;
  LineBuffer line(WriteLog, nullptr);
  line.Format("msec since start system:%" PRId32 " %10s i:%10" PRIxPTR " %s f:%s %s\n", Tick(),
              Printable(submodule), instance, mark, Printable(function), tail);
  line.Emit();
}

}  // namespace
}  // namespace sc::dbg

using namespace sc::dbg;

extern "C" {

SC_API void dbg_Time(const char *, const char *submodule, uintptr_t instance, const char *text) {
  if (!Initialised()) return;
  LineBuffer line(WriteLog, nullptr);
  line.Format("tickcount:%" PRId32 " %10s i:%10" PRIxPTR " ", Tick(), Printable(submodule),
              instance);
  line.AppendText(text);
  line.EndLine();
  line.Emit();
}

SC_API void dbg_TimeIn(const char *, const char *submodule, uintptr_t instance,
                       const char *function) {
  TimeMark(submodule, instance, function, ">", "");
}

SC_API void dbg_TimeOut(const char *, const char *submodule, uintptr_t instance,
                        const char *function) {
  TimeMark(submodule, instance, function, "<", " ");
}

SC_API int dbg_Assert(const char *, const char *submodule, uintptr_t instance, const char *function,
                      const char *, int line, const char *text) {
  if (!Initialised()) return 0;
  LineBuffer out(WriteLog, nullptr);
  out.Format("Program generated assertion: %10s i:%10" PRIxPTR " = line:%4d f:%s %s \n",
             Printable(submodule), instance, line, Printable(function), Printable(text));
  out.Emit();
  sc::plat::ExitProcess(-1);
}

}  // extern "C"
