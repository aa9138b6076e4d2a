// speechcommon completion bash: a bash completion script made from the command line's own
// description, so it knows every subcommand and option the tool has.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>

#include "tools/cli.h"
#include "tools/files.h"

namespace cli {
namespace {

// The fixed values an option accepts, from the "{a,b,c}" its check adds to its type name.
std::string Choices(const CLI::Option &option) {
  const std::string type = option.get_type_name();
  const size_t open = type.find('{'), close = type.rfind('}');
  if (open == std::string::npos || close == std::string::npos || close < open) return "";
  std::string values = type.substr(open + 1, close - open - 1);
  std::replace(values.begin(), values.end(), ',', ' ');
  return values;
}

// A word in bash's single quotes, which keep every character as it is.
std::string BashWord(const std::string &text) {
  std::string out = "'";
  for (const char c : text)
    out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

struct Tables {
  std::map<std::string, std::string> subcommands, options, takes, choices;
};

void Describe(CLI::App &command, const std::string &path, const std::string &global,
              Tables &tables) {
  std::string names, options = global;
  std::set<std::string> spelt{global};
  for (CLI::App *sub : command.get_subcommands([](CLI::App *) { return true; }))
    names += (names.empty() ? "" : " ") + sub->get_name();
  for (const CLI::Option *option : command.get_options()) {
    std::vector<std::string> spellings;
    for (const std::string &name : option->get_snames())
      spellings.push_back("-" + name);
    for (const std::string &name : option->get_lnames())
      spellings.push_back("--" + name);
    for (const std::string &spelling : spellings) {
      if (spelt.insert(spelling).second) options += " " + spelling;
      if (option->get_expected_min() == 0) continue;  // a flag
      tables.takes[path + "|" + spelling] = "1";
      const std::string choices = Choices(*option);
      if (!choices.empty()) tables.choices[path + "|" + spelling] = choices;
    }
  }
  if (!names.empty()) tables.subcommands[path] = names;
  tables.options[path] = options;
  for (CLI::App *sub : command.get_subcommands([](CLI::App *) { return true; }))
    Describe(*sub, path + " " + sub->get_name(), global, tables);
}

std::string Script(CLI::App &app) {
  Tables tables;
  Describe(app, "speechcommon", "--trace", tables);
  std::string script =
      "# bash completion for speechcommon, made by 'speechcommon completion bash'.\n"
      "_speechcommon() {\n"
      "  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}\n";
  for (const auto &[name, table] :
       std::map<std::string, const std::map<std::string, std::string> *>{
           {"subcommands", &tables.subcommands},
           {"options", &tables.options},
           {"takes", &tables.takes},
           {"choices", &tables.choices}}) {
    script += fmt::format("  local -A {}=(", name);
    for (const auto &[key, value] : *table)
      script += fmt::format(" [{}]={}", BashWord(key), BashWord(value));
    script += " )\n";
  }
  script +=
      "  # The command so far: the words that name subcommands, skipping option values.\n"
      "  local path=speechcommon word i\n"
      "  for ((i = 1; i < COMP_CWORD; i++)); do\n"
      "    word=${COMP_WORDS[i]}\n"
      "    if [[ -n ${takes[\"$path|$word\"]} ]]; then ((i++)); continue; fi\n"
      "    [[ $word == -- ]] && break\n"
      "    if [[ \" ${subcommands[$path]} \" == *\" $word \"* ]]; then\n"
      "      path=\"$path $word\"\n"
      "    fi\n"
      "  done\n"
      "  if [[ -n ${takes[\"$path|$prev\"]} ]]; then\n"
      "    if [[ -n ${choices[\"$path|$prev\"]} ]]; then\n"
      "      COMPREPLY=($(compgen -W \"${choices[\"$path|$prev\"]}\" -- \"$cur\"))\n"
      "    else\n"
      "      COMPREPLY=($(compgen -f -- \"$cur\"))\n"
      "    fi\n"
      "  elif [[ $cur == -* ]]; then\n"
      "    COMPREPLY=($(compgen -W \"${options[$path]}\" -- \"$cur\"))\n"
      "  elif [[ -n ${subcommands[$path]} ]]; then\n"
      "    COMPREPLY=($(compgen -W \"${subcommands[$path]}\" -- \"$cur\"))\n"
      "  else\n"
      "    COMPREPLY=($(compgen -f -- \"$cur\"))\n"
      "  fi\n"
      "}\n"
      "complete -o filenames -F _speechcommon speechcommon\n";
  return script;
}

struct CompletionOptions {
  std::string shell, output = "-";
};

}  // namespace

void AddCompletionCommand(CLI::App &app, Commands &commands) {
  auto options = std::make_shared<CompletionOptions>();
  CLI::App *completion =
      app.add_subcommand("completion", "Print the shell completion script for this tool");
  completion->footer(
      "The packages install it as share/bash-completion/completions/speechcommon; to try it, "
      "run: source <(speechcommon completion bash)");
  completion->add_option("SHELL", options->shell, "The shell")
      ->required()
      ->check(CLI::IsMember({"bash"}));
  completion->add_option("-o,--output", options->output, "Where to write it ('-': stdout)");
  CLI::App *top = &app;
  commands.Add(completion, [options, top] {
    WriteOutput(options->output, Script(*top));
    return kOk;
  });
}

}  // namespace cli
