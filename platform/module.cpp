#include "platform/module.h"

#include <algorithm>
#include <cstring>

namespace sc::plat {

Library *LibraryLoad(const char *path, char *error, size_t errorSize) {
  const Syscalls &calls = CurrentSyscalls();
  Library *library = path ? calls.dlopen(path) : nullptr;
  // The message lives in storage that the next failing call overwrites: take it now, and
  // take it even when no one wants it so that a later reader does not see a stale one.
  const char *message = library ? nullptr : calls.dlerror();
  if (error && errorSize) {
    error[0] = 0;
    if (message) {
      const size_t length = std::min(std::strlen(message), errorSize - 1);
      std::memcpy(error, message, length);
      error[length] = 0;
    }
  }
  return library;
}

void *LibrarySymbol(Library *library, const char *name) {
  if (!library || !name) return nullptr;
  const Syscalls &calls = CurrentSyscalls();
  calls.dlerror();
  return calls.dlsym(library, name);
}

void LibraryFree(Library *library) {
  if (library) CurrentSyscalls().dlclose(library);
}

}  // namespace sc::plat
