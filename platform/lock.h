// Locks. A re-entrant lock: the owning thread may enter again and leaves once per entry. The
// fast path is inline because every guarded operation of the library takes a lock twice. A
// plain mutex for the library's own short critical sections, with a guard for one scope.
#pragma once

#include <mutex>
#include <new>

#include "platform/thread_safety.h"

namespace sc::plat {

struct SC_CAPABILITY("mutex") RecursiveLock {
  alignas(std::recursive_mutex) unsigned char storage[sizeof(std::recursive_mutex)];
};

inline std::recursive_mutex *Native(RecursiveLock *lock) {
  return std::launder(reinterpret_cast<std::recursive_mutex *>(lock->storage));
}

// Returns false when the lock cannot be created (it always can here).
inline bool LockInit(RecursiveLock *lock) {
  new (lock->storage) std::recursive_mutex;
  return true;
}
inline void LockDestroy(RecursiveLock *lock) {
  Native(lock)->~recursive_mutex();
}

// The standard library's mutexes carry no annotations, so the analysis cannot see that these
// take or leave the lock; they are where the annotation is made true.
inline void LockEnter(RecursiveLock *lock) SC_ACQUIRE(*lock) SC_NO_THREAD_SAFETY_ANALYSIS {
  Native(lock)->lock();
}
inline void LockLeave(RecursiveLock *lock) SC_RELEASE(*lock) SC_NO_THREAD_SAFETY_ANALYSIS {
  Native(lock)->unlock();
}
// True when the calling thread took the lock at once.
inline bool LockTryEnter(RecursiveLock *lock)
    SC_TRY_ACQUIRE(true, *lock) SC_NO_THREAD_SAFETY_ANALYSIS {
  return Native(lock)->try_lock();
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
