// Leaving the process, and its standard output.
#pragma once

#include <cstddef>

namespace sc::plat {

// Writes the bytes to standard output and flushes it.
void StandardOutput(const char *bytes, size_t length);

// Ends the process with the given status, flushing the C library's streams first.
[[noreturn]] void ExitProcess(int status);

}  // namespace sc::plat
