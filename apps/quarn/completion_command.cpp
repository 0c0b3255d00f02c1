#include "quarn/completion_command.h"

#include <iostream>
#include <memory>
#include <string>

#include "quarnex/ports.h"

namespace quarnex::tool {
namespace {

std::string optionsOf(const CLI::App& command) {
  std::string words;
  for (const CLI::Option* option : command.get_options()) {
    if (!option->get_positional()) words += option->get_name() + ' ';
  }
  return words;
}

bool takesLink(const CLI::App& command) {
  return command.get_option_no_throw("TIPO") != nullptr;
}

std::string namedTypes() {
  std::string words;
  for (const PortOfType& named : kNamedPorts) words.append(named.type) += ' ';
  return words;
}

// A case of the script: what may follow the command's name.
std::string caseOf(const CLI::App& command) {
  std::string script = "    0:" + command.get_name() + ") words=\"" + optionsOf(command) + '"';
  if (takesLink(command)) script += "; ((COMP_CWORD == 2)) && words+=\"" + namedTypes() + '"';
  return script + " ;;\n";
}

// Where no word of ours fits, bash falls back to file names: for --log, and for recordings.
std::string bashScript(const CLI::App& app) {
  std::string names, cases;
  for (const CLI::App* command : app.get_subcommands({})) {
    names += command->get_name() + ' ';
    cases += caseOf(*command);
  }
  return "# Completion of quarn for bash: source this, or put it into /etc/bash_completion.d/.\n"
         "_quarn() {\n"
         "  local words=\"\" current=\"${COMP_WORDS[COMP_CWORD]}\"\n"
         "  case \"$((COMP_CWORD == 1)):${COMP_WORDS[1]}\" in\n"
         "    1:*) words=\"" +
         names + optionsOf(app) + "\" ;;\n" + cases +
         "  esac\n"
         "  mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n"
         "}\n"
         "complete -o default -F _quarn quarn\n";
}

}  // namespace

void addCompletionCommand(CLI::App& app, int&) {
  CLI::App& command = *app.add_subcommand("completion", "print a completion script for a shell");
  const auto shell = std::make_shared<std::string>();
  command.add_option("SHELL", *shell, "bash")->required()->type_name("")->check(CLI::IsMember({"bash"}));
  command.callback([shell, &app] { std::cout << bashScript(app); });
  command.footer(
      "Examples:\n"
      "  source <(quarn completion bash)                         for this shell\n"
      "  quarn completion bash > /etc/bash_completion.d/quarn    for all shells to come");
}

}  // namespace quarnex::tool
