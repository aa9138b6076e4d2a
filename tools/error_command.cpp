// speechcommon error CODE: explains a result code.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "tools/cli.h"
#include "tools/output.h"
#include "tools/result_codes.h"

namespace cli {
namespace {

struct ErrorOptions {
  std::string code;
  bool json = false;
};

int Explain(const ErrorOptions &options) {
  const std::optional<uint32_t> parsed = ParseCode(options.code);
  if (!parsed)
    throw Failure("'" + options.code +
                      "' is not a result code (expected hex such as 0x801E0083 or a decimal "
                      "32-bit value)",
                  kUsage);
  const uint32_t code = *parsed;
  const uint32_t module = VQ_MODULE(code);
  const char *family = FamilyName(module);
  const char *name = CodeName(code);
  const char *submodule = FamilySubmodule(code);
  const char *message = FamilyMessage(code);
  if (options.json) {
    PrintJson({{"code", Hex(code)},
               {"value", code},
               {"name", name ? Json(name) : Json()},
               {"failure", VQ_FAILED(code) != 0},
               {"module",
                {{"id", module},
                 {"name", vq_ErrorGetModuleName(code)},
                 {"family", family ? Json(family) : Json()}}},
               {"submodule",
                {{"id", VQ_SUBMODULE(code)}, {"name", submodule ? Json(submodule) : Json()}}},
               {"reason", {{"id", VQ_REASON(code)}, {"general", VQ_IS_GENERAL(code) != 0}}},
               {"message", message ? Json(message) : Json()}});
    return kOk;
  }
  fmt::print("code       {} ({}){}\n", Hex(code), code, name ? fmt::format(" {}", name) : "");
  fmt::print("outcome    {}\n", VQ_FAILED(code) ? "failure" : "success");
  fmt::print("module     {} \"{}\"{}\n", module, vq_ErrorGetModuleName(code),
             family ? fmt::format(", family {}", family) : " (not a family of this library)");
  fmt::print("submodule  {}{}\n", VQ_SUBMODULE(code),
             submodule ? fmt::format(" \"{}\"", submodule) : "");
  fmt::print(
      "reason     {} ({})\n", VQ_REASON(code),
      VQ_IS_GENERAL(code) ? "general reason, shared by every family" : "the family's own reason");
  if (message)
    fmt::print("message    \"{}\"\n", message);
  else
    fmt::print("message    (the {} family has no message table)\n", family);
  return kOk;
}

}  // namespace

void AddErrorCommand(CLI::App &app, Commands &commands) {
  auto options = std::make_shared<ErrorOptions>();
  CLI::App *error = app.add_subcommand("error", "Explain a result code");
  error->footer(
      "Shows whether the code is a failure, its name, module, submodule and reason, and the "
      "message that the family owning it gives.");
  error
      ->add_option("CODE", options->code,
                   "Hex (0x801E0083, or 801E0083 when it has hex letters) or decimal "
                   "(2149449859, or -2145517437 as signed)")
      ->required();
  error->add_flag("--json", options->json, "Write the explanation as JSON");
  commands.Add(error, [options] { return Explain(*options); });
}

}  // namespace cli
