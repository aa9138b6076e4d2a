// Texts of the broker's reasons; codes of the data header reader are read by its own table.
#include "foundation/error_text.h"
#include "foundation/result.h"
#include "sc_brk.h"
#include "sc_hdrpars.h"
#include "sc_vq.h"

namespace {

constexpr sc::TextRow kReasons[] = {
    {0, "DIRECTORY NOT FOUND"},
    {1, "INVALID COMPONENT"},
    {2, "FILE HAS NO BROKERSTRING"},
    {3, "NO ENGINE FOUND WITH SPECIFIED BROKER STRING"},
    {4, "BROKER STRING IS INVALID OR CANNOT BE FOUND"},
    {5, "COULD NOT READ REQUESTED DATA"},
    {6, "COULD NOT LOAD THE REQUESTED MODULE"},
    {7, "SOME MODULES (DATA OR INTERFACES) WERE NOT RELEASED YET"},
    {8, "INTERFACE COULD NOT BE FOUND"},
    {9, "TAG COULD NOT BE FOUND"},
    {10, "SPECIFIED MODULE COULD NOT BE FOUND"},
};

}  // namespace

extern "C" {

SC_API const char *brk_ErrorGetString(VQRESULT code) {
  if (!sc::Failed(code)) return "Success";
  if (sc::IsGeneral(code)) return vq_ErrorGetString(code);
  switch (sc::ModuleOf(code)) {
    case static_cast<uint32_t>(sc::Module::kBrk):
      return sc::FindText(kReasons, sc::ReasonOf(code), "Unknown module");
    case static_cast<uint32_t>(sc::Module::kHdrpars):
      return hdrpars_ErrorGetString(code);
    default:
      return "Unknown module";
  }
}

SC_API const char *brk_ErrorGetSubModuleName(VQRESULT code) {
  if (sc::ModuleOf(code) != static_cast<uint32_t>(sc::Module::kBrk))
    return "Error originates in a sub module";
  return (code & 0xFF00u) == 0x0100u ? "Broker submodule" : "Unknown submodule";
}

}  // extern "C"
