#include "core/edctspi/archive.h"

#include "core/edctspi/codes.h"

namespace sc::edct {

VQRESULT LoadArchive(Dictionary *, const unsigned char *) {
  return GeneralFailure(Module::kEdct, 0, General::kNotImplemented);
}

}  // namespace sc::edct
