// Texts of the dictionaries' reasons, and the delegation to the families they build on.
#include "dictionary/codes.h"
#include "foundation/error_text.h"
#include "foundation/result.h"
#include "sc_critsec.h"
#include "sc_edct.h"
#include "sc_osspi.h"
#include "sc_rsrc.h"
#include "sc_srvspi.h"
#include "sc_vq.h"

namespace {

constexpr sc::TextRow kReasons[] = {
    {0, "Entry is not found in the dictionary or in the list of dictionaries."},
    {1, "The WriteStream callback function returned an error."},
    {2, "The ReadStream callback function returned an error."},
    {3, "Unknown format specified in the edct_DctWriteStream or edct_DctReadStream functions."},
    {4, "Dictionary is opened read-only."},
    {5, "The entry data contains data that is invalid."},
    {6, "The dictionary is still registered on some dictionary manager."},
    {7,
     "An attempt is made to register a dictionary while this dictionary was already "
     "registered."},
    {8, "A dictionary that was assumed to be registered isn't."},
    {9, "The provided buffer is corrupt."},
    {10, "The registercount-value is wrong."},
    {11, "The resource-handle is invalid."},
    {13, "The iterator has ended already"},
    {14, "Iterator on dictionary is open. No changes allowed."},
};

using sc::Module;

constexpr uint32_t Id(Module module) {
  return static_cast<uint32_t>(module);
}

}  // namespace

extern "C" {

SC_API const char *edct_ErrorGetString(VQRESULT code) {
  if (code == 0) return "Success";
  if (sc::IsGeneral(code)) return vq_ErrorGetString(code);
  switch (sc::ModuleOf(code)) {
    case Id(Module::kSrvspi):
      return srvspi_ErrorGetString(code);
    case Id(Module::kOsspi):
      return osspi_ErrorGetString(code);
    case Id(Module::kCritsec):
      return critsec_ErrorGetString(code);
    case Id(Module::kRsrc):
      return rsrc_ErrorGetString(code);
    case Id(Module::kEdct):
      return sc::FindText(kReasons, sc::ReasonOf(code), "Unknown Error");
    default:
      return "Unknown Module";
  }
}

SC_API const char *edct_ErrorGetSubModuleName(VQRESULT code) {
  if (code == 0) return "Success";
  switch (sc::ModuleOf(code)) {
    case Id(Module::kSrvspi):
      return srvspi_ErrorGetSubModuleName(code);
    case Id(Module::kOsspi):
      return osspi_ErrorGetSubModuleName(code);
    case Id(Module::kCritsec):
      return critsec_ErrorGetSubModuleName(code);
    case Id(Module::kRsrc):
      return rsrc_ErrorGetSubModuleName(code);
    case Id(Module::kEdct):
      return "EDCTSPI";
    default:
      return "Unknown Module";
  }
}

SC_API const char *edct_ErrorGetModuleName(VQRESULT code) {
  return vq_ErrorGetModuleName(code);
}

SC_API VQRESULT edct_GetVersion(uint32_t *version) {
  if (!version) return sc::edct::code::kNullPointer;
  *version = 0xFFFFFFFFu;
  return 0;
}

}  // extern "C"
