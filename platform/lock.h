// Locks. A re-entrant lock: the owning thread may enter again and leaves once per entry. Its
// fast path (one compare-and-swap to enter, one exchange to leave; plain loads and stores
// while the process has a single thread) is inline because every guarded operation of the
// library takes a lock; a thread that must wait sleeps in the kernel. A plain mutex for the
// library's own short critical sections, with a guard for one scope.
#pragma once

#include <sys/single_threaded.h>

#include <atomic>
#include <cassert>
#include <cstdint>
#include <mutex>
#include <new>

#include "platform/thread_safety.h"

namespace sc::plat {

// Kept in caller storage, made by LockInit. The owner is recorded, so the lock knows a
// re-entry from a first entry, and a debug build catches a leave by a thread not holding it.
struct SC_CAPABILITY("mutex") RecursiveLock {
  std::atomic<uint32_t> state;   // 0 free, 1 held, 2 held with threads waiting
  std::atomic<uintptr_t> owner;  // the holding thread, 0 when free
  uint32_t depth;                // entries of the owner not yet left; only the owner uses it
};

// The calling thread, as a number no other running thread has.
inline uintptr_t CurrentThread() {
  return reinterpret_cast<uintptr_t>(__builtin_thread_pointer());
}

// No other thread exists, so none can be taking or leaving a lock at the same time. The C
// library clears this before the process's second thread starts, and never sets it again.
inline bool OnlyThread() {
  return __libc_single_threaded;
}

// The slow paths: waiting for the lock, and waking a waiter.
void LockWait(RecursiveLock *lock);
void LockWake(RecursiveLock *lock);

// Returns false when the lock cannot be created (it always can here).
inline bool LockInit(RecursiveLock *lock) {
  new (lock) RecursiveLock{};  // free, no owner
  return true;
}
inline void LockDestroy(RecursiveLock *) {}

// The analysis cannot see through the atomics that these take or leave the lock; they are
// where the annotation is made true.
inline void LockEnter(RecursiveLock *lock) SC_ACQUIRE(*lock) SC_NO_THREAD_SAFETY_ANALYSIS {
  const uintptr_t self = CurrentThread();
  if (lock->owner.load(std::memory_order_relaxed) == self) {
    ++lock->depth;
    return;
  }
  uint32_t free = 0;
  if (OnlyThread() && lock->state.load(std::memory_order_relaxed) == 0)
    lock->state.store(1, std::memory_order_relaxed);
  else if (!lock->state.compare_exchange_strong(free, 1, std::memory_order_acquire,
                                                std::memory_order_relaxed))
    LockWait(lock);
  lock->owner.store(self, std::memory_order_relaxed);
  lock->depth = 1;
}

inline void LockLeave(RecursiveLock *lock) SC_RELEASE(*lock) SC_NO_THREAD_SAFETY_ANALYSIS {
  assert(lock->owner.load(std::memory_order_relaxed) == CurrentThread());
  if (--lock->depth) return;
  lock->owner.store(0, std::memory_order_relaxed);
  if (OnlyThread())
    lock->state.store(0, std::memory_order_relaxed);
  else if (lock->state.exchange(0, std::memory_order_release) == 2)
    LockWake(lock);
}

// True when the calling thread took the lock at once.
inline bool LockTryEnter(RecursiveLock *lock)
    SC_TRY_ACQUIRE(true, *lock) SC_NO_THREAD_SAFETY_ANALYSIS {
  const uintptr_t self = CurrentThread();
  if (lock->owner.load(std::memory_order_relaxed) == self) {
    ++lock->depth;
    return true;
  }
  uint32_t free = 0;
  if (!lock->state.compare_exchange_strong(free, 1, std::memory_order_acquire,
                                           std::memory_order_relaxed))
    return false;
  lock->owner.store(self, std::memory_order_relaxed);
  lock->depth = 1;
  return true;
}

class SC_CAPABILITY("mutex") Mutex {
 public:
  constexpr Mutex() = default;
  Mutex(const Mutex &) = delete;
  Mutex &operator=(const Mutex &) = delete;
  // Unannotated standard mutex underneath, as above.
  void Enter() SC_ACQUIRE() SC_NO_THREAD_SAFETY_ANALYSIS { mutex_.lock(); }
  void Leave() SC_RELEASE() SC_NO_THREAD_SAFETY_ANALYSIS { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};

// Holds a Mutex for one scope.
class SC_SCOPED_CAPABILITY MutexHold {
 public:
  explicit MutexHold(Mutex &mutex) SC_ACQUIRE(mutex) : mutex_(mutex) { mutex_.Enter(); }
  ~MutexHold() SC_RELEASE() { mutex_.Leave(); }
  MutexHold(const MutexHold &) = delete;
  MutexHold &operator=(const MutexHold &) = delete;

 private:
  Mutex &mutex_;
};

}  // namespace sc::plat
