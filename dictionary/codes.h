// The result codes of the exception dictionaries, their iterators and managers.
#pragma once

#include "foundation/result.h"

namespace sc::edct::code {

// Own reasons (submodule 0).
inline constexpr VQRESULT kNotFound = OwnFailure(Module::kEdct, 0, 0);
inline constexpr VQRESULT kWriteStreamFailed = OwnFailure(Module::kEdct, 0, 1);
inline constexpr VQRESULT kReadStreamFailed = OwnFailure(Module::kEdct, 0, 2);
inline constexpr VQRESULT kUnknownFormat = OwnFailure(Module::kEdct, 0, 3);
inline constexpr VQRESULT kReadOnly = OwnFailure(Module::kEdct, 0, 4);
inline constexpr VQRESULT kStillRegistered = OwnFailure(Module::kEdct, 0, 6);
inline constexpr VQRESULT kAlreadyRegistered = OwnFailure(Module::kEdct, 0, 7);
inline constexpr VQRESULT kNotRegistered = OwnFailure(Module::kEdct, 0, 8);
inline constexpr VQRESULT kCorrupt = OwnFailure(Module::kEdct, 0, 9);
inline constexpr VQRESULT kBadRegisterCount = OwnFailure(Module::kEdct, 0, 10);
inline constexpr VQRESULT kDeadResource = OwnFailure(Module::kEdct, 0, 11);
inline constexpr VQRESULT kCallbackFailed = OwnFailure(Module::kEdct, 0, 12);
inline constexpr VQRESULT kIteratorEnded = OwnFailure(Module::kEdct, 0, 13);
inline constexpr VQRESULT kIteratorOpen = OwnFailure(Module::kEdct, 0, 14);

// General reasons.
inline constexpr VQRESULT kNullPointer = GeneralFailure(Module::kEdct, 0, General::kNullPointer);
// An item of a key's item list longer than its 16-bit length can tell, met by the archive writer.
inline constexpr VQRESULT kOutOfRange = GeneralFailure(Module::kEdct, 0, General::kOutOfRange);
inline constexpr VQRESULT kBufferTooSmall =
    GeneralFailure(Module::kEdct, 0, General::kBufferTooSmall);
inline constexpr VQRESULT kNoMemory = GeneralFailure(Module::kEdct, 0, General::kOutOfMemory);

}  // namespace sc::edct::code
