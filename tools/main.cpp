// speechcommon: the command-line face of the library, built on its public API only.
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <utility>

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

// The library's version, then the revision number each family's version query returns. The
// numbers name an interface revision: an engine may compare one with the revision it was built
// for, but their bytes carry no further meaning. The dictionaries answer 0xFFFFFFFF, their
// fixed "unversioned" marker.
void Version() {
  uint32_t critsec = 0, heap = 0, osspi = 0, srvspi = 0, dbg = 0, edct = 0;
  critsec_GetVersion(&critsec);
  heap_GetVersion(&heap);
  osspi_SpiGetVersion(&osspi);
  srvspi_SpiGetVersion(&srvspi);
  dbg_GetVersion(&dbg);
  edct_GetVersion(&edct);
  const std::pair<const char *, uint32_t> families[] = {{"critsec_", critsec}, {"heap_", heap},
                                                        {"osspi_", osspi},     {"srvspi_", srvspi},
                                                        {"dbg_", dbg},         {"edct_", edct}};
  std::printf("speechcommon %s\n\n", SC_VERSION_STRING);
  std::puts(
      "Interface revisions of the families, as their version queries return them. An engine\n"
      "may compare a revision for equality with the one it was built for; the bytes of a\n"
      "revision carry no further meaning.");
  for (const auto &[prefix, revision] : families)
    std::printf("  %-9s %s%s\n", prefix, cli::Hex(revision).c_str(),
                revision == 0xFFFFFFFFu ? "  unversioned" : "");
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
