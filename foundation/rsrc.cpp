#include "foundation/live_set.h"
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

}  // namespace

Resource *DefaultResource() {
  return &g_defaultResource;
}

bool ResourceAlive(const Resource *resource) {
  if (resource == &g_defaultResource) return true;
  return resource && live::Contains(resource, RESOURCE_MAGIC) && resource->mark == RESOURCE_MAGIC;
}

}  // namespace sc

extern "C" {

SC_API VQRESULT InitRsrcFunction(ResourceHandle resource, Resource **out) {
  if (!out) return RSRC_E_NULL_POINTER;
  if (safeh_HandlesEqual(resource, g_vqNullHandle)) {
    *out = sc::DefaultResource();
    return 0;
  }
  const VQRESULT checked = safeh_HandleCheck(resource, RESOURCE_MAGIC, sizeof(Resource));
  if (checked) return sc::ReasonOf(checked) == 9 ? RSRC_E_INVALID_RESOURCE : checked;
  // A Resource that was closed is no longer in the live set; its memory is not read.
  if (!sc::live::Contains(resource.pointer, RESOURCE_MAGIC)) return RSRC_E_INVALID_RESOURCE;
  auto *found = static_cast<Resource *>(resource.pointer);
  *out = found;
  return found->mark == RESOURCE_MAGIC ? 0 : RSRC_E_INVALID_RESOURCE;
}

SC_API VQRESULT rsrc_Open(HeapInstance heap, LockInstance lock, uint32_t clientWord1,
                          uint32_t clientWord2, ResourceHandle *out) {
  const VQRESULT writable = osspi_IsGoodWritePtr(out, sizeof(ResourceHandle));
  if (writable) return writable;
  auto *resource = static_cast<Resource *>(heap_Calloc(heap, 1, sizeof(Resource)));
  if (!resource) return RSRC_E_OUT_OF_MEMORY;
  resource->heap = heap;
  resource->lock = lock;
  resource->clientWord1 = clientWord1;
  resource->clientWord2 = clientWord2;
  resource->mark = RESOURCE_MAGIC;
  if (!sc::live::Add(resource, RESOURCE_MAGIC)) {
    heap_Free(heap, resource);
    return RSRC_E_OUT_OF_MEMORY;
  }
  *out = ResourceHandle{resource, RESOURCE_MAGIC};
  return 0;
}

SC_API VQRESULT rsrc_Close(ResourceHandle handle) {
  Resource *resource = nullptr;
  const VQRESULT resolved = InitRsrcFunction(handle, &resource);
  if (resolved) return resolved;
  // The default resource is static and outlives every client; closing it changes nothing.
  if (resource == sc::DefaultResource()) return 0;
  sc::live::Remove(resource, RESOURCE_MAGIC);
  resource->mark = 0;
  heap_Free(resource->heap, resource);
  return 0;
}

}  // extern "C"
