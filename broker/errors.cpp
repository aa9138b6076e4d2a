// Texts of the broker's reasons, from its code table; codes of the data header reader are read
// by that family's getter.
#include "foundation/error_text.h"
#include "foundation/result.h"
#include "sc_brk.h"
#include "sc_hdrpars.h"
#include "sc_vq.h"

namespace {

constexpr sc::CodeRow kCodes[] = {
#include "broker/brk_codes.def"
};
static_assert(sc::table::ReasonsUnique(kCodes));

}  // namespace

extern "C" {

SC_API const char *brk_ErrorGetString(VQRESULT code) {
  if (!sc::Failed(code)) return "Success";
  if (sc::IsGeneral(code)) return vq_ErrorGetString(code);
  switch (sc::ModuleOf(code)) {
    case VQ_MODULE_BRK:
      return sc::FindReasonText(kCodes, code, "Unknown module");
    case VQ_MODULE_HDRPARS:
      return hdrpars_ErrorGetString(code);
    default:
      return "Unknown module";
  }
}

SC_API const char *brk_ErrorGetSubModuleName(VQRESULT code) {
  if (sc::ModuleOf(code) != VQ_MODULE_BRK) return "Error originates in a sub module";
  return VQ_SUBMODULE(code) == 1 ? "Broker submodule" : "Unknown submodule";
}

}  // extern "C"
