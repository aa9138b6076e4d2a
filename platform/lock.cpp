// The slow paths of the re-entrant lock, on a futex: a thread that finds the lock held marks
// it contended (state 2) and sleeps until the state changes; the leave that finds it contended
// wakes one sleeper, which marks it contended again, since others may still be waiting.
#include "platform/lock.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace sc::plat {
namespace {

uint32_t *Word(RecursiveLock *lock) {
  static_assert(sizeof(std::atomic<uint32_t>) == sizeof(uint32_t));
  return reinterpret_cast<uint32_t *>(&lock->state);
}

}  // namespace

void LockWait(RecursiveLock *lock) {
  while (lock->state.exchange(2, std::memory_order_acquire) != 0)
    syscall(SYS_futex, Word(lock), FUTEX_WAIT_PRIVATE, 2, nullptr, nullptr, 0);
}

void LockWake(RecursiveLock *lock) {
  syscall(SYS_futex, Word(lock), FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

}  // namespace sc::plat
