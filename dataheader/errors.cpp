// Texts of the data header family's reasons, from its code table.
#include "foundation/error_text.h"
#include "sc_hdrpars.h"
#include "sc_vq.h"

namespace {

constexpr sc::CodeRow kCodes[] = {
#include "dataheader/hdrpars_codes.def"
};
static_assert(sc::table::ReasonsUnique(kCodes));

constexpr sc::TextRow kSubmodules[] = {{1, "Parser submodule"}};
constexpr sc::SubModuleTexts kTexts{VQ_MODULE_HDRPARS, kSubmodules, "Wrong module",
                                    "unknown submodule"};

}  // namespace

extern "C" {

SC_API const char *hdrpars_ErrorGetString(VQRESULT code) {
  return sc::FamilyErrorString(code, kCodes, "Unknown Error");
}

SC_API const char *hdrpars_ErrorGetSubModuleName(VQRESULT code) {
  return sc::FamilySubModuleName(code, kTexts);
}

SC_API const char *hdrpars_ErrorGetModuleName(VQRESULT code) {
  return vq_ErrorGetModuleName(code);
}

}  // extern "C"
