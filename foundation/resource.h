// What the other families need of resources beyond the C API.
#pragma once

#include "sc_rsrc.h"

namespace sc {

Resource *DefaultResource();
// The Resource is still open (the default resource always is). Objects that keep a Resource
// pointer ask this instead of reading the mark of memory that may have been freed.
bool ResourceAlive(const Resource *resource);

}  // namespace sc
