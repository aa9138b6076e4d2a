// Queries of what is installed: component lists by type, broker strings by name, module paths
// and default selections. None of them takes the class lock: they read lists that only grow
// at their tail while the class is open.
#include <memory>
#include <string_view>

#include "broker/module.h"
#include "broker/records.h"
#include "broker/registry.h"
#include "broker/text.h"
#include "foundation/heap_ptr.h"
#include "foundation/result.h"
#include "sc_brk.h"

namespace {

using sc::brk::Addon;
using sc::brk::Engine;
using sc::brk::View;

constexpr char16_t kVersionTag[] = u"VERSION";
constexpr uint32_t kListStep = 8;

// An 8-bit copy of an optional wide value; false only when a present value has no copy.
bool CopyOptional(HeapInstance heap, const char16_t *value, char *&copy) {
  copy = value ? sc::brk::BytesFromWide(heap, value) : nullptr;
  return copy || !value;
}

void FreeList(HeapInstance heap, BrkComponentList *list) {
  for (uint32_t i = 0; i < list->count; ++i) {
    heap_Free(heap, list->entries[i].brokerString);
    heap_Free(heap, list->entries[i].language);
    heap_Free(heap, list->entries[i].version);
  }
  heap_Free(heap, list->entries);
  heap_Free(heap, list);
}

// Appends one entry, growing the array by a step when it is full.
VQRESULT Append(HeapInstance heap, BrkComponentList *list, const char16_t *brokerString,
                const char16_t *name, Tag *tags, const char16_t *language, uint32_t priority) {
  if (list->count == list->capacity) {
    auto *grown = static_cast<BrkComponentInfo *>(
        heap_Realloc(heap, list->entries, (list->capacity + kListStep) * sizeof(BrkComponentInfo)));
    if (!grown) return BRK_E_OUT_OF_MEMORY;
    list->entries = grown;
    list->capacity += kListStep;
  }
  BrkComponentInfo info{};
  info.name = name;
  info.priority = priority;
  const bool copied = CopyOptional(heap, brokerString, info.brokerString) &&
                      CopyOptional(heap, sc::brk::TagValue(tags, kVersionTag), info.version) &&
                      CopyOptional(heap, language, info.language);
  if (!copied) {
    heap_Free(heap, info.brokerString);
    heap_Free(heap, info.version);
    return BRK_E_UNEXPECTED;
  }
  list->entries[list->count++] = info;
  return 0;
}

VQRESULT AppendAddons(HeapInstance heap, BrkComponentList *list, const std::atomic<Addon *> &first,
                      std::u16string_view type) {
  for (Addon *addon = first.load(std::memory_order_acquire); addon;
       addon = addon->next.load(std::memory_order_acquire)) {
    if (View(addon->componentType) != type) continue;
    const VQRESULT result = Append(heap, list, addon->brokerString, addon->name, addon->firstTag,
                                   addon->language, addon->priority);
    if (result) return result;
  }
  return 0;
}

// Engines of the type, whatever the object; only when none has it, the add-ons of that type
// that the object reaches, its engine's first.
VQRESULT FillList(const BrkObject *object, std::u16string_view type, BrkComponentList *list) {
  const BrkClass *cls = object->cls;
  for (Engine *engine = cls->engines; engine; engine = engine->next) {
    if (View(engine->componentType) != type) continue;
    const VQRESULT result = Append(cls->heap, list, engine->brokerString, engine->name,
                                   engine->header->tags, nullptr, 0);
    if (result) return result;
  }
  if (list->count > 0) return 0;
  if (object->engine) {
    const VQRESULT result = AppendAddons(cls->heap, list, object->engine->addons, type);
    if (result) return result;
  }
  return AppendAddons(cls->heap, list, cls->sharedAddons, type);
}

struct FreeComponentList {
  HeapInstance heap;
  void operator()(BrkComponentList *list) const { FreeList(heap, list); }
};
using ListBeingBuilt = std::unique_ptr<BrkComponentList, FreeComponentList>;

VQRESULT ListComponents(const BrkObject &object, const char *componentType,
                        BrkComponentList **out) {
  const HeapInstance heap = object.cls->heap;
  ListBeingBuilt list(sc::brk::NewRecord<BrkComponentList>(heap), FreeComponentList{heap});
  if (!list) return BRK_E_OUT_OF_MEMORY;
  list->entries =
      static_cast<BrkComponentInfo *>(heap_Alloc(heap, kListStep * sizeof(BrkComponentInfo)));
  if (!list->entries) return BRK_E_OUT_OF_MEMORY;
  list->capacity = kListStep;
  auto type = sc::Owned(heap, sc::brk::WideFromBytes(heap, componentType));
  if (!type) return BRK_E_UNEXPECTED;
  SC_TRY(FillList(&object, View(type.get()), list.get()));
  *out = list.release();
  return 0;
}

// A copy of the broker string of the component of this type whose NAME is name.
VQRESULT FindBrokerString(const BrkObject &object, const char *componentType, const char *name,
                          char **out) {
  const HeapInstance heap = object.cls->heap;
  BrkComponentList *listed = nullptr;
  SC_TRY(ListComponents(object, componentType, &listed));
  ListBeingBuilt list(listed, FreeComponentList{heap});
  auto wide = sc::Owned(heap, sc::brk::WideFromBytes(heap, name));
  if (!wide) return BRK_E_UNEXPECTED;
  for (uint32_t i = 0; i < list->count; ++i) {
    if (View(list->entries[i].name) != View(wide.get())) continue;
    const std::string_view found(list->entries[i].brokerString);
    auto *copy = static_cast<char *>(heap_Alloc(heap, found.size() + 1));
    if (!copy) return BRK_E_OUT_OF_MEMORY;
    found.copy(copy, found.size());
    copy[found.size()] = 0;
    *out = copy;
    return 0;
  }
  return BRK_E_MODULE_NOT_FOUND;
}

// A module path, or for a default-form broker string what it selects.
VQRESULT Info(BrkObject &object, const char *brokerString, char **out) {
  const HeapInstance heap = object.cls->heap;
  auto wide = sc::Owned(heap, sc::brk::WideFromBytes(heap, brokerString));
  if (!wide) return BRK_E_UNEXPECTED;
  char16_t *found = nullptr;
  bool sharesEngine;
  if (Engine *engine = sc::brk::FindEngine(object.cls, View(wide.get()))) {
    SC_TRY(sc::brk::ModulePath(&object, engine, nullptr, &found, &sharesEngine));
  } else {
    Addon *addon = nullptr;
    SC_TRY(sc::brk::Resolve(&object, wide.get(), &addon));
    if (!addon) return BRK_E_BROKER_STRING_NOT_FOUND;
    if (sc::brk::IsDefaultForm(View(wide.get()))) {
      *out = sc::brk::BytesFromWide(heap, addon->brokerString);
      return *out ? 0 : BRK_E_UNEXPECTED;
    }
    SC_TRY(sc::brk::ModulePath(&object, nullptr, addon, &found, &sharesEngine));
  }
  auto path = sc::Owned(heap, found);
  *out = sc::brk::BytesFromWide(heap, path.get());
  return *out ? 0 : BRK_E_UNEXPECTED;
}

}  // namespace

extern "C" {

SC_API VQRESULT brk_ComponentListQuery(BrkObject *handle, const char *componentType,
                                       BrkComponentList **out) {
  sc::brk::ObjectRef object = sc::brk::Hold(handle);
  if (!out || !object || !componentType) return BRK_E_INVALID_ARGUMENT;
  *out = nullptr;
  return ListComponents(*object, componentType, out);
}

SC_API VQRESULT brk_ComponentListRelease(BrkObject *handle, BrkComponentList *list) {
  sc::brk::ObjectRef object = sc::brk::Hold(handle);
  if (!object || !list) return BRK_E_INVALID_ARGUMENT;
  FreeList(object->cls->heap, list);
  return 0;
}

SC_API VQRESULT brk_BrokerStringQuery(BrkObject *handle, const char *componentType,
                                      const char *name, char **out) {
  if (!componentType || !name || !out) return BRK_E_INVALID_ARGUMENT;
  *out = nullptr;
  sc::brk::ObjectRef object = sc::brk::Hold(handle);
  if (!object) return BRK_E_INVALID_ARGUMENT;
  return FindBrokerString(*object, componentType, name, out);
}

SC_API VQRESULT brk_InfoQuery(BrkObject *handle, const char *brokerString, char **out) {
  sc::brk::ObjectRef object = sc::brk::Hold(handle);
  if (!object || !brokerString || !out) return BRK_E_INVALID_ARGUMENT;
  *out = nullptr;
  return Info(*object, brokerString, out);
}

SC_API VQRESULT brk_InfoRelease(BrkObject *handle, char *string) {
  sc::brk::ObjectRef object = sc::brk::Hold(handle);
  if (!object || !string) return BRK_E_INVALID_ARGUMENT;
  heap_Free(object->cls->heap, string);
  return 0;
}

SC_API VQRESULT brk_BrokerStringRelease(BrkObject *object, char *string) {
  return brk_InfoRelease(object, string);
}

}  // extern "C"
