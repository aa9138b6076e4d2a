// Resources. Each open Resource is in the open-object set; a close marks it, and its memory
// goes once the last object opened with it (each holds it) has been finalised.
#include <atomic>

#include "foundation/heap_ptr.h"
#include "foundation/live_set.h"
#include "foundation/quarantine.h"
#include "foundation/resource.h"
#include "foundation/result.h"
#include "sc_heap.h"
#include "sc_osspi.h"
#include "sc_rsrc.h"
#include "sc_safeh.h"

namespace sc {
namespace {

// The default resource: static, never opened and never freed.
Resource g_defaultResource = {RESOURCE_MAGIC, 0, 0, 0, 0};

// The mark is cleared by a close while objects opened with the Resource may be reading it.
std::atomic_ref<uint16_t> Mark(Resource *resource) {
  return std::atomic_ref<uint16_t>(resource->mark);
}

void FinalizeResource(void *resource) {
  Quarantine(resource, sizeof(Resource));
}

}  // namespace

Resource *DefaultResource() {
  return &g_defaultResource;
}

VQRESULT ResolveResource(ResourceHandle handle, HeldResource *out) {
  if (safeh_HandlesEqual(handle, g_vqNullHandle)) {
    out->resource = DefaultResource();
    return 0;
  }
  if (handle.check != RESOURCE_MAGIC || !handle.pointer) return RSRC_E_INVALID_RESOURCE;
  live::Held<Resource> hold(handle.pointer, RESOURCE_MAGIC);
  if (!hold) {
    // Not an open Resource; the probes say whether the memory could have held one at all.
    const VQRESULT checked = safeh_HandleCheck(handle, RESOURCE_MAGIC, sizeof(Resource));
    return checked ? checked : RSRC_E_INVALID_RESOURCE;
  }
  if (Mark(hold.get()).load(std::memory_order_relaxed) != RESOURCE_MAGIC)
    return RSRC_E_INVALID_RESOURCE;
  out->resource = hold.get();
  out->hold = std::move(hold);
  return 0;
}

bool ResourceAlive(const Resource *resource) {
  return resource == &g_defaultResource ||
         (resource &&
          Mark(const_cast<Resource *>(resource)).load(std::memory_order_relaxed) == RESOURCE_MAGIC);
}

}  // namespace sc

extern "C" {

SC_API VQRESULT InitRsrcFunction(ResourceHandle resource, Resource **out) {
  if (!out) return RSRC_E_NULL_POINTER;
  sc::HeldResource held;
  const VQRESULT resolved = sc::ResolveResource(resource, &held);
  if (resolved) return resolved;
  *out = held.resource;
  return 0;
}

SC_API VQRESULT rsrc_Open(HeapInstance heap, LockInstance lock, uint32_t clientWord1,
                          uint32_t clientWord2, ResourceHandle *out) {
  const VQRESULT writable = osspi_IsGoodWritePtr(out, sizeof(ResourceHandle));
  if (writable) return writable;
  auto resource = sc::HeapCalloc<Resource>(heap);
  if (!resource) return RSRC_E_OUT_OF_MEMORY;
  resource->heap = heap;
  resource->lock = lock;
  resource->clientWord1 = clientWord1;
  resource->clientWord2 = clientWord2;
  resource->mark = RESOURCE_MAGIC;
  if (!sc::live::Add(resource.get(), RESOURCE_MAGIC, sc::FinalizeResource))
    return RSRC_E_OUT_OF_MEMORY;
  *out = ResourceHandle{resource.release(), RESOURCE_MAGIC};
  return 0;
}

SC_API VQRESULT rsrc_Close(ResourceHandle handle) {
  sc::HeldResource held;
  const VQRESULT resolved = sc::ResolveResource(handle, &held);
  if (resolved) return resolved;
  // The default resource is static and outlives every client; closing it changes nothing.
  if (!held.hold) return 0;
  sc::Mark(held.resource).store(0, std::memory_order_relaxed);
  return sc::live::Close(held.hold.entry()) ? 0 : RSRC_E_INVALID_RESOURCE;  // closed meanwhile
}

}  // extern "C"
