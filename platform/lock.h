// A re-entrant lock: the owning thread may enter again and leaves once per entry.
#pragma once

#include <cstddef>

namespace sc::plat {

struct RecursiveLock {
  // Room for the operating system's mutex; checked against its real size in lock.cpp.
  alignas(16) unsigned char storage[64];
};

// Returns false when the operating system refuses to create the lock.
bool LockInit(RecursiveLock *lock);
void LockDestroy(RecursiveLock *lock);
void LockEnter(RecursiveLock *lock);
void LockLeave(RecursiveLock *lock);
// True when the calling thread could take the lock at once (used by tests of blocking).
bool LockTryEnter(RecursiveLock *lock);

}  // namespace sc::plat
