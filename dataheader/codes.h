// The result codes of the data header family.
#pragma once

#include "foundation/result.h"

namespace sc::code {

inline constexpr uint32_t kHdrparsSubmodule = 1;

inline constexpr VQRESULT kHdrWrongFormat = OwnFailure(Module::kHdrpars, kHdrparsSubmodule, 2);
inline constexpr VQRESULT kHdrTagMissing = OwnFailure(Module::kHdrpars, kHdrparsSubmodule, 5);
inline constexpr VQRESULT kHdrBlockNotFound = OwnFailure(Module::kHdrpars, kHdrparsSubmodule, 6);
inline constexpr VQRESULT kHdrNoBinaryData = OwnFailure(Module::kHdrpars, kHdrparsSubmodule, 9);
inline constexpr VQRESULT kHdrStillMapped = OwnFailure(Module::kHdrpars, kHdrparsSubmodule, 10);
// Informational: no element starts at this point. It never leaves the reader.
inline constexpr VQRESULT kHdrNoElement =
    MakeCode(false, Module::kHdrpars, kHdrparsSubmodule, false, 4);

inline constexpr VQRESULT kHdrBadState =
    GeneralFailure(Module::kHdrpars, kHdrparsSubmodule, General::kUnexpected);
inline constexpr VQRESULT kHdrMissingArgument =
    GeneralFailure(Module::kHdrpars, kHdrparsSubmodule, General::kInvalidArgument);
inline constexpr VQRESULT kHdrNoMemory =
    GeneralFailure(Module::kHdrpars, kHdrparsSubmodule, General::kOutOfMemory);
inline constexpr VQRESULT kHdrCannotOpen =
    GeneralFailure(Module::kHdrpars, kHdrparsSubmodule, General::kFileOpen);
inline constexpr VQRESULT kHdrReadError =
    GeneralFailure(Module::kHdrpars, kHdrparsSubmodule, General::kFileRead);
inline constexpr VQRESULT kHdrWriteError =
    GeneralFailure(Module::kHdrpars, kHdrparsSubmodule, General::kFileWrite);

}  // namespace sc::code
