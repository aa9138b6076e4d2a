// The process allocator as the library uses it. Every allocation of the library passes here,
// so that the tests' build of it can make any one of them fail and count what is still held.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sc {

void *RawAlloc(size_t size);
void *RawCalloc(size_t count, size_t size);
// On failure returns null and the old block stays valid.
void *RawRealloc(void *block, size_t size);
void RawFree(void *block);
// The block is no longer the library's to count; whoever keeps it frees it with std::free.
void RawForget(void *block);

// Only in the archive the tests link (built with SC_TESTING_HOOKS); the shipped library has
// no failure hook and no counters.
namespace testing {

// Makes the nth allocation from now on fail (1 = the next one); 0 turns failures off.
// With `every` set, that allocation and all after it fail until FailNthAllocation(0).
void FailNthAllocation(uint64_t nth, bool every = false);
// Whether an allocation was refused since the last FailNthAllocation.
bool AllocationFailed();
// Blocks handed out by the library's allocator and not yet freed.
int64_t LiveBlocks();

}  // namespace testing
}  // namespace sc
