// Queries of what is installed: component lists by type, broker strings by name, module paths
// and default selections. None of them takes the class lock: they read lists that only grow
// at their tail while the class is open.
#include "broker/module.h"
#include "broker/records.h"
#include "broker/registry.h"
#include "broker/text.h"
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

}  // namespace

extern "C" {

SC_API VQRESULT brk_ComponentListQuery(BrkObject *object, const char *componentType,
                                       BrkComponentList **out) {
  if (!out || !sc::brk::IsOpen(object) || !componentType) return BRK_E_INVALID_ARGUMENT;
  *out = nullptr;
  const HeapInstance heap = object->cls->heap;
  auto *list = sc::brk::NewRecord<BrkComponentList>(heap);
  if (list)
    list->entries =
        static_cast<BrkComponentInfo *>(heap_Alloc(heap, kListStep * sizeof(BrkComponentInfo)));
  if (!list || !list->entries) {
    heap_Free(heap, list);
    return BRK_E_OUT_OF_MEMORY;
  }
  list->capacity = kListStep;
  char16_t *type = sc::brk::WideFromBytes(heap, componentType);
  const VQRESULT result = type ? FillList(object, View(type), list) : BRK_E_UNEXPECTED;
  heap_Free(heap, type);
  if (result) {
    FreeList(heap, list);
    return result;
  }
  *out = list;
  return 0;
}

SC_API VQRESULT brk_ComponentListRelease(BrkObject *object, BrkComponentList *list) {
  if (!sc::brk::IsOpen(object) || !list) return BRK_E_INVALID_ARGUMENT;
  FreeList(object->cls->heap, list);
  return 0;
}

SC_API VQRESULT brk_BrokerStringQuery(BrkObject *object, const char *componentType,
                                      const char *name, char **out) {
  if (!componentType || !name || !out) return BRK_E_INVALID_ARGUMENT;
  *out = nullptr;
  BrkComponentList *list = nullptr;
  VQRESULT result = brk_ComponentListQuery(object, componentType, &list);
  if (result) return result;
  const HeapInstance heap = object->cls->heap;
  char16_t *wide = sc::brk::WideFromBytes(heap, name);
  if (!wide) {
    result = BRK_E_UNEXPECTED;
  } else {
    result = BRK_E_MODULE_NOT_FOUND;
    for (uint32_t i = 0; i < list->count; ++i) {
      if (View(list->entries[i].name) != View(wide)) continue;
      const std::string_view found(list->entries[i].brokerString);
      auto *copy = static_cast<char *>(heap_Alloc(heap, found.size() + 1));
      if (copy) {
        found.copy(copy, found.size());
        copy[found.size()] = 0;
        *out = copy;
      }
      result = copy ? 0 : BRK_E_OUT_OF_MEMORY;
      break;
    }
  }
  heap_Free(heap, wide);
  FreeList(heap, list);
  return result;
}

SC_API VQRESULT brk_InfoQuery(BrkObject *object, const char *brokerString, char **out) {
  if (!sc::brk::IsOpen(object) || !brokerString || !out) return BRK_E_INVALID_ARGUMENT;
  *out = nullptr;
  const HeapInstance heap = object->cls->heap;
  char16_t *wide = sc::brk::WideFromBytes(heap, brokerString);
  if (!wide) return BRK_E_UNEXPECTED;
  char16_t *path = nullptr;
  const char16_t *answer = nullptr;
  bool sharesEngine;
  VQRESULT result = 0;
  if (Engine *engine = sc::brk::FindEngine(object->cls, View(wide))) {
    result = sc::brk::ModulePath(object, engine, nullptr, &path, &sharesEngine);
  } else {
    Addon *addon = nullptr;
    result = sc::brk::Resolve(object, wide, &addon);
    if (!result && !addon) result = BRK_E_BROKER_STRING_NOT_FOUND;
    if (!result && sc::brk::IsDefaultForm(View(wide)))
      answer = addon->brokerString;
    else if (!result)
      result = sc::brk::ModulePath(object, nullptr, addon, &path, &sharesEngine);
  }
  if (!result) {
    *out = sc::brk::BytesFromWide(heap, path ? path : answer);
    if (!*out) result = BRK_E_UNEXPECTED;
  }
  heap_Free(heap, path);
  heap_Free(heap, wide);
  return result;
}

SC_API VQRESULT brk_InfoRelease(BrkObject *object, char *string) {
  if (!sc::brk::IsOpen(object) || !string) return BRK_E_INVALID_ARGUMENT;
  heap_Free(object->cls->heap, string);
  return 0;
}

SC_API VQRESULT brk_BrokerStringRelease(BrkObject *object, char *string) {
  return brk_InfoRelease(object, string);
}

}  // extern "C"
