// Reading result codes. The codes themselves, by name, come from the families' code tables
// (<family>_codes.def) through the public headers.
#pragma once

#include <cstdint>

#include "sc_common.h"

namespace sc {

constexpr bool Failed(VQRESULT code) {
  return code >= 0x80000000u;
}
constexpr bool IsGeneral(VQRESULT code) {
  return (code & 0x80u) != 0;
}
constexpr uint32_t ReasonOf(VQRESULT code) {
  return code & 0x7Fu;
}
constexpr uint32_t ModuleOf(VQRESULT code) {
  return (code >> 16) & 0x7FFFu;
}

}  // namespace sc

// Returns the code of a step that failed.
#define SC_TRY(expression)                \
  do {                                    \
    const VQRESULT tried_ = (expression); \
    if (tried_) return tried_;            \
  } while (0)
