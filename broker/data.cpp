// Data blocks and tags: named blocks of add-on files opened through one shared, counted handle
// per block, mapped in ranges, and the header values of engines, add-ons and blocks.
#include "broker/records.h"
#include "broker/registry.h"
#include "broker/text.h"
#include "foundation/heap_ptr.h"
#include "foundation/live_set.h"
#include "foundation/quarantine.h"
#include "foundation/result.h"
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

// Runs once the data handle is closed and no call holds it any more.
void FinalizeData(void *record) {
  auto *data = static_cast<BrkData *>(record);
  heap_Free(data->cls->heap, data->name);
  sc::live::Entry *classHold = data->classHold;
  sc::Quarantine(data, sizeof(BrkData));
  sc::live::Leave(classHold);
}

// Opens the block and makes its handle, at the head of the add-on's open data list.
VQRESULT OpenNewData(BrkObject &object, Addon *addon, const char16_t *name, BrkData **out) {
  BrkClass *cls = object.cls;
  DataBlock *block = nullptr;
  SC_TRY(hdrpars_OpenData(name, addon->header, &block));
  auto data = sc::Owned(cls->heap, sc::brk::NewRecord<BrkData>(cls->heap));
  auto copy = sc::Owned(cls->heap, data ? sc::brk::CopyText(cls->heap, View(name)) : nullptr);
  if (copy) {
    data->name = copy.get();
    data->cls = cls;
    data->classHold = object.classHold;
  }
  if (!copy || !sc::live::Add(data.get(), sc::brk::kDataKind, FinalizeData)) {
    hdrpars_CloseData(block, addon->header);
    return BRK_E_OUT_OF_MEMORY;
  }
  copy.release();
  sc::live::HoldAgain(data->classHold);
  data->header = addon->header;
  data->block = block;
  data->openCount = 1;
  data->addon = addon;
  data->next = addon->openData;
  if (data->next) data->next->previous = data.get();
  addon->openData = data.get();
  *out = data.release();
  return 0;
}

// Gives one opening of the handle back; the last closes the block and the handle.
VQRESULT CloseData(const sc::brk::DataRef &held) {
  BrkData *data = held.get();
  if (data->openCount > 1) {
    --data->openCount;
    return 0;
  }
  SC_TRY(hdrpars_CloseData(data->block, data->header));
  if (data->previous)
    data->previous->next = data->next;
  else
    data->addon->openData = data->next;
  if (data->next) data->next->previous = data->previous;
  sc::live::Close(held.entry());
  return 0;
}

// Exactly the range asked for (size 0: the whole block), or nothing.
VQRESULT MapData(const BrkData &data, uint32_t offset, uint32_t size, const void **address) {
  if (size == 0) {
    offset = 0;
    size = data.block->size;
  }
  // No block holds more than a signed 32-bit size.
  if (size > static_cast<uint32_t>(INT32_MAX)) return BRK_E_CANNOT_READ_DATA;
  const void *mapped = nullptr;
  uint32_t available = 0;
  SC_TRY(
      hdrpars_DataMap(data.block->source, offset, static_cast<int32_t>(size), &mapped, &available));
  if (available < size) {
    hdrpars_DataUnMap(data.block->source, mapped);
    return BRK_E_CANNOT_READ_DATA;
  }
  *address = mapped;
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

// A header value of any engine of the class, or of the add-on (or one of its blocks,
// "component:block") that the broker string selects for the object.
VQRESULT FindTagValue(BrkObject &object, char16_t *brokerString, const char16_t *tag,
                      const char16_t **value) {
  if (sc::brk::Engine *engine = sc::brk::FindEngine(object.cls, View(brokerString))) {
    *value = sc::brk::TagValue(engine->header->tags, tag);
    return *value ? 0 : BRK_E_TAG_NOT_FOUND;
  }
  const char16_t *dataName = sc::brk::SplitDataName(brokerString);
  Addon *addon = nullptr;
  SC_TRY(sc::brk::Resolve(&object, brokerString, &addon));
  if (!addon) return BRK_E_BROKER_STRING_NOT_FOUND;
  if (dataName) return BlockTag(addon, dataName, tag, value);
  *value = sc::brk::TagValue(addon->firstTag, tag);
  return *value ? 0 : BRK_E_TAG_NOT_FOUND;
}

}  // namespace

extern "C" {

SC_API VQRESULT brk_DataOpen(BrkObject *handle, const char *brokerString, BrkData **out) {
  if (!out) return BRK_E_INVALID_ARGUMENT;
  *out = nullptr;
  sc::brk::ObjectRef held = sc::brk::Hold(handle);
  if (!held) return BRK_E_INVALID_ARGUMENT;
  BrkObject *object = held.get();
  BrkClass *cls = object->cls;
  auto wide = sc::Owned(cls->heap, sc::brk::WideFromBytes(cls->heap, brokerString));
  if (!wide) return BRK_E_UNEXPECTED;
  const char16_t *dataName = sc::brk::SplitDataName(wide.get());
  sc::brk::ClassLock lock(cls);
  if (held.closing()) return BRK_E_INVALID_ARGUMENT;
  Addon *addon = nullptr;
  SC_TRY(sc::brk::Resolve(object, wide.get(), &addon));
  if (!addon) return BRK_E_BROKER_STRING_NOT_FOUND;
  if (BrkData *data = FindOpenData(addon, dataName)) {
    ++data->openCount;
    *out = data;
    return 0;
  }
  if (!addon->header) return BRK_E_INVALID_COMPONENT;
  return OpenNewData(*object, addon, dataName ? dataName : kDefaultDataName, out);
}

// The data calls below take an object and a data handle of the same class, both open.
SC_API VQRESULT brk_DataClose(BrkObject *objectHandle, BrkData *dataHandle) {
  sc::brk::ObjectRef object = sc::brk::Hold(objectHandle);
  sc::brk::DataRef data = sc::brk::Hold(dataHandle);
  if (!object || !data || data->cls != object->cls) return BRK_E_INVALID_ARGUMENT;
  sc::brk::ClassLock lock(object->cls);
  if (object.closing() || data.closing()) return BRK_E_INVALID_ARGUMENT;
  return CloseData(data);
}

SC_API VQRESULT brk_DataMap(BrkObject *objectHandle, BrkData *dataHandle, uint32_t offset,
                            uint32_t size, const void **address) {
  sc::brk::ObjectRef object = sc::brk::Hold(objectHandle);
  sc::brk::DataRef data = sc::brk::Hold(dataHandle);
  if (!object || !data || data->cls != object->cls || !address) return BRK_E_INVALID_ARGUMENT;
  *address = nullptr;
  sc::brk::ClassLock lock(object->cls);
  if (object.closing() || data.closing()) return BRK_E_INVALID_ARGUMENT;
  return MapData(*data, offset, size, address);
}

SC_API VQRESULT brk_DataUnmap(BrkObject *objectHandle, BrkData *dataHandle, const void *address) {
  sc::brk::ObjectRef object = sc::brk::Hold(objectHandle);
  sc::brk::DataRef data = sc::brk::Hold(dataHandle);
  if (!object || !data || data->cls != object->cls) return 0;
  sc::brk::ClassLock lock(object->cls);
  if (!object.closing() && !data.closing()) hdrpars_DataUnMap(data->block->source, address);
  return 0;
}

SC_API VQRESULT brk_DataSizeQuery(BrkObject *, BrkData *dataHandle, uint32_t *size) {
  sc::brk::DataRef data = sc::brk::Hold(dataHandle);
  if (!data || !size) return BRK_E_INVALID_ARGUMENT;
  sc::brk::ClassLock lock(data->cls);
  if (data.closing()) return BRK_E_INVALID_ARGUMENT;
  *size = data->block->size;
  return 0;
}

SC_API VQRESULT brk_TagQuery(BrkObject *handle, const char *brokerString, const char *tagName,
                             const char16_t **value) {
  sc::brk::ObjectRef object = sc::brk::Hold(handle);
  if (!value || !object || !brokerString || !tagName) return BRK_E_INVALID_ARGUMENT;
  *value = nullptr;
  const HeapInstance heap = object->cls->heap;
  auto wide = sc::Owned(heap, sc::brk::WideFromBytes(heap, brokerString));
  auto tag = sc::Owned(heap, sc::brk::WideFromBytes(heap, tagName));
  if (!wide || !tag) return BRK_E_UNEXPECTED;
  return FindTagValue(*object, wide.get(), tag.get(), value);
}

SC_API VQRESULT brk_TagRelease(BrkObject *object, const char16_t *value) {
  // The value belongs to the registry; there is nothing to free.
  return sc::brk::Hold(object) && value ? 0 : BRK_E_INVALID_ARGUMENT;
}

}  // extern "C"
