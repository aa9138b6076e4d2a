// The result codes of the foundation families.
#pragma once

#include "foundation/result.h"

namespace sc::code {

// critsec_
inline constexpr VQRESULT kCritsecNullPointer =
    GeneralFailure(Module::kCritsec, 1, General::kNullPointer);
inline constexpr VQRESULT kCritsecNoMemory =
    GeneralFailure(Module::kCritsec, 1, General::kOutOfMemory);
inline constexpr VQRESULT kCritsecUnexpected =
    GeneralFailure(Module::kCritsec, 1, General::kUnexpected);

// heap_
inline constexpr VQRESULT kHeapNullPointer =
    GeneralFailure(Module::kHeap, 1, General::kNullPointer);

// osspi_
inline constexpr VQRESULT kOsspiNullPointer =
    GeneralFailure(Module::kOsspi, 1, General::kNullPointer);
inline constexpr VQRESULT kOsspiBadRead = OwnFailure(Module::kOsspi, 1, 4);
inline constexpr VQRESULT kOsspiBadWrite = OwnFailure(Module::kOsspi, 1, 5);
inline constexpr VQRESULT kOsspiBadString = OwnFailure(Module::kOsspi, 1, 6);

// safeh_
inline constexpr VQRESULT kSafehInvalidHandle =
    GeneralFailure(Module::kSafeh, 1, General::kInvalidHandle);

// rsrc_ and InitRsrcFunction
inline constexpr VQRESULT kRsrcInvalid = OwnFailure(Module::kRsrc, 1, 1);
inline constexpr VQRESULT kRsrcNullPointer =
    GeneralFailure(Module::kRsrc, 1, General::kNullPointer);
inline constexpr VQRESULT kRsrcNoMemory = GeneralFailure(Module::kRsrc, 1, General::kOutOfMemory);

// srvspi_ guarded objects (submodule 1)
inline constexpr VQRESULT kSecInvalidArgument =
    GeneralFailure(Module::kSrvspi, 1, General::kInvalidArgument);
inline constexpr VQRESULT kSecNullPointer =
    GeneralFailure(Module::kSrvspi, 1, General::kNullPointer);
inline constexpr VQRESULT kSecNoMemory = GeneralFailure(Module::kSrvspi, 1, General::kOutOfMemory);
inline constexpr VQRESULT kSecInvalidHandle =
    GeneralFailure(Module::kSrvspi, 1, General::kInvalidHandle);
inline constexpr VQRESULT kSecHeld = GeneralFailure(Module::kSrvspi, 1, General::kReadOnly);
inline constexpr VQRESULT kSecWrongState = OwnFailure(Module::kSrvspi, 1, 9);

// srvspi_ arrays and memory blocks (submodule 2)
inline constexpr VQRESULT kArrayEnd = MakeCode(false, Module::kSrvspi, 2, false, 1);
inline constexpr VQRESULT kArrayEmpty = OwnFailure(Module::kSrvspi, 2, 1);
inline constexpr VQRESULT kArrayBadArgument = OwnFailure(Module::kSrvspi, 2, 4);
inline constexpr VQRESULT kArrayNoMemory = OwnFailure(Module::kSrvspi, 2, 5);
inline constexpr VQRESULT kArrayOutOfRange = OwnFailure(Module::kSrvspi, 2, 6);
inline constexpr VQRESULT kArrayBufferTooSmall = OwnFailure(Module::kSrvspi, 2, 7);
// The bare informational success of an empty pop or top, or an index beyond the count.
inline constexpr VQRESULT kArrayNothing = 6;

}  // namespace sc::code
