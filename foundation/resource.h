// What the other families need of resources beyond the C API.
#pragma once

#include "foundation/live_set.h"
#include "sc_rsrc.h"

namespace sc {

Resource *DefaultResource();

// A Resource resolved from a handle and held, so that it is not freed while it is used. An
// object opened with it keeps the hold (hold.Release()) until the object is finalised; the
// default resource needs none.
struct HeldResource {
  Resource *resource = nullptr;
  live::Held<Resource> hold;
};

// As InitRsrcFunction, with the hold.
VQRESULT ResolveResource(ResourceHandle handle, HeldResource *out);

// The Resource has not been closed (the default resource never is). The caller holds it, or
// an object opened with it does, so its memory is there to be read.
bool ResourceAlive(const Resource *resource);

}  // namespace sc
