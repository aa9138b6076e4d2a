// Texts of the data header family's reasons.
#include "foundation/error_text.h"
#include "sc_hdrpars.h"
#include "sc_vq.h"

namespace {

constexpr sc::TextRow kReasons[] = {
    {2, "WRONG FILE FORMAT"},
    {3, "END OF FILE"},
    {5, "TAG MISSING IN DATABLOCK"},
    {6, "DATABLOCK NOT FOUND"},
    {9, "FILE CONTAINS NO BINARY DATA"},
    {10, "SOME DATA HAS NOT BEEN RELEASED YET"},
};

constexpr sc::TextRow kSubmodules[] = {{1, "Parser submodule"}};
constexpr sc::SubModuleTexts kTexts{34, kSubmodules, "Wrong module", "unknown submodule"};

}  // namespace

extern "C" {

SC_API const char *hdrpars_ErrorGetString(VQRESULT code) {
  return sc::FamilyErrorString(code, kReasons, "Unknown Error");
}

SC_API const char *hdrpars_ErrorGetSubModuleName(VQRESULT code) {
  return sc::FamilySubModuleName(code, kTexts);
}

SC_API const char *hdrpars_ErrorGetModuleName(VQRESULT code) {
  return vq_ErrorGetModuleName(code);
}

}  // extern "C"
