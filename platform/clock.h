// A millisecond tick.
#pragma once

#include <cstdint>

namespace sc::plat {

// Milliseconds since the system started (suspended time included where the system counts
// it), wrapping at 32 bits.
uint32_t MillisecondsSinceBoot();

}  // namespace sc::plat
