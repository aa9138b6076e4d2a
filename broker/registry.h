// The registry of a class: scanning the root directory for engines and add-ons, finding
// engines, and resolving broker strings to add-ons.
#pragma once

#include <string_view>

#include "broker/records.h"

namespace sc::brk {

// Fills the engine list from the headers in the root's immediate subdirectories.
VQRESULT ScanEngines(BrkClass *cls);
// Adds the add-ons found below the shared directory to the shared list: every new one, or none
// when the scan fails (memory running out included).
VQRESULT ScanSharedAddons(BrkClass *cls);
// Adds the engine's inline add-ons and those found below its directory to its list, all or
// none in the same way.
VQRESULT LoadEngineAddons(BrkClass *cls, Engine *engine) SC_REQUIRES(*cls);

// The first engine whose broker string equals this one ignoring case, or null.
Engine *FindEngine(const BrkClass *cls, std::u16string_view brokerString);

// "prefix/def": a broker string that asks for the preferred add-on among those whose broker
// strings start with the prefix.
bool IsDefaultForm(std::u16string_view brokerString);

// The add-on a broker string selects for an engine (or none) and a language (or none); null
// when none does, with 0 unless a conversion, an allocation or a rescan failed. When nothing
// is found the callbacks are asked, the object's first.
VQRESULT Resolve(BrkClass *cls, Engine *engine, const char16_t *language,
                 BrkResolveCallback objectCallback, const char16_t *brokerString, Addon **out);

inline VQRESULT Resolve(BrkObject *object, const char16_t *brokerString, Addon **out) {
  return Resolve(object->cls, object->engine, object->language, object->objectCallback,
                 brokerString, out);
}

void FreeAddons(HeapInstance heap, Addon *first);
void FreeEngines(HeapInstance heap, Engine *first);

}  // namespace sc::brk
