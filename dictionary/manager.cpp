// Dictionary managers: an ordered list of registered dictionaries, searched from the first;
// the first that holds entries for a key answers. Lock order: manager, then dictionary.
#include <utility>

#include "dictionary/dictionary.h"
#include "foundation/heap_ptr.h"
#include "foundation/live_set.h"
#include "foundation/quarantine.h"
#include "foundation/resource.h"
#include "sc_edct.h"
#include "sc_heap.h"
#include "sc_safeh.h"

namespace sc::edct {
namespace {

struct Registration {
  SafeHandle dictionary;
  Registration *next;
};

struct DictionaryManager {
  Resource *resource;
  Registration *first;  // in search order
  SecObject guard;
};

// The link that leads to the dictionary's registration, or null.
Registration **Find(DictionaryManager &manager, SafeHandle dictionary) {
  for (Registration **link = &manager.first; *link; link = &(*link)->next)
    if (safeh_HandlesEqual((*link)->dictionary, dictionary)) return link;
  return nullptr;
}

// Raises or lowers a dictionary's registration count under its lock; a count that would
// fall below 0 is refused.
VQRESULT ChangeRegisterCount(const Held<Dictionary> &dictionary, int change) {
  ObjectLock lock(&dictionary->guard, dictionary.entry());
  SC_TRY(lock.result());
  if (change < 0 && dictionary->registerCount < 1) return EDCT_E_BAD_REGISTER_COUNT;
  dictionary->registerCount += change;
  return 0;
}

// Runs once the manager is closed and no call holds it any more.
void FinalizeManager(void *object) {
  auto *manager = static_cast<DictionaryManager *>(object);
  SecObject guard = manager->guard;
  Quarantine(manager, sizeof(DictionaryManager));
  srvspi_SecClose(&guard);
}

VQRESULT Open(const HeldResource &resource, ResourceHandle resourceHandle, SafeHandle *out) {
  auto manager = HeapCalloc<DictionaryManager>(resource.resource->heap);
  if (!manager) return EDCT_E_OUT_OF_MEMORY;
  manager->resource = resource.resource;
  SC_TRY(OpenGuarded(resourceHandle, EDCT_DCTMGR_TAG, manager.get(), &manager->guard,
                     FinalizeManager));
  *out = SafeHandle{manager.release(), EDCT_DCTMGR_TAG};
  return 0;
}

// Unregisters every dictionary still in the list, from the last; a failure on the way leaves
// a manager that still works and can be closed again.
VQRESULT UnregisterAll(DictionaryManager &manager) {
  while (manager.first) {
    Registration **link = &manager.first;
    while ((*link)->next)
      link = &(*link)->next;
    Held<Dictionary> dictionary((*link)->dictionary, EDCT_DCT_TAG);
    SC_TRY(dictionary.result());
    SC_TRY(ChangeRegisterCount(dictionary, -1));
    heap_Free(manager.resource->heap, std::exchange(*link, nullptr));
  }
  return 0;
}

VQRESULT Register(DictionaryManager &manager, const Held<Dictionary> &dictionary, SafeHandle handle,
                  bool front) {
  if (Find(manager, handle)) return EDCT_E_ALREADY_REGISTERED;
  auto registration = HeapCalloc<Registration>(manager.resource->heap);
  if (!registration) return EDCT_E_OUT_OF_MEMORY;
  SC_TRY(ChangeRegisterCount(dictionary, +1));
  registration->dictionary = handle;
  Registration **link = &manager.first;
  if (!front)
    while (*link)
      link = &(*link)->next;
  registration->next = *link;
  *link = registration.release();
  return 0;
}

// Runs `change` under the manager's lock on the registration of a dictionary in its list.
template <class Change>
VQRESULT WithRegistration(SafeHandle managerHandle, SafeHandle dictionaryHandle, Change change) {
  Locked<DictionaryManager> manager(managerHandle, EDCT_DCTMGR_TAG);
  if (!manager) return manager.result();
  Held<Dictionary> dictionary(dictionaryHandle, EDCT_DCT_TAG);
  if (!dictionary) return dictionary.result();
  Registration **link = Find(*manager, dictionaryHandle);
  if (!link) return EDCT_E_NOT_REGISTERED;
  return change(*manager, dictionary, link);
}

// The first registered dictionary, in search order, that has entries for the key.
VQRESULT Search(const DictionaryManager &manager, const char16_t *key, const EDCT_FILTER *filter,
                EDCT_ENTRY **entries, uint32_t *count, SafeHandle *dictionary) {
  for (const Registration *at = manager.first; at; at = at->next) {
    EDCT_ENTRY *found = nullptr;
    uint32_t number = 0;
    const VQRESULT result = edct_DctGetEntryData(at->dictionary, key, filter, &found, &number);
    if (result == EDCT_E_NOT_FOUND) continue;
    if (result) return result;
    *entries = found;
    *count = number;
    *dictionary = at->dictionary;
    return 0;
  }
  *entries = nullptr;
  *count = 0;
  *dictionary = g_vqNullHandle;
  return EDCT_E_NOT_FOUND;
}

}  // namespace
}  // namespace sc::edct

using namespace sc::edct;

extern "C" {

SC_API VQRESULT edct_DctMgrOpen(ResourceHandle resourceHandle, SafeHandle *out) {
  sc::HeldResource resource;
  SC_TRY(sc::ResolveResource(resourceHandle, &resource));
  SC_TRY(CheckOut(out));
  *out = g_vqNullHandle;
  return Open(resource, resourceHandle, out);
}

SC_API VQRESULT edct_DctMgrClose(SafeHandle handle) {
  Locked<DictionaryManager> manager(handle, EDCT_DCTMGR_TAG);
  if (!manager) return manager.result();
  SC_TRY(UnregisterAll(*manager));
  manager.Close();
  return 0;
}

SC_API VQRESULT edct_DctMgrRegisterDct(SafeHandle managerHandle, SafeHandle dictionaryHandle,
                                       uint32_t front) {
  Locked<DictionaryManager> manager(managerHandle, EDCT_DCTMGR_TAG);
  if (!manager) return manager.result();
  Held<Dictionary> dictionary(dictionaryHandle, EDCT_DCT_TAG);
  if (!dictionary) return dictionary.result();
  return Register(*manager, dictionary, dictionaryHandle, front != 0);
}

SC_API VQRESULT edct_DctMgrUnregisterDct(SafeHandle managerHandle, SafeHandle dictionaryHandle) {
  return WithRegistration(
      managerHandle, dictionaryHandle,
      [](DictionaryManager &manager, const Held<Dictionary> &dictionary, Registration **link) {
        SC_TRY(ChangeRegisterCount(dictionary, -1));
        heap_Free(manager.resource->heap, std::exchange(*link, (*link)->next));
        return VQRESULT{0};
      });
}

SC_API VQRESULT edct_DctMgrPromoteDct(SafeHandle managerHandle, SafeHandle dictionaryHandle) {
  return WithRegistration(
      managerHandle, dictionaryHandle,
      [](DictionaryManager &manager, const Held<Dictionary> &, Registration **link) {
        Registration *moved = std::exchange(*link, (*link)->next);
        moved->next = std::exchange(manager.first, moved);
        return VQRESULT{0};
      });
}

SC_API VQRESULT edct_DctMgrGetRegisteredDcts(SafeHandle handle, SafeHandle *dictionaries,
                                             uint32_t *count) {
  Locked<DictionaryManager> manager(handle, EDCT_DCTMGR_TAG);
  if (!manager) return manager.result();
  SC_TRY(CheckOut(count));
  uint32_t registered = 0;
  for (const Registration *at = manager->first; at; at = at->next)
    ++registered;
  if (dictionaries) {
    if (registered > *count) return EDCT_E_BUFFER_TOO_SMALL;
    if (registered) SC_TRY(osspi_IsGoodWritePtr(dictionaries, registered * sizeof(SafeHandle)));
    uint32_t i = 0;
    for (const Registration *at = manager->first; at; at = at->next)
      dictionaries[i++] = at->dictionary;
  }
  *count = registered;
  return 0;
}

SC_API VQRESULT edct_DctMgrGetEntryData(SafeHandle handle, const char16_t *key,
                                        const EDCT_FILTER *filter, EDCT_ENTRY **entries,
                                        uint32_t *count, SafeHandle *dictionary) {
  Locked<DictionaryManager> manager(handle, EDCT_DCTMGR_TAG);
  if (!manager) return manager.result();
  if (!key) return EDCT_E_NULL_POINTER;
  SC_TRY(CheckOut(entries, count, dictionary));
  return Search(*manager, key, filter, entries, count, dictionary);
}

}  // extern "C"
