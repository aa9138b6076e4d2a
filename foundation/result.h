// Building and reading result codes. Every family names its codes with these helpers so that
// each number is written once.
#pragma once

#include <cstdint>

#include "sc_common.h"

namespace sc {

enum class Module : uint32_t {
  kSrvspi = 1,
  kOsspi = 6,
  kDbg = 9,
  kHeap = 11,
  kCritsec = 20,
  kBrk = 21,
  kRsrc = 22,
  kSafeh = 23,
  kEdct = 30,
  kHdrpars = 34,
};

// Reasons shared by every family (with the general flag set).
enum class General : uint32_t {
  kUnexpected = 0,
  kNotImplemented = 1,
  kInvalidArgument = 2,
  kNullPointer = 3,
  kOutOfRange = 4,
  kBufferTooSmall = 5,
  kOutOfMemory = 6,
  kBusy = 7,
  kNotPresent = 8,
  kInvalidHandle = 9,
  kReadOnly = 10,
  kFileOpen = 11,
  kFileClose = 12,
  kFileRead = 13,
  kFileWrite = 14,
  kFileSeek = 15,
  kWrongState = 16,
};

constexpr VQRESULT MakeCode(bool failure, Module module, uint32_t submodule, bool general,
                            uint32_t reason) {
  return (failure ? 0x80000000u : 0u) | ((static_cast<uint32_t>(module) & 0x7FFFu) << 16) |
         ((submodule & 0xFFu) << 8) | (general ? 0x80u : 0u) | (reason & 0x7Fu);
}

constexpr VQRESULT GeneralFailure(Module module, uint32_t submodule, General reason) {
  return MakeCode(true, module, submodule, true, static_cast<uint32_t>(reason));
}

constexpr VQRESULT OwnFailure(Module module, uint32_t submodule, uint32_t reason) {
  return MakeCode(true, module, submodule, false, reason);
}

constexpr bool Failed(VQRESULT code) {
  return code >= 0x80000000u;
}
constexpr bool IsGeneral(VQRESULT code) {
  return (code & 0x80u) != 0;
}
constexpr uint32_t ReasonOf(VQRESULT code) {
  return code & 0x7Fu;
}
constexpr uint32_t ModuleOf(VQRESULT code) {
  return (code >> 16) & 0x7FFFu;
}

}  // namespace sc
