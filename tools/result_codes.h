// Result codes as a person reads them: parsed from hex or decimal, shown in hex with their name,
// and explained with the owning family's texts.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "speechcommon.h"

namespace cli {

// A code written in hex (0x prefix, or with hex letters) or decimal, also a negative 32-bit
// decimal as signed printing shows it.
std::optional<uint32_t> ParseCode(std::string_view text);

// "0x801E0083".
std::string Hex(uint32_t value);

// The public name of a code the library returns (EDCT_E_NULL_POINTER), or null.
const char *CodeName(VQRESULT code);
// The family prefix ("edct_") of a module, or null for a module of no family here.
const char *FamilyName(uint32_t module);
// What the owning family's getters say: the message and the submodule name (null when the
// family has no getter for it).
const char *FamilyMessage(VQRESULT code);
const char *FamilySubmodule(VQRESULT code);

// "EDCT_E_UNKNOWN_FORMAT 0x801E0003: Unknown format specified ...", for failure messages.
std::string Describe(VQRESULT code);

}  // namespace cli
