// Loadable modules: loading one by path, finding a symbol in it, freeing it. Every call goes
// through the system call table of syscalls.h.
#pragma once

#include <cstddef>

#include "platform/syscalls.h"

namespace sc::plat {

// The loaded module, or null. On failure the system's message is copied into `error` (when
// given, cut to `errorSize` bytes with its NUL) before anything else can replace it.
Library *LibraryLoad(const char *path, char *error = nullptr, size_t errorSize = 0);
// The address of the exported symbol, or null.
void *LibrarySymbol(Library *library, const char *name);
void LibraryFree(Library *library);

}  // namespace sc::plat
