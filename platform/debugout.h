// The debug output channel: standard error on this platform.
#pragma once

#include <cstddef>

namespace sc::plat {

// Writes the bytes in one write when the channel takes them at once; a partial write or an
// interrupted one is continued, a refusal drops the rest.
void DebugOutput(const char *bytes, size_t length);

}  // namespace sc::plat
