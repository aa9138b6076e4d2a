// Constant message tables and the reading rules that the families' text getters share.
#pragma once

#include <cstdint>
#include <span>

#include "foundation/result.h"
#include "sc_common.h"

namespace sc {

struct TextRow {
  uint32_t key;  // a reason (bits 0-6), a module id or a submodule value
  const char *text;
};

// The first row whose key equals the given one, or the fallback.
const char *FindText(std::span<const TextRow> table, uint32_t key, const char *fallback);

// One row of a family's code table: the code, and the text the family's getter gives for its
// reason, or null where the getter has no row of its own (general reasons, informational
// successes, a reason without text).
struct CodeRow {
  VQRESULT code;
  const char *text;
};

// The text of the first row with a text whose reason is the code's, or the fallback.
const char *FindReasonText(std::span<const CodeRow> table, VQRESULT code, const char *fallback);

// The reading of critsec_, heap_, osspi_, rsrc_, safeh_ and hdrpars_: any success gives
// "Success", a general reason goes to vq_ErrorGetString, else the family's own row.
const char *FamilyErrorString(VQRESULT code, std::span<const CodeRow> own, const char *fallback);

struct SubModuleTexts {
  uint32_t module;
  std::span<const TextRow> names;
  const char *wrongModule;
  const char *unknownSubmodule;
};

const char *FamilySubModuleName(VQRESULT code, const SubModuleTexts &texts);

namespace table {

// Declared only: a table row that reaches it stops the compilation.
void RowDisagreesWithItsName();

// Each row is checked against the public name the build generated from the same table, so a
// stale generated header cannot compile, and against the kind of row it claims to be.
consteval CodeRow Own(VQRESULT named, VQRESULT code, const char *text) {
  if (named != code || !Failed(code) || IsGeneral(code) || !text) RowDisagreesWithItsName();
  return {code, text};
}
consteval CodeRow General(VQRESULT named, VQRESULT code) {
  if (named != code || !IsGeneral(code)) RowDisagreesWithItsName();
  return {code, nullptr};
}
consteval CodeRow Unlisted(VQRESULT named, VQRESULT code) {
  if (named != code) RowDisagreesWithItsName();
  return {code, nullptr};
}

// A reason has one text: two rows with a text and the same reason would make the second dead.
consteval bool ReasonsUnique(std::span<const CodeRow> rows) {
  for (size_t i = 0; i < rows.size(); ++i)
    for (size_t j = i + 1; j < rows.size(); ++j)
      if (rows[i].text && rows[j].text && ReasonOf(rows[i].code) == ReasonOf(rows[j].code))
        return false;
  return true;
}

}  // namespace table
}  // namespace sc

// The rows of a family's code table (<family>_codes.def) as CodeRow initialisers:
//   constexpr sc::CodeRow kCodes[] = {
//   #include "dataheader/hdrpars_codes.def"
//   };
#define SC_CODE(code, name, text) ::sc::table::Own(name, code, text),
#define SC_CODE_GENERAL(code, name) ::sc::table::General(name, code),
#define SC_CODE_UNLISTED(code, name, doc) ::sc::table::Unlisted(name, code),
