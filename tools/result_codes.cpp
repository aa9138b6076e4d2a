// Parsing, naming and explaining result codes. The names come from the families' code tables,
// the same rows that generate the public constants.
#include "tools/result_codes.h"

#include <fmt/format.h>

#include <cstring>

namespace cli {
namespace {

struct NamedCode {
  uint32_t value;
  const char *name;
};

constexpr NamedCode kNames[] = {
#define SC_CODE(value, name, text) {value, #name},
#define SC_CODE_GENERAL(value, name) {value, #name},
#define SC_CODE_UNLISTED(value, name, doc) {value, #name},
#include "broker/brk_codes.def"
#include "dataheader/hdrpars_codes.def"
#include "dictionary/edct_codes.def"
#include "foundation/critsec_codes.def"
#include "foundation/heap_codes.def"
#include "foundation/osspi_codes.def"
#include "foundation/rsrc_codes.def"
#include "foundation/safeh_codes.def"
#include "foundation/srvspi_codes.def"
#undef SC_CODE
#undef SC_CODE_GENERAL
#undef SC_CODE_UNLISTED
};

}  // namespace

std::optional<uint32_t> ParseCode(std::string_view text) {
  if (text.empty()) return std::nullopt;
  bool negative = false;
  int base = 10;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    base = 16;
    text.remove_prefix(2);
  } else if (text[0] == '-') {
    negative = true;
    text.remove_prefix(1);
  } else if (text.find_first_of("abcdefABCDEF") != std::string_view::npos) {
    base = 16;
  }
  if (text.empty() || text.size() > 16) return std::nullopt;
  uint64_t value = 0;
  for (const char c : text) {
    int digit;
    if (c >= '0' && c <= '9')
      digit = c - '0';
    else if (base == 16 && c >= 'a' && c <= 'f')
      digit = c - 'a' + 10;
    else if (base == 16 && c >= 'A' && c <= 'F')
      digit = c - 'A' + 10;
    else
      return std::nullopt;
    value = value * base + digit;
    if (value > 0xFFFFFFFFull) return std::nullopt;
  }
  if (negative) {
    if (value == 0 || value > 0x80000000ull) return std::nullopt;
    return static_cast<uint32_t>(0x100000000ull - value);
  }
  return static_cast<uint32_t>(value);
}

std::string Hex(uint32_t value) {
  return fmt::format("0x{:08X}", value);
}

const char *CodeName(VQRESULT code) {
  for (const NamedCode &named : kNames)
    if (named.value == code) return named.name;
  return nullptr;
}

const char *FamilyName(uint32_t module) {
  switch (module) {
    case VQ_MODULE_SRVSPI:
      return "srvspi_";
    case VQ_MODULE_OSSPI:
      return "osspi_";
    case VQ_MODULE_DBG:
      return "dbg_";
    case VQ_MODULE_HEAP:
      return "heap_";
    case VQ_MODULE_CRITSEC:
      return "critsec_";
    case VQ_MODULE_BRK:
      return "brk_";
    case VQ_MODULE_RSRC:
      return "rsrc_";
    case VQ_MODULE_SAFEH:
      return "safeh_";
    case VQ_MODULE_EDCT:
      return "edct_";
    case VQ_MODULE_HDRPARS:
      return "hdrpars_";
    default:
      return nullptr;
  }
}

const char *FamilyMessage(VQRESULT code) {
  switch (VQ_MODULE(code)) {
    case VQ_MODULE_SRVSPI:
      return srvspi_ErrorGetString(code);
    case VQ_MODULE_OSSPI:
      return osspi_ErrorGetString(code);
    case VQ_MODULE_HEAP:
      return heap_ErrorGetString(code);
    case VQ_MODULE_CRITSEC:
      return critsec_ErrorGetString(code);
    case VQ_MODULE_BRK:
      return brk_ErrorGetString(code);
    case VQ_MODULE_RSRC:
      return rsrc_ErrorGetString(code);
    case VQ_MODULE_SAFEH:
      return safeh_ErrorGetString(code);
    case VQ_MODULE_EDCT:
      return edct_ErrorGetString(code);
    case VQ_MODULE_HDRPARS:
      return hdrpars_ErrorGetString(code);
    case VQ_MODULE_DBG:  // the trace family has no message table of its own
      return VQ_IS_GENERAL(code) ? vq_ErrorGetString(code) : nullptr;
    default:
      return vq_ErrorGetString(code);
  }
}

const char *FamilySubmodule(VQRESULT code) {
  switch (VQ_MODULE(code)) {
    case VQ_MODULE_SRVSPI:
      return srvspi_ErrorGetSubModuleName(code);
    case VQ_MODULE_OSSPI:
      return osspi_ErrorGetSubModuleName(code);
    case VQ_MODULE_HEAP:
      return heap_ErrorGetSubModuleName(code);
    case VQ_MODULE_CRITSEC:
      return critsec_ErrorGetSubModuleName(code);
    case VQ_MODULE_BRK:
      return brk_ErrorGetSubModuleName(code);
    case VQ_MODULE_RSRC:
      return rsrc_ErrorGetSubModuleName(code);
    case VQ_MODULE_SAFEH:
      return safeh_ErrorGetSubModuleName(code);
    case VQ_MODULE_EDCT:
      return edct_ErrorGetSubModuleName(code);
    case VQ_MODULE_HDRPARS:
      return hdrpars_ErrorGetSubModuleName(code);
    default:
      return nullptr;
  }
}

std::string Describe(VQRESULT code) {
  const char *name = CodeName(code);
  const char *message = FamilyMessage(code);
  std::string text = name ? fmt::format("{} {}", name, Hex(code)) : Hex(code);
  if (message) {
    // Some tables pad their texts with blanks.
    std::string_view trimmed = message;
    while (!trimmed.empty() && trimmed.front() == ' ')
      trimmed.remove_prefix(1);
    while (!trimmed.empty() && trimmed.back() == ' ')
      trimmed.remove_suffix(1);
    text += fmt::format(": {}", trimmed);
  }
  return text;
}

}  // namespace cli
