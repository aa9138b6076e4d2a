// The standard output as a byte stream. Text that the library prints goes out as UTF-8 bytes
// here, through the same stream as the host program's own printf output, so the two interleave
// in order.
#pragma once

#include <cstddef>

namespace sc::plat {

// True when every byte was handed to the stream.
bool StandardOutputWrite(const void *bytes, size_t size);
void StandardOutputFlush();

}  // namespace sc::plat
