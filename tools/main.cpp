// speechcommon: the command-line face of the library, built on its public API only. This file
// reads the command line (CLI11), starts the trace facility when asked, and runs the command.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "speechcommon.h"
#include "tools/cli.h"
#include "tools/result_codes.h"

namespace cli {
namespace {
char g_doing[512] = "";
}  // namespace

void Doing(std::string_view what, std::string_view object) noexcept {
  std::snprintf(g_doing, sizeof g_doing, "%.*s%s%.*s", static_cast<int>(what.size()), what.data(),
                object.empty() ? "" : " ", static_cast<int>(object.size()), object.data());
}

const char *WhatIsBeingDone() noexcept {
  return g_doing;
}

}  // namespace cli

namespace {

// The library's version, then the revision number each family's version query returns. The
// numbers name an interface revision: an engine may compare one with the revision it was built
// for, but their bytes carry no further meaning. The dictionaries answer 0xFFFFFFFF, their
// fixed "unversioned" marker.
std::string VersionText() {
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
  std::string text = fmt::format(
      "speechcommon {}\n\n"
      "Interface revisions of the families, as their version queries return them. An engine\n"
      "may compare a revision for equality with the one it was built for; the bytes of a\n"
      "revision carry no further meaning.",
      SC_VERSION_STRING);
  for (const auto &[prefix, revision] : families)
    text += fmt::format("\n  {:<9} {}{}", prefix, cli::Hex(revision),
                        revision == 0xFFFFFFFFu ? "  unversioned" : "");
  return text;
}

// The command given: the chain of subcommands parsed, outermost first.
std::vector<CLI::App *> CommandPath(CLI::App &app) {
  std::vector<CLI::App *> path{&app};
  for (;;) {
    const std::vector<CLI::App *> below = path.back()->get_subcommands();
    if (below.empty()) return path;
    path.push_back(below.front());
  }
}

std::string CommandName(const std::vector<CLI::App *> &path) {
  std::string name;
  for (const CLI::App *command : path)
    name += (name.empty() ? "" : " ") + command->get_name();
  return name;
}

// `dict lookup` takes its words after "--"; everywhere else "--" keeps its usual meaning (only
// operands follow), so the words are cut off for that command alone.
cli::Words SplitWords(std::vector<std::string> &args) {
  cli::Words words;
  std::vector<std::string> operands;
  for (size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--") {
      if (operands.size() >= 2 && operands[0] == "dict" && operands[1] == "lookup") {
        words.given = true;
        words.list.assign(args.begin() + static_cast<std::ptrdiff_t>(i) + 1, args.end());
        args.resize(i);
      }
      break;
    }
    if (!args[i].starts_with('-')) operands.push_back(args[i]);
  }
  return words;
}

int Run(int argc, char **argv) {
  CLI::App app{
      "The common services of a speech toolkit from the command line: result codes, "
      "data header files, exception dictionaries and the component broker.",
      "speechcommon"};
  app.set_version_flag("--version", VersionText,
                       "Print the library's version and the families' revisions, then exit");
  bool trace = false;
  app.add_flag("--trace", trace, "Start the trace facility (configured by the VQ_* variables)");
  app.fallthrough();  // --trace may stand after the command too
  app.failure_message([](const CLI::App *, const CLI::Error &error) {
    return fmt::format("speechcommon: {}\n", error.what());
  });

  cli::Commands commands;
  std::vector<std::string> args(argv + 1, argv + argc);
  const cli::Words words = SplitWords(args);
  cli::AddErrorCommand(app, commands);
  cli::AddHdrCommands(app, commands);
  cli::AddDictCommands(app, commands, words);
  cli::AddBrokerCommands(app, commands);
  cli::AddCompletionCommand(app, commands);
  app.footer("Run 'speechcommon COMMAND --help' for the options of one command.");

  std::vector<CLI::App *> path;
  try {
    std::reverse(args.begin(), args.end());  // CLI11 takes the arguments last first
    app.parse(args);
    path = CommandPath(app);
  } catch (const CLI::ParseError &error) {
    const int status = app.exit(error);
    if (status == 0) return cli::kOk;  // --help, --version
    path = CommandPath(app);
    std::fprintf(stderr, "Run '%s --help' for its options.\n", CommandName(path).c_str());
    return cli::kUsage;
  }
  const std::function<int()> *run = commands.Find(path.back());
  if (!run) {  // a group without its subcommand: say which there are
    std::fputs(path.back()->help().c_str(), stderr);
    return cli::kUsage;
  }

  if (trace) {
    if (!std::getenv("VQ_TRACELEVEL"))
      std::fputs("speechcommon: --trace: VQ_TRACELEVEL is not set, so nothing is traced\n", stderr);
    dbg_Init(0, nullptr, 0, nullptr);
  }
  // Each command names its steps as it goes; until it does, this is what it is doing.
  cli::Doing("running", CommandName(path));
  int status = cli::kFailed;
  try {
    status = (*run)();
  } catch (const cli::Failure &failure) {
    std::fflush(stdout);
    std::fprintf(stderr, "speechcommon: %s\n", failure.what());
    status = failure.status();
  } catch (const std::bad_alloc &) {  // the tool's own containers; the library returns a code
    std::fflush(stdout);
    std::fprintf(stderr, "speechcommon: out of memory while %s\n", cli::WhatIsBeingDone());
  } catch (const std::exception &error) {  // a file system gone wrong, a stream that failed
    std::fflush(stdout);
    std::fprintf(stderr, "speechcommon: %s (while %s)\n", error.what(), cli::WhatIsBeingDone());
  } catch (...) {
    std::fflush(stdout);
    std::fprintf(stderr, "speechcommon: unexpected failure while %s\n", cli::WhatIsBeingDone());
  }
  if (trace) dbg_Terminate();
  return status;
}

// Memory for the way out: an allocation that fails while an exception unwinds (a JSON tree
// takes a stack to free its nodes) is given this block and goes on.
constexpr size_t kReserve = 4 << 20;
void *g_reserve = nullptr;

void OnExhausted() {
  if (!g_reserve || std::uncaught_exceptions() == 0) throw std::bad_alloc();
  std::free(g_reserve);
  g_reserve = nullptr;  // operator new tries again
}

// An exception that reaches a frame that lets none through (a destructor that allocates, at
// the moment memory ran out) ends the tool here: reported like any other, with status 1.
[[noreturn]] void OnTerminate() {
  const char *what = "unexpected failure";
  if (const std::exception_ptr current = std::current_exception()) {
    try {
      std::rethrow_exception(current);
    } catch (const std::bad_alloc &) {
      what = "out of memory";
    } catch (...) {
    }
  }
  std::fflush(stdout);
  std::fprintf(stderr, "speechcommon: %s while %s\n", what, cli::WhatIsBeingDone());
  std::_Exit(cli::kFailed);
}

}  // namespace

// Reading the command line takes memory too: nothing that runs out ends the tool with an abort.
int main(int argc, char **argv) {
  g_reserve = std::malloc(kReserve);
  std::set_terminate(OnTerminate);
  std::set_new_handler(OnExhausted);
  try {
    return Run(argc, argv);
  } catch (const std::bad_alloc &) {
    std::fputs("speechcommon: out of memory\n", stderr);
  } catch (const std::exception &error) {
    std::fprintf(stderr, "speechcommon: %s\n", error.what());
  } catch (...) {
    std::fputs("speechcommon: unexpected failure\n", stderr);
  }
  return cli::kFailed;
}
