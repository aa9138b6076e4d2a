// Data blocks and tags: named blocks of add-on files opened through one shared, counted handle
// per block, mapped in ranges, and the header values of engines, add-ons and blocks.
#include "broker/records.h"
#include "broker/registry.h"
#include "broker/text.h"
#include "foundation/live_set.h"
#include "sc_brk.h"

namespace {

using sc::brk::Addon;
using sc::brk::View;

constexpr char16_t kDefaultDataName[] = u"data";
constexpr char16_t kDataBlockTag[] = u"DATABLOCK";
constexpr char16_t kBrokerStringTag[] = u"BROKERSTRING";

// The open handle of the add-on for this data name (the default name when null).
BrkData *FindOpenData(const Addon *addon, const char16_t *dataName) {
  for (BrkData *data = addon->openData; data; data = data->next) {
    if (dataName ? sc::brk::EqualIgnoringCase(View(data->name), View(dataName))
                 : View(data->name) == View(kDefaultDataName))
      return data;
  }
  return nullptr;
}

// Opens the block and makes its handle, at the head of the add-on's open data list.
VQRESULT OpenNewData(BrkClass *cls, Addon *addon, const char16_t *name, BrkData **out) {
  DataBlock *block = nullptr;
  const VQRESULT opened = hdrpars_OpenData(name, addon->header, &block);
  if (opened) return opened;
  auto *data = sc::brk::NewRecord<BrkData>(cls->heap);
  if (data) data->name = sc::brk::CopyText(cls->heap, View(name));
  if (!data || !data->name || !sc::live::Add(data, sc::brk::kDataKind)) {
    if (data) heap_Free(cls->heap, data->name);
    heap_Free(cls->heap, data);
    hdrpars_CloseData(block, addon->header);
    return BRK_E_OUT_OF_MEMORY;
  }
  data->header = addon->header;
  data->block = block;
  data->openCount = 1;
  data->addon = addon;
  data->next = addon->openData;
  if (data->next) data->next->previous = data;
  addon->openData = data;
  *out = data;
  return 0;
}

// The value of the tag in the add-on's DATABLOCK whose BROKERSTRING is the data name.
VQRESULT BlockTag(const Addon *addon, const char16_t *dataName, const char16_t *tagName,
                  const char16_t **value) {
  for (Tag *block = sc::brk::FindTag(addon->firstTag, kDataBlockTag); block;
       block = sc::brk::FindTag(block->next, kDataBlockTag)) {
    const char16_t *name = sc::brk::TagValue(block->children, kBrokerStringTag);
    if (!name || !sc::brk::EqualIgnoringCase(View(name), View(dataName))) continue;
    *value = sc::brk::TagValue(block->children, tagName);
    return *value ? 0 : BRK_E_TAG_NOT_FOUND;
  }
  return BRK_E_BROKER_STRING_NOT_FOUND;
}

}  // namespace

extern "C" {

SC_API VQRESULT brk_DataOpen(BrkObject *object, const char *brokerString, BrkData **out) {
  if (!out) return BRK_E_INVALID_ARGUMENT;
  *out = nullptr;
  if (!sc::brk::IsOpen(object)) return BRK_E_INVALID_ARGUMENT;
  BrkClass *cls = object->cls;
  char16_t *wide = sc::brk::WideFromBytes(cls->heap, brokerString);
  if (!wide) return BRK_E_UNEXPECTED;
  const char16_t *dataName = sc::brk::SplitDataName(wide);
  VQRESULT result = 0;
  {
    sc::brk::ClassLock lock(cls);
    Addon *addon = nullptr;
    result = sc::brk::Resolve(object, wide, &addon);
    if (!result && !addon) result = BRK_E_BROKER_STRING_NOT_FOUND;
    if (!result) {
      if (BrkData *data = FindOpenData(addon, dataName)) {
        ++data->openCount;
        *out = data;
      } else if (!addon->header) {
        result = BRK_E_INVALID_COMPONENT;
      } else {
        result = OpenNewData(cls, addon, dataName ? dataName : kDefaultDataName, out);
      }
    }
  }
  heap_Free(cls->heap, wide);
  return result;
}

SC_API VQRESULT brk_DataClose(BrkObject *object, BrkData *data) {
  if (!sc::brk::IsOpen(object) || !sc::brk::IsOpen(data)) return BRK_E_INVALID_ARGUMENT;
  BrkClass *cls = object->cls;
  sc::brk::ClassLock lock(cls);
  if (data->openCount > 1) {
    --data->openCount;
    return 0;
  }
  const VQRESULT closed = hdrpars_CloseData(data->block, data->header);
  if (closed) return closed;
  if (data->previous)
    data->previous->next = data->next;
  else
    data->addon->openData = data->next;
  if (data->next) data->next->previous = data->previous;
  sc::live::Remove(data, sc::brk::kDataKind);
  heap_Free(cls->heap, data->name);
  heap_Free(cls->heap, data);
  return 0;
}

SC_API VQRESULT brk_DataMap(BrkObject *object, BrkData *data, uint32_t offset, uint32_t size,
                            const void **address) {
  if (!sc::brk::IsOpen(object) || !sc::brk::IsOpen(data) || !address) return BRK_E_INVALID_ARGUMENT;
  *address = nullptr;
  if (size == 0) {
    offset = 0;
    size = data->block->size;
  }
  // No block holds more than a signed 32-bit size.
  if (size > static_cast<uint32_t>(INT32_MAX)) return BRK_E_CANNOT_READ_DATA;
  sc::brk::ClassLock lock(object->cls);
  const void *mapped = nullptr;
  uint32_t available = 0;
  const VQRESULT result =
      hdrpars_DataMap(data->block->source, offset, static_cast<int32_t>(size), &mapped, &available);
  if (result) return result;
  // The caller gets exactly the range asked for, or nothing.
  if (available < size) {
    hdrpars_DataUnMap(data->block->source, mapped);
    return BRK_E_CANNOT_READ_DATA;
  }
  *address = mapped;
  return 0;
}

SC_API VQRESULT brk_DataUnmap(BrkObject *object, BrkData *data, const void *address) {
  if (!sc::brk::IsOpen(object) || !sc::brk::IsOpen(data)) return 0;
  sc::brk::ClassLock lock(object->cls);
  hdrpars_DataUnMap(data->block->source, address);
  return 0;
}

SC_API VQRESULT brk_DataSizeQuery(BrkObject *, BrkData *data, uint32_t *size) {
  if (!sc::brk::IsOpen(data) || !data->block || !size) return BRK_E_INVALID_ARGUMENT;
  *size = data->block->size;
  return 0;
}

SC_API VQRESULT brk_TagQuery(BrkObject *object, const char *brokerString, const char *tagName,
                             const char16_t **value) {
  if (!value || !sc::brk::IsOpen(object) || !brokerString || !tagName)
    return BRK_E_INVALID_ARGUMENT;
  *value = nullptr;
  BrkClass *cls = object->cls;
  char16_t *wide = sc::brk::WideFromBytes(cls->heap, brokerString);
  char16_t *tag = sc::brk::WideFromBytes(cls->heap, tagName);
  VQRESULT result = 0;
  if (!wide || !tag) {
    result = BRK_E_UNEXPECTED;
  } else if (sc::brk::Engine *engine = sc::brk::FindEngine(cls, View(wide))) {
    // Any engine of the class, not only the object's own.
    *value = sc::brk::TagValue(engine->header->tags, tag);
    if (!*value) result = BRK_E_TAG_NOT_FOUND;
  } else {
    const char16_t *dataName = sc::brk::SplitDataName(wide);
    Addon *addon = nullptr;
    result = sc::brk::Resolve(object, wide, &addon);
    if (!result && !addon) result = BRK_E_BROKER_STRING_NOT_FOUND;
    if (!result && dataName) {
      result = BlockTag(addon, dataName, tag, value);
    } else if (!result) {
      *value = sc::brk::TagValue(addon->firstTag, tag);
      if (!*value) result = BRK_E_TAG_NOT_FOUND;
    }
  }
  heap_Free(cls->heap, wide);
  heap_Free(cls->heap, tag);
  return result;
}

SC_API VQRESULT brk_TagRelease(BrkObject *object, const char16_t *value) {
  // The value belongs to the registry; there is nothing to free.
  return sc::brk::IsOpen(object) && value ? 0 : BRK_E_INVALID_ARGUMENT;
}

}  // extern "C"
