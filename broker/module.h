// Component modules: where a component's module lies, loading and unloading it.
#pragma once

#include "broker/records.h"

namespace sc::brk {

// The module file of an engine (addon null) or of an add-on reached through the object, as a
// path from the class heap. *sharesEngine tells whether the add-on lives in the library of
// the object's engine.
VQRESULT ModulePath(const BrkObject *object, Engine *engine, Addon *addon, char16_t **path,
                    bool *sharesEngine);

}  // namespace sc::brk
