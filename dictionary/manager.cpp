// Dictionary managers: an ordered list of registered dictionaries, searched from the first;
// the first that holds entries for a key answers. Lock order: manager, then dictionary.
#include "dictionary/dictionary.h"
#include "foundation/live_set.h"
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

VQRESULT ResolveManager(SafeHandle handle, DictionaryManager **out) {
  return ResolveGuarded(handle, EDCT_DCTMGR_TAG, out);
}

// The link that leads to the dictionary's registration, or null.
Registration **Find(DictionaryManager *manager, SafeHandle dictionary) {
  for (Registration **link = &manager->first; *link; link = &(*link)->next)
    if (safeh_HandlesEqual((*link)->dictionary, dictionary)) return link;
  return nullptr;
}

// Raises or lowers a dictionary's registration count under its lock; a count that would
// fall below 0 is refused.
VQRESULT ChangeRegisterCount(Dictionary *dictionary, int change) {
  GuardLock lock(dictionary->guard);
  if (lock.result()) return lock.result();
  if (change < 0 && dictionary->registerCount < 1) return EDCT_E_BAD_REGISTER_COUNT;
  dictionary->registerCount += change;
  return 0;
}

// Resolves both handles of a registration operation.
VQRESULT ResolveBoth(SafeHandle managerHandle, SafeHandle dictionaryHandle,
                     DictionaryManager **manager, Dictionary **dictionary) {
  const VQRESULT found = ResolveManager(managerHandle, manager);
  if (found) return found;
  return ResolveDictionary(dictionaryHandle, dictionary);
}

// Runs `change` under the manager's lock on the registration of a dictionary in its list.
template <class Change>
VQRESULT WithRegistration(SafeHandle managerHandle, SafeHandle dictionaryHandle, Change change) {
  DictionaryManager *manager = nullptr;
  Dictionary *dictionary = nullptr;
  const VQRESULT resolved = ResolveBoth(managerHandle, dictionaryHandle, &manager, &dictionary);
  if (resolved) return resolved;
  GuardLock lock(manager->guard);
  if (lock.result()) return lock.result();
  Registration **link = Find(manager, dictionaryHandle);
  if (!link) return EDCT_E_NOT_REGISTERED;
  return change(manager, dictionary, link);
}

}  // namespace
}  // namespace sc::edct

using namespace sc::edct;

extern "C" {

SC_API VQRESULT edct_DctMgrOpen(ResourceHandle resourceHandle, SafeHandle *out) {
  Resource *resource = nullptr;
  const VQRESULT resolved = InitRsrcFunction(resourceHandle, &resource);
  if (resolved) return resolved;
  if (!out) return EDCT_E_NULL_POINTER;
  *out = g_vqNullHandle;
  auto *manager =
      static_cast<DictionaryManager *>(heap_Calloc(resource->heap, 1, sizeof(DictionaryManager)));
  if (!manager) return EDCT_E_OUT_OF_MEMORY;
  manager->resource = resource;
  const VQRESULT result = OpenGuarded(resourceHandle, EDCT_DCTMGR_TAG, manager, &manager->guard);
  if (result) {
    heap_Free(resource->heap, manager);
    return result;
  }
  *out = SafeHandle{manager, EDCT_DCTMGR_TAG};
  return 0;
}

SC_API VQRESULT edct_DctMgrClose(SafeHandle handle) {
  DictionaryManager *manager = nullptr;
  const VQRESULT resolved = ResolveManager(handle, &manager);
  if (resolved) return resolved;
  SecObject guard = manager->guard;
  const VQRESULT locked = srvspi_SecLock(guard);
  if (locked) return locked;
  // Everything still registered is unregistered first, from the last; only then the guard
  // goes, so a failure on the way leaves a manager that still works and can be closed again.
  while (manager->first) {
    Registration **link = &manager->first;
    while ((*link)->next)
      link = &(*link)->next;
    Dictionary *dictionary = nullptr;
    VQRESULT result = ResolveDictionary((*link)->dictionary, &dictionary);
    if (!result) result = ChangeRegisterCount(dictionary, -1);
    if (result) {
      srvspi_SecUnlock(guard);
      return result;
    }
    heap_Free(manager->resource->heap, *link);
    *link = nullptr;
  }
  sc::live::Remove(manager, EDCT_DCTMGR_TAG);
  heap_Free(manager->resource->heap, manager);
  return CloseGuardCopy(guard);
}

SC_API VQRESULT edct_DctMgrRegisterDct(SafeHandle managerHandle, SafeHandle dictionaryHandle,
                                       uint32_t front) {
  DictionaryManager *manager = nullptr;
  Dictionary *dictionary = nullptr;
  const VQRESULT resolved = ResolveBoth(managerHandle, dictionaryHandle, &manager, &dictionary);
  if (resolved) return resolved;
  GuardLock lock(manager->guard);
  if (lock.result()) return lock.result();
  if (Find(manager, dictionaryHandle)) return EDCT_E_ALREADY_REGISTERED;
  auto *registration =
      static_cast<Registration *>(heap_Alloc(manager->resource->heap, sizeof(Registration)));
  if (!registration) return EDCT_E_OUT_OF_MEMORY;
  const VQRESULT counted = ChangeRegisterCount(dictionary, +1);
  if (counted) {
    heap_Free(manager->resource->heap, registration);
    return counted;
  }
  registration->dictionary = dictionaryHandle;
  Registration **link = &manager->first;
  if (!front)
    while (*link)
      link = &(*link)->next;
  registration->next = *link;
  *link = registration;
  return 0;
}

SC_API VQRESULT edct_DctMgrUnregisterDct(SafeHandle managerHandle, SafeHandle dictionaryHandle) {
  return WithRegistration(
      managerHandle, dictionaryHandle,
      [](DictionaryManager *manager, Dictionary *dictionary, Registration **link) {
        const VQRESULT counted = ChangeRegisterCount(dictionary, -1);
        if (counted) return counted;
        Registration *gone = *link;
        *link = gone->next;
        heap_Free(manager->resource->heap, gone);
        return VQRESULT{0};
      });
}

SC_API VQRESULT edct_DctMgrPromoteDct(SafeHandle managerHandle, SafeHandle dictionaryHandle) {
  return WithRegistration(managerHandle, dictionaryHandle,
                          [](DictionaryManager *manager, Dictionary *, Registration **link) {
                            Registration *moved = *link;
                            *link = moved->next;
                            moved->next = manager->first;
                            manager->first = moved;
                            return VQRESULT{0};
                          });
}

SC_API VQRESULT edct_DctMgrGetRegisteredDcts(SafeHandle handle, SafeHandle *dictionaries,
                                             uint32_t *count) {
  DictionaryManager *manager = nullptr;
  const VQRESULT resolved = ResolveManager(handle, &manager);
  if (resolved) return resolved;
  if (!count) return EDCT_E_NULL_POINTER;
  GuardLock lock(manager->guard);
  if (lock.result()) return lock.result();
  uint32_t registered = 0;
  for (const Registration *at = manager->first; at; at = at->next)
    ++registered;
  if (dictionaries) {
    if (registered > *count) return EDCT_E_BUFFER_TOO_SMALL;
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
  DictionaryManager *manager = nullptr;
  const VQRESULT resolved = ResolveManager(handle, &manager);
  if (resolved) return resolved;
  if (!key || !entries || !count || !dictionary) return EDCT_E_NULL_POINTER;
  GuardLock lock(manager->guard);
  if (lock.result()) return lock.result();
  for (const Registration *at = manager->first; at; at = at->next) {
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

}  // extern "C"
