// speechcommon: the command-line face of the library, built on its public API only.
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "tools/cli.h"

namespace {

struct Command {
  const char *name;
  int (*run)(int argc, char **argv);
  const char *summary;
};

constexpr Command kCommands[] = {
    {"error", cli::CmdError, "explain a result code"},
    {"hdr", cli::CmdHdr, "show, extract from and pack data header files"},
    {"dict", cli::CmdDict, "compile, decompile, look up, describe and list dictionaries"},
    {"broker", cli::CmdBroker, "list, resolve and check installed components"},
};

void Usage(FILE *out) {
  std::fputs("usage: speechcommon [--help] [--version] COMMAND [ARGS...]\n\ncommands:\n", out);
  for (const Command &command : kCommands)
    std::fprintf(out, "  %-8s %s\n", command.name, command.summary);
  std::fputs("\nRun 'speechcommon COMMAND --help' for the arguments of one command.\n", out);
}

void Version() {
  uint32_t critsec = 0, heap = 0, osspi = 0, srvspi = 0, edct = 0, dbg = 0;
  critsec_GetVersion(&critsec);
  heap_GetVersion(&heap);
  osspi_SpiGetVersion(&osspi);
  srvspi_SpiGetVersion(&srvspi);
  edct_GetVersion(&edct);
  dbg_GetVersion(&dbg);
  std::printf("speechcommon %s\n", SC_TOOL_VERSION);
  std::printf("family versions: critsec_ %s, heap_ %s, osspi_ %s, srvspi_ %s, edct_ %s, dbg_ %s\n",
              cli::Hex(critsec).c_str(), cli::Hex(heap).c_str(), cli::Hex(osspi).c_str(),
              cli::Hex(srvspi).c_str(), cli::Hex(edct).c_str(), cli::Hex(dbg).c_str());
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 2) {
    Usage(stderr);
    return cli::kUsage;
  }
  if (!std::strcmp(argv[1], "--help") || !std::strcmp(argv[1], "-h") ||
      !std::strcmp(argv[1], "help")) {
    Usage(stdout);
    return cli::kOk;
  }
  if (!std::strcmp(argv[1], "--version")) {
    Version();
    return cli::kOk;
  }
  for (const Command &command : kCommands)
    if (!std::strcmp(argv[1], command.name)) return command.run(argc - 2, argv + 2);
  std::fprintf(stderr, "speechcommon: unknown command '%s'\n", argv[1]);
  Usage(stderr);
  return cli::kUsage;
}
