// The probes touch the memory they answer for, with a few instructions whose faults are
// expected: a fault inside the stubs below is caught by the library's SIGSEGV and SIGBUS
// handler, which resumes the stub at its failure exit. So an answer is about memory as it is
// at the moment of the call (a page unmapped, re-protected or cut off by a truncated file an
// instant before is refused), whatever system calls the process may make, and no probe can
// fault. A fault anywhere else goes on to the handler the host had installed, or else gets
// the default action, so the process ends as it would have without the library.
#include "platform/probe.h"

#include <signal.h>
#include <ucontext.h>

#include <cstdint>

extern "C" {
// 0 when the byte may be read; 1 when reading it faulted.
int sc_probe_read(const void *address);
// 0 when the byte may be written; 1 when not. The byte is rewritten with its own value by one
// atomic instruction, so a concurrent writer never loses a store to it.
int sc_probe_write(void *address);
// 0 when the string may be read up to its NUL or up to length bytes; 1 when reading faulted.
int sc_probe_scan(const char *string, size_t length);
// The stubs lie between these labels; a fault there resumes at sc_probe_fault.
extern const char sc_probe_begin[], sc_probe_end[], sc_probe_fault[];
}

// Every stub is a leaf that touches the stack in no way before its faulting instruction, so
// resuming at the shared exit, which sets the result and returns, is a normal return.
#if defined(__x86_64__)
asm(R"(
  .text
  .p2align 4
  .globl sc_probe_begin
  .hidden sc_probe_begin
sc_probe_begin:
  .globl sc_probe_read
  .hidden sc_probe_read
  .type sc_probe_read, @function
sc_probe_read:
  movzbl (%rdi), %eax
  xorl %eax, %eax
  ret
  .size sc_probe_read, .-sc_probe_read
  .globl sc_probe_write
  .hidden sc_probe_write
  .type sc_probe_write, @function
sc_probe_write:
  lock orb $0, (%rdi)
  xorl %eax, %eax
  ret
  .size sc_probe_write, .-sc_probe_write
  .globl sc_probe_scan
  .hidden sc_probe_scan
  .type sc_probe_scan, @function
sc_probe_scan:
  testq %rsi, %rsi
  jz 2f
1:
  cmpb $0, (%rdi)
  je 2f
  incq %rdi
  decq %rsi
  jnz 1b
2:
  xorl %eax, %eax
  ret
  .size sc_probe_scan, .-sc_probe_scan
  .globl sc_probe_fault
  .hidden sc_probe_fault
sc_probe_fault:
  movl $1, %eax
  ret
  .globl sc_probe_end
  .hidden sc_probe_end
sc_probe_end:
)");
#elif defined(__aarch64__)
asm(R"(
  .text
  .p2align 4
  .globl sc_probe_begin
  .hidden sc_probe_begin
sc_probe_begin:
  .globl sc_probe_read
  .hidden sc_probe_read
  .type sc_probe_read, %function
sc_probe_read:
  ldrb w1, [x0]
  mov w0, #0
  ret
  .size sc_probe_read, .-sc_probe_read
  .globl sc_probe_write
  .hidden sc_probe_write
  .type sc_probe_write, %function
sc_probe_write:
1:
  ldxrb w1, [x0]
  stxrb w2, w1, [x0]
  cbnz w2, 1b
  mov w0, #0
  ret
  .size sc_probe_write, .-sc_probe_write
  .globl sc_probe_scan
  .hidden sc_probe_scan
  .type sc_probe_scan, %function
sc_probe_scan:
1:
  cbz x1, 2f
  ldrb w2, [x0], #1
  cbz w2, 2f
  sub x1, x1, #1
  b 1b
2:
  mov w0, #0
  ret
  .size sc_probe_scan, .-sc_probe_scan
  .globl sc_probe_fault
  .hidden sc_probe_fault
sc_probe_fault:
  mov w0, #1
  ret
  .globl sc_probe_end
  .hidden sc_probe_end
sc_probe_end:
)");
#else
#error "the memory probes need their stubs for this processor (platform/probe.cpp)"
#endif

namespace sc::plat {
namespace {

// Probes touch one byte in each block of this size; no system pages are smaller.
constexpr uintptr_t kStride = 4096;

struct sigaction g_previous[2];  // what SIGSEGV and SIGBUS did before the library came

// Where the interrupted thread resumes.
uintptr_t ProgramCounter(const ucontext_t *context) {
#if defined(__x86_64__)
  return static_cast<uintptr_t>(context->uc_mcontext.gregs[REG_RIP]);
#else
  return static_cast<uintptr_t>(context->uc_mcontext.pc);
#endif
}

void ResumeAt(ucontext_t *context, const char *address) {
#if defined(__x86_64__)
  context->uc_mcontext.gregs[REG_RIP] = reinterpret_cast<greg_t>(address);
#else
  context->uc_mcontext.pc = reinterpret_cast<uintptr_t>(address);
#endif
}

// Hands a signal that is not a probe's on, as if the library had never installed a handler.
void Chain(int number, siginfo_t *info, void *context) {
  const struct sigaction &previous = g_previous[number == SIGBUS];
  if (previous.sa_flags & SA_SIGINFO) {
    previous.sa_sigaction(number, info, context);
    return;
  }
  if (previous.sa_handler != SIG_DFL && previous.sa_handler != SIG_IGN) {
    previous.sa_handler(number);
    return;
  }
  // A signal sent by another process, which the host ignores, stops here.
  const bool sent = info->si_code <= 0;
  if (previous.sa_handler == SIG_IGN && sent) return;
  // The default action: back to it, and the faulting instruction runs again (a sent signal
  // is sent again) and ends the process with the usual status and core.
  struct sigaction fallback {};
  fallback.sa_handler = SIG_DFL;
  sigemptyset(&fallback.sa_mask);
  sigaction(number, &fallback, nullptr);
  if (sent) raise(number);
}

void OnFault(int number, siginfo_t *info, void *context) {
  auto *machine = static_cast<ucontext_t *>(context);
  const uintptr_t pc = ProgramCounter(machine);
  const bool inStub = pc >= reinterpret_cast<uintptr_t>(sc_probe_begin) &&
                      pc < reinterpret_cast<uintptr_t>(sc_probe_end);
  if (inStub && info->si_code > 0) {
    ResumeAt(machine, sc_probe_fault);
    return;
  }
  Chain(number, info, context);
}

bool InstallHandler() {
  struct sigaction action {};
  action.sa_sigaction = OnFault;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_RESTART;
  sigemptyset(&action.sa_mask);
  // The previous dispositions are read before ours goes in, so that a fault in another
  // thread never finds them unset.
  if (sigaction(SIGSEGV, nullptr, &g_previous[0]) || sigaction(SIGBUS, nullptr, &g_previous[1]))
    return false;
  return sigaction(SIGSEGV, &action, nullptr) == 0 && sigaction(SIGBUS, &action, nullptr) == 0;
}

// The handler goes in with the first probe, once for the process.
bool Ready() {
  static const bool installed = InstallHandler();
  return installed;
}

// Touches the first byte of the range and the first byte of every later block in it.
template <class Probe>
bool TouchRange(uintptr_t begin, size_t size, Probe probe) {
  if (!begin) return false;
  if (size == 0) return true;
  const uintptr_t last = begin + (size - 1);
  if (last < begin || !Ready()) return false;
  for (uintptr_t at = begin;;) {
    if (probe(at)) return false;
    const uintptr_t next = (at | (kStride - 1)) + 1;
    if (next == 0 || next > last) return true;
    at = next;
  }
}

}  // namespace

bool CanRead(const void *pointer, size_t size) {
  return TouchRange(reinterpret_cast<uintptr_t>(pointer), size,
                    [](uintptr_t at) { return sc_probe_read(reinterpret_cast<void *>(at)); });
}

bool CanWrite(const void *pointer, size_t size) {
  return TouchRange(reinterpret_cast<uintptr_t>(pointer), size,
                    [](uintptr_t at) { return sc_probe_write(reinterpret_cast<void *>(at)); });
}

bool CanReadString(const char *string, size_t maxLength) {
  if (!string || !Ready()) return false;
  return sc_probe_scan(string, maxLength) == 0;
}

}  // namespace sc::plat
