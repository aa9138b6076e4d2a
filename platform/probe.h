// Memory probes: may the calling process read or write a range right now? They never fault
// and never change memory. The first probe installs the library's SIGSEGV and SIGBUS handler,
// which passes every fault that is not a probe's on to the handler that was there before.
#pragma once

#include <cstddef>

namespace sc::plat {

// Every byte of [pointer, pointer + size) may be read. Size 0 is always readable.
bool CanRead(const void *pointer, size_t size);
// Every byte of [pointer, pointer + size) may be written.
bool CanWrite(const void *pointer, size_t size);
// The string may be read up to its NUL or up to maxLength bytes, whichever comes first.
bool CanReadString(const char *string, size_t maxLength);

}  // namespace sc::plat
