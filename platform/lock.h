// A re-entrant lock: the owning thread may enter again and leaves once per entry. The fast
// path is inline because every guarded operation of the library takes a lock twice.
#pragma once

#include <mutex>
#include <new>

namespace sc::plat {

struct RecursiveLock {
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
inline void LockEnter(RecursiveLock *lock) {
  Native(lock)->lock();
}
inline void LockLeave(RecursiveLock *lock) {
  Native(lock)->unlock();
}
// True when the calling thread took the lock at once.
inline bool LockTryEnter(RecursiveLock *lock) {
  return Native(lock)->try_lock();
}

}  // namespace sc::plat
