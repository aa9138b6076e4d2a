// Closed objects' memory is not given back to the allocator at once: a block waits until many
// other objects have been opened, so that the address behind a stale handle is not soon the
// address of a new object, and the open-object set refuses the handle instead of finding a
// stranger there.
#pragma once

#include <cstddef>

namespace sc {

// Openings an address waits for before the allocator may hand it out again, and the bytes the
// waiting blocks may take together (beyond them the oldest go back early).
inline constexpr unsigned kQuarantineOpenings = 1000;
inline constexpr size_t kQuarantineBytes = size_t{1} << 20;

// Counts one opening of an object of any kind.
void CountOpening();
// Takes a closed object's block (from heap_Alloc or heap_Calloc) of this size; it is freed
// later. Leaves the heap's count of blocks held at once.
void Quarantine(void *block, size_t bytes);

}  // namespace sc
