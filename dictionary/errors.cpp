// Texts of the dictionaries' reasons, from their code table, and the delegation to the families
// they build on.
#include "foundation/error_text.h"
#include "foundation/result.h"
#include "sc_critsec.h"
#include "sc_edct.h"
#include "sc_osspi.h"
#include "sc_rsrc.h"
#include "sc_srvspi.h"
#include "sc_vq.h"

namespace {

constexpr sc::CodeRow kCodes[] = {
#include "dictionary/edct_codes.def"
};
static_assert(sc::table::ReasonsUnique(kCodes));

}  // namespace

extern "C" {

SC_API const char *edct_ErrorGetString(VQRESULT code) {
  if (code == 0) return "Success";
  if (sc::IsGeneral(code)) return vq_ErrorGetString(code);
  switch (sc::ModuleOf(code)) {
    case VQ_MODULE_SRVSPI:
      return srvspi_ErrorGetString(code);
    case VQ_MODULE_OSSPI:
      return osspi_ErrorGetString(code);
    case VQ_MODULE_CRITSEC:
      return critsec_ErrorGetString(code);
    case VQ_MODULE_RSRC:
      return rsrc_ErrorGetString(code);
    case VQ_MODULE_EDCT:
      return sc::FindReasonText(kCodes, code, "Unknown Error");
    default:
      return "Unknown Module";
  }
}

SC_API const char *edct_ErrorGetSubModuleName(VQRESULT code) {
  if (code == 0) return "Success";
  switch (sc::ModuleOf(code)) {
    case VQ_MODULE_SRVSPI:
      return srvspi_ErrorGetSubModuleName(code);
    case VQ_MODULE_OSSPI:
      return osspi_ErrorGetSubModuleName(code);
    case VQ_MODULE_CRITSEC:
      return critsec_ErrorGetSubModuleName(code);
    case VQ_MODULE_RSRC:
      return rsrc_ErrorGetSubModuleName(code);
    case VQ_MODULE_EDCT:
      return "EDCTSPI";
    default:
      return "Unknown Module";
  }
}

SC_API const char *edct_ErrorGetModuleName(VQRESULT code) {
  return vq_ErrorGetModuleName(code);
}

SC_API VQRESULT edct_GetVersion(uint32_t *version) {
  if (!version) return EDCT_E_NULL_POINTER;
  *version = 0xFFFFFFFFu;
  return 0;
}

}  // extern "C"
