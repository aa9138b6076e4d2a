// The set of objects that are open right now, by address and kind. Families whose handles
// can outlive their objects ask it before they touch an object behind a handle, so a stale
// handle is refused without reading freed memory and an object is never freed twice.
#pragma once

#include <cstdint>

namespace sc::live {

// False when the set cannot grow (out of memory); the object must then not be handed out.
bool Add(const void *object, uint32_t kind);
void Remove(const void *object, uint32_t kind);
bool Contains(const void *object, uint32_t kind);

}  // namespace sc::live
