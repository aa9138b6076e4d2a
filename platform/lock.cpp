#include "platform/lock.h"

#include <pthread.h>

#include <new>

namespace sc::plat {
namespace {

static_assert(sizeof(pthread_mutex_t) <= sizeof(RecursiveLock::storage));
static_assert(alignof(pthread_mutex_t) <= alignof(RecursiveLock));

pthread_mutex_t *Native(RecursiveLock *lock) {
  return std::launder(reinterpret_cast<pthread_mutex_t *>(lock->storage));
}

}  // namespace

bool LockInit(RecursiveLock *lock) {
  pthread_mutexattr_t attr;
  if (pthread_mutexattr_init(&attr) != 0) return false;
  pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
  auto *mutex = new (lock->storage) pthread_mutex_t;
  const int rc = pthread_mutex_init(mutex, &attr);
  pthread_mutexattr_destroy(&attr);
  return rc == 0;
}

void LockDestroy(RecursiveLock *lock) {
  pthread_mutex_destroy(Native(lock));
}

void LockEnter(RecursiveLock *lock) {
  pthread_mutex_lock(Native(lock));
}

void LockLeave(RecursiveLock *lock) {
  pthread_mutex_unlock(Native(lock));
}

bool LockTryEnter(RecursiveLock *lock) {
  return pthread_mutex_trylock(Native(lock)) == 0;
}

}  // namespace sc::plat
