// Constant message tables and the reading rules that the families' text getters share.
#pragma once

#include <cstdint>
#include <span>

#include "sc_common.h"

namespace sc {

struct TextRow {
  uint32_t key;  // a reason (bits 0-6) or a submodule value
  const char *text;
};

// The first row whose key equals the given one, or the fallback.
const char *FindText(std::span<const TextRow> table, uint32_t key, const char *fallback);

// The reading of critsec_, heap_, osspi_, rsrc_, safeh_ and hdrpars_: any success gives
// "Success", a general reason goes to vq_ErrorGetString, else the family's own row.
const char *FamilyErrorString(VQRESULT code, std::span<const TextRow> own, const char *fallback);

struct SubModuleTexts {
  uint32_t module;
  std::span<const TextRow> names;
  const char *wrongModule;
  const char *unknownSubmodule;
};

const char *FamilySubModuleName(VQRESULT code, const SubModuleTexts &texts);

}  // namespace sc
