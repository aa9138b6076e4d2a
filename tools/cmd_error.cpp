// speechcommon error CODE: explains a result code.
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "tools/cli.h"

namespace cli {

std::optional<uint32_t> ParseCode(std::string_view text) {
  if (text.empty()) return std::nullopt;
  bool negative = false;
  int base = 10;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    base = 16;
    text.remove_prefix(2);
  } else if (text[0] == '-') {
    negative = true;
    text.remove_prefix(1);
  } else if (text.find_first_of("abcdefABCDEF") != std::string_view::npos) {
    base = 16;
  }
  if (text.empty() || text.size() > 16) return std::nullopt;
  uint64_t value = 0;
  for (char c : text) {
    int digit;
    if (c >= '0' && c <= '9')
      digit = c - '0';
    else if (base == 16 && c >= 'a' && c <= 'f')
      digit = c - 'a' + 10;
    else if (base == 16 && c >= 'A' && c <= 'F')
      digit = c - 'A' + 10;
    else
      return std::nullopt;
    value = value * base + digit;
    if (value > 0xFFFFFFFFull) return std::nullopt;
  }
  if (negative) {
    if (value == 0 || value > 0x80000000ull) return std::nullopt;
    return static_cast<uint32_t>(0x100000000ull - value);
  }
  return static_cast<uint32_t>(value);
}

std::string Hex(uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08" PRIX32, value);
  return text;
}

const char *FamilyMessage(VQRESULT code) {
  switch (VQ_MODULE(code)) {
    case VQ_MODULE_SRVSPI:
      return srvspi_ErrorGetString(code);
    case VQ_MODULE_OSSPI:
      return osspi_ErrorGetString(code);
    case VQ_MODULE_HEAP:
      return heap_ErrorGetString(code);
    case VQ_MODULE_CRITSEC:
      return critsec_ErrorGetString(code);
    case VQ_MODULE_BRK:
      return brk_ErrorGetString(code);
    case VQ_MODULE_RSRC:
      return rsrc_ErrorGetString(code);
    case VQ_MODULE_SAFEH:
      return safeh_ErrorGetString(code);
    case VQ_MODULE_EDCT:
      return edct_ErrorGetString(code);
    case VQ_MODULE_HDRPARS:
      return hdrpars_ErrorGetString(code);
    default:
      return vq_ErrorGetString(code);
  }
}

const char *FamilySubmodule(VQRESULT code) {
  switch (VQ_MODULE(code)) {
    case VQ_MODULE_SRVSPI:
      return srvspi_ErrorGetSubModuleName(code);
    case VQ_MODULE_OSSPI:
      return osspi_ErrorGetSubModuleName(code);
    case VQ_MODULE_HEAP:
      return heap_ErrorGetSubModuleName(code);
    case VQ_MODULE_CRITSEC:
      return critsec_ErrorGetSubModuleName(code);
    case VQ_MODULE_BRK:
      return brk_ErrorGetSubModuleName(code);
    case VQ_MODULE_RSRC:
      return rsrc_ErrorGetSubModuleName(code);
    case VQ_MODULE_SAFEH:
      return safeh_ErrorGetSubModuleName(code);
    case VQ_MODULE_EDCT:
      return edct_ErrorGetSubModuleName(code);
    case VQ_MODULE_HDRPARS:
      return hdrpars_ErrorGetSubModuleName(code);
    default:
      return nullptr;
  }
}

namespace {

const char *FamilyName(uint32_t module) {
  switch (module) {
    case VQ_MODULE_SRVSPI:
      return "srvspi_";
    case VQ_MODULE_OSSPI:
      return "osspi_";
    case VQ_MODULE_DBG:
      return "dbg_";
    case VQ_MODULE_HEAP:
      return "heap_";
    case VQ_MODULE_CRITSEC:
      return "critsec_";
    case VQ_MODULE_BRK:
      return "brk_";
    case VQ_MODULE_RSRC:
      return "rsrc_";
    case VQ_MODULE_SAFEH:
      return "safeh_";
    case VQ_MODULE_EDCT:
      return "edct_";
    case VQ_MODULE_HDRPARS:
      return "hdrpars_";
    default:
      return nullptr;
  }
}

void Usage(FILE *out) {
  std::fputs(
      "usage: speechcommon error CODE\n"
      "  Explains a result code: failure or success, module, submodule, reason and the\n"
      "  message of the family that owns it. CODE is hex (0x801E0083, or 801E0083 when it\n"
      "  has hex letters) or decimal (2149449859, or -2145517437 as signed).\n",
      out);
}

}  // namespace

int CmdError(int argc, char **argv) {
  if (argc == 1 && (!std::strcmp(argv[0], "--help") || !std::strcmp(argv[0], "-h"))) {
    Usage(stdout);
    return kOk;
  }
  if (argc != 1) {
    Usage(stderr);
    return kUsage;
  }
  const std::optional<uint32_t> parsed = ParseCode(argv[0]);
  if (!parsed) {
    std::fprintf(stderr,
                 "speechcommon error: '%s' is not a result code (expected hex such as "
                 "0x801E0083 or a decimal 32-bit value)\n",
                 argv[0]);
    return kUsage;
  }
  const uint32_t code = *parsed;
  const uint32_t module = VQ_MODULE(code);
  const char *family = FamilyName(module);
  std::printf("code       %s (%" PRIu32 ")\n", Hex(code).c_str(), code);
  std::printf("outcome    %s\n", VQ_FAILED(code) ? "failure" : "success");
  std::printf("module     %" PRIu32 " \"%s\"%s%s\n", module, vq_ErrorGetModuleName(code),
              family ? ", family " : " (not a family of this library)", family ? family : "");
  const char *submodule = FamilySubmodule(code);
  if (submodule)
    std::printf("submodule  %" PRIu32 " \"%s\"\n", VQ_SUBMODULE(code), submodule);
  else
    std::printf("submodule  %" PRIu32 "\n", VQ_SUBMODULE(code));
  std::printf(
      "reason     %" PRIu32 " (%s)\n", VQ_REASON(code),
      VQ_IS_GENERAL(code) ? "general reason, shared by every family" : "the family's own reason");
  if (module == VQ_MODULE_DBG && !VQ_IS_GENERAL(code))
    std::printf("message    (the dbg_ family has no message table)\n");
  else
    std::printf("message    \"%s\"\n", FamilyMessage(code));
  return kOk;
}

}  // namespace cli
