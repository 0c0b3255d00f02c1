// Prints completion scripts for bash, zsh and fish from the descriptions of the commands (quarn completion).
#include <iostream>
#include <memory>
#include <string>
#include <string_view>

#include "quarn/commands.h"
#include "quarnex/ports.h"

namespace quarnex::tool {
namespace {

std::string replaced(std::string text, std::string_view old, std::string_view with) {
  for (std::size_t at = 0; (at = text.find(old, at)) != std::string::npos; at += with.size())
    text.replace(at, old.size(), with);
  return text;
}

// The words that can be completed for a value of the argument, each with a space behind it.
std::string valuesOf(const Argument& argument) {
  std::string words;
  for (const std::string& choice : argument.choices) words += choice + ' ';
  if (argument.completion == Completion::PeerTypes) {
    for (const PortOfType& named : kNamedPorts) words.append(named.type) += ' ';
  }
  if (argument.completion == Completion::Commands) {
    for (const Command& command : commands()) words += command.name + ' ';
  }
  return words;
}

bool completesFiles(const Argument& argument) {
  return argument.completion == Completion::Files || argument.completion == Completion::Folders;
}

// The names of all commands; the options that quarn has itself.
std::string commandNames() {
  std::string words;
  for (const Command& command : commands()) words += command.name + ' ';
  return words + "--help --version";
}

// An operand is completed where no option stands before it.
std::string bashCase(const Command& command) {
  std::string options = "--help", files, others, operands;
  int place = 2;
  for (const Argument& argument : command.arguments) {
    if (!argument.isOption()) {
      const std::string values = valuesOf(argument);
      if (!values.empty())
        operands += "      ((COMP_CWORD == " + std::to_string(place) + ")) && words+=\" " + values + "\"\n";
      ++place;
      continue;
    }
    options += ' ' + argument.name;
    if (!argument.isFlag()) (completesFiles(argument) ? files : others) += '|' + argument.name;
  }
  std::string script = "    " + command.name + ")\n      case $previous in\n";
  if (!files.empty()) script += "        " + files.substr(1) + ") return ;;\n";
  if (!others.empty()) script += "        " + others.substr(1) + ") compopt +o default; return ;;\n";
  return script + "      esac\n      words=\"" + options + "\"\n" + operands + "      ;;\n";
}

// Where no word of ours fits, bash completes file names.
std::string bashScript() {
  std::string script =
      "# Completion of quarn for bash.\n"
      "_quarn() {\n"
      "  local words=\"\" current=\"${COMP_WORDS[COMP_CWORD]}\" previous=\"${COMP_WORDS[COMP_CWORD - 1]}\"\n"
      "  if ((COMP_CWORD == 1)); then\n"
      "    words=\"" +
      commandNames() +
      "\"\n"
      "  else\n"
      "    case ${COMP_WORDS[1]} in\n";
  for (const Command& command : commands()) script += bashCase(command);
  return script +
         "    esac\n"
         "  fi\n"
         "  mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n"
         "}\n"
         "complete -o default -F _quarn quarn\n";
}

std::string inSingleQuotes(const std::string& text) {
  return '\'' + replaced(replaced(text, "\n", " "), "'", "'\\''") + '\'';
}

// Escapes a text for an argument of zsh's _arguments or _describe.
std::string zshText(const std::string& text) {
  std::string escaped = replaced(text, "\\", "\\\\");
  for (const char* special : {":", "[", "]"})
    escaped = replaced(escaped, special, std::string("\\") + special);
  return escaped;
}

std::string zshAction(const Argument& argument) {
  if (argument.completion == Completion::Folders) return "_files -/";
  if (argument.completion == Completion::Files) return "_files";
  const std::string values = valuesOf(argument);
  return values.empty() ? "" : '(' + values + ')';
}

std::string zshArgument(const Argument& argument, int& place) {
  const std::string help = zshText(argument.help);
  if (argument.isFlag()) return inSingleQuotes(argument.name + '[' + help + ']');
  if (argument.isOption())
    return inSingleQuotes(argument.name + "=[" + help + "]:" + argument.placeholder + ':' +
                          zshAction(argument));
  const std::string position = argument.repeated ? "*" : std::to_string(place++);
  return inSingleQuotes(position + ':' + argument.name + ':' + zshAction(argument));
}

std::string zshScript() {
  std::string script =
      "#compdef quarn\n"
      "# Completion of quarn for zsh.\n"
      "_quarn() {\n"
      "  local state line\n"
      "  local -a commands=(\n";
  for (const Command& command : commands())
    script += "    " + inSingleQuotes(command.name + ':' + zshText(command.summary)) + '\n';
  script +=
      "  )\n"
      "  _arguments -C '(- *)'{-h,--help}'[print the help]' '(- *)--version[print the version]' \\\n"
      "    '1:command:->command' '*::argument:->arguments'\n"
      "  case $state in\n"
      "    command) _describe command commands ;;\n"
      "    arguments)\n"
      "      case $line[1] in\n";
  for (const Command& command : commands()) {
    script += "        " + command.name + ") _arguments '(- *)'{-h,--help}'[print the help]'";
    int place = 1;
    for (const Argument& argument : command.arguments)
      script += " \\\n          " + zshArgument(argument, place);
    script += " ;;\n";
  }
  return script +
         "      esac\n"
         "      ;;\n"
         "  esac\n"
         "}\n"
         "if [[ $funcstack[1] == _quarn ]]; then _quarn \"$@\"; else compdef _quarn quarn; fi\n";
}

std::string fishArgument(const Argument& argument) {
  const std::string values = valuesOf(argument);
  std::string words;
  if (argument.isOption()) words = " -l " + argument.name.substr(2) + " -d " + inSingleQuotes(argument.help);
  if (argument.isFlag()) return words;
  if (argument.completion == Completion::Folders) return words + " -x -a '(__fish_complete_directories)'";
  if (argument.completion == Completion::Files) return words + (argument.isOption() ? " -r -F" : " -F");
  if (argument.isOption()) words += " -x";
  return values.empty() ? words : words + " -a " + inSingleQuotes(values);
}

std::string fishScript() {
  std::string script =
      "# Completion of quarn for fish.\n"
      "complete -c quarn -f\n"
      "complete -c quarn -s h -l help -d 'print the help'\n"
      "complete -c quarn -n __fish_use_subcommand -l version -d 'print the version'\n";
  for (const Command& command : commands()) {
    script += "complete -c quarn -n __fish_use_subcommand -a " + command.name + " -d " +
              inSingleQuotes(command.summary) + '\n';
    for (const Argument& argument : command.arguments) {
      const std::string words = fishArgument(argument);
      if (words.empty()) continue;
      script += "complete -c quarn -n '__fish_seen_subcommand_from " + command.name + '\'' + words + '\n';
    }
  }
  return script;
}

int printScript(const std::string& shell) {
  std::cout << (shell == "bash" ? bashScript() : shell == "zsh" ? zshScript() : fishScript());
  return 0;
}

}  // namespace

Command completionCommand() {
  const auto shell = std::make_shared<std::string>();
  return {.name = "completion",
          .summary = "print a completion script for a shell",
          .details = {},
          .statuses = {},
          .examples = {{"source <(quarn completion bash)", "for this shell"},
                       {"quarn completion bash > /etc/bash_completion.d/quarn", "for all new shells"},
                       {"quarn completion zsh > ~/.zfunc/_quarn", "in a folder of $fpath"},
                       {"quarn completion fish > ~/.config/fish/completions/quarn.fish", ""}},
          .arguments = {{.name = "SHELL",
                         .placeholder = "",
                         .help = "bash, zsh or fish",
                         .store = storeIn(*shell),
                         .choices = {"bash", "zsh", "fish"},
                         .required = true}},
          .run = [shell] { return printScript(*shell); }};
}

}  // namespace quarnex::tool
