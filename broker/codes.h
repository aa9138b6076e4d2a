// The result codes of the broker.
#pragma once

#include "foundation/result.h"

namespace sc::code {

inline constexpr uint32_t kBrkSubmodule = 1;

inline constexpr VQRESULT kBrkInvalidComponent = OwnFailure(Module::kBrk, kBrkSubmodule, 1);
inline constexpr VQRESULT kBrkNoBrokerString = OwnFailure(Module::kBrk, kBrkSubmodule, 2);
inline constexpr VQRESULT kBrkNoEngine = OwnFailure(Module::kBrk, kBrkSubmodule, 3);
inline constexpr VQRESULT kBrkNotFound = OwnFailure(Module::kBrk, kBrkSubmodule, 4);
inline constexpr VQRESULT kBrkCannotRead = OwnFailure(Module::kBrk, kBrkSubmodule, 5);
inline constexpr VQRESULT kBrkCannotLoad = OwnFailure(Module::kBrk, kBrkSubmodule, 6);
inline constexpr VQRESULT kBrkStillInUse = OwnFailure(Module::kBrk, kBrkSubmodule, 7);
inline constexpr VQRESULT kBrkNoInterface = OwnFailure(Module::kBrk, kBrkSubmodule, 8);
inline constexpr VQRESULT kBrkNoTag = OwnFailure(Module::kBrk, kBrkSubmodule, 9);
inline constexpr VQRESULT kBrkNoModule = OwnFailure(Module::kBrk, kBrkSubmodule, 10);

// A failed string conversion or copy, and states that should not occur.
inline constexpr VQRESULT kBrkUnexpected =
    GeneralFailure(Module::kBrk, kBrkSubmodule, General::kUnexpected);
inline constexpr VQRESULT kBrkMissingArgument =
    GeneralFailure(Module::kBrk, kBrkSubmodule, General::kInvalidArgument);
inline constexpr VQRESULT kBrkNoMemory =
    GeneralFailure(Module::kBrk, kBrkSubmodule, General::kOutOfMemory);

}  // namespace sc::code
