// Prints manual pages, in the format of man, from the descriptions of the commands (quarn manual).
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>

#include "quarn/commands.h"
#include "quarnex/version.h"

namespace quarnex::tool {
namespace {

// Typed text, in which every hyphen is a minus sign and no line begins with a request.
std::string literal(const std::string& text) {
  std::string escaped = text.find_first_of(".'") == 0 ? "\\&" : "";
  for (const char c : text) {
    if (c == '\\') {
      escaped += "\\e";
    } else if (c == '-') {
      escaped += "\\-";
    } else {
      escaped += c == '\n' ? ' ' : c;
    }
  }
  return escaped;
}

std::string bold(const std::string& text) {
  return "\\fB" + literal(text) + "\\fR";
}

std::string italic(const std::string& text) {
  return text.empty() ? "" : "\\fI" + literal(text) + "\\fR";
}

std::string pageOf(const Command& command) {
  return "quarn-" + command.name;
}

std::string heading(const std::string& page, const std::string& summary) {
  return ".TH " + literal(page) + " 1 \"\" \"quarnex " QUARNEX_VERSION "\" \"Quarnex\"\n.SH NAME\n" +
         literal(page) + " \\- " + literal(summary) + '\n';
}

std::string operandOf(const Argument& argument) {
  const std::string name = italic(argument.name) + (argument.repeated ? "..." : "");
  return argument.required ? ' ' + name : " [" + name + ']';
}

std::string synopsisOf(const Command& command) {
  std::string required, operands;
  for (const Argument& argument : command.arguments) {
    if (!argument.isOption()) operands += operandOf(argument);
    if (argument.isOption() && argument.required)
      required += ' ' + bold(argument.name) + ' ' + italic(argument.placeholder);
  }
  return ".SH SYNOPSIS\n" + bold("quarn " + command.name) + " [" + italic("options") + ']' + required +
         operands + '\n';
}

std::string termOf(const Argument& argument) {
  if (!argument.isOption()) return italic(argument.name) + (argument.repeated ? "..." : "");
  return bold(argument.name) + (argument.isFlag() ? "" : ' ' + italic(argument.placeholder));
}

std::string argumentsOf(const Command& command) {
  std::string text =
      ".SH OPTIONS\n.TP\n" + bold("-h") + ", " + bold("--help") + "\nprint the help and exit\n";
  for (const Argument& argument : command.arguments) {
    text += ".TP\n" + termOf(argument) + '\n' + literal(argument.help);
    if (!argument.defaultValue.empty()) text += " (default " + literal(argument.defaultValue) + ')';
    text += '\n';
  }
  return text;
}

std::string detailsOf(const Command& command) {
  std::string text;
  for (const std::string& paragraph : command.details) text += ".PP\n" + literal(paragraph) + '\n';
  return text.empty() ? "" : ".SH DESCRIPTION\n" + text;
}

std::string termsOf(const Command& command) {
  std::string text = ".SH " + literal(command.termsHeading) + '\n';
  for (const Example& term : command.terms)
    text += ".TP\n" + bold(term.line) + '\n' + literal(term.effect) + '\n';
  return command.terms.empty() ? "" : text;
}

std::string statusesOf(const Command& command) {
  std::string text = ".SH EXIT STATUS\n";
  for (const ExitStatus& status : command.statuses)
    text += ".TP\n" + bold(std::to_string(status.status)) + '\n' + literal(status.meaning) + '\n';
  return command.statuses.empty() ? "" : text;
}

std::string examplesOf(const Command& command) {
  std::string text = ".SH EXAMPLES\n";
  for (const Example& example : command.examples) {
    text += example.effect.empty() ? ".PP\n" : ".TP\n";
    text += bold(example.line) + '\n' + (example.effect.empty() ? "" : literal(example.effect) + '\n');
  }
  return text;
}

std::string manualOf(const Command& command) {
  return heading(pageOf(command), command.summary) + synopsisOf(command) + detailsOf(command) +
         argumentsOf(command) + termsOf(command) + statusesOf(command) + examplesOf(command) +
         ".SH SEE ALSO\n.BR quarn (1)\n";
}

std::string manualOfProgram() {
  const Command& quarn = program();
  std::string text = heading(quarn.name, quarn.summary) + ".SH SYNOPSIS\n" + bold(quarn.name) + ' ' +
                     italic("command") + " [" + italic("arguments") + "]\n" + detailsOf(quarn) +
                     ".SH COMMANDS\n";
  for (const Command& command : commands())
    text += ".TP\n.BR " + literal(pageOf(command)) + " (1)\n" + literal(command.summary) + '\n';
  return text + examplesOf(quarn);
}

void writePage(const std::filesystem::path& folder, const std::string& page, const std::string& text) {
  const std::filesystem::path file = folder / (page + ".1");
  std::ofstream out(file);
  out << text << std::flush;
  if (!out) throw std::runtime_error(file.string() + " cannot be written");
}

int writePages(const std::filesystem::path& folder) {
  std::filesystem::create_directories(folder);
  writePage(folder, program().name, manualOfProgram());
  for (const Command& command : commands()) writePage(folder, pageOf(command), manualOf(command));
  return 0;
}

int printPage(const std::string& name) {
  for (const Command& command : commands()) {
    if (command.name == name) std::cout << manualOf(command);
  }
  if (name.empty()) std::cout << manualOfProgram();
  return 0;
}

struct ManualOptions {
  std::string command;
  std::optional<std::string> folder;
};

void chooseCommand(std::string& chosen, const std::string& name) {
  for (const Command& command : commands()) {
    if (command.name == name) chosen = name;
  }
  if (chosen.empty()) throw std::invalid_argument('"' + name + "\" is no command");
}

}  // namespace

Command manualCommand() {
  const auto options = std::make_shared<ManualOptions>();
  return {
      .name = "manual",
      .summary = "print the manual page of quarn or of a command",
      .details = {"The pages are written in the format of man."},
      .statuses = {},
      .examples = {{"quarn manual listen | man -l -", "read the page of quarn listen"},
                   {"quarn manual --output man1", "write all pages into the folder man1"}},
      .arguments = {{.name = "COMMAND",
                     .placeholder = "",
                     .help = "a command; without it, the page of quarn itself",
                     .store = [options](const std::string& name) { chooseCommand(options->command, name); },
                     .completion = Completion::Commands},
                    {.name = "--output",
                     .placeholder = "DIR",
                     .help = "write every page into DIR instead",
                     .store = storeIn(options->folder),
                     .completion = Completion::Folders}},
      .run = [options] {
        return options->folder ? writePages(*options->folder) : printPage(options->command);
      }};
}

}  // namespace quarnex::tool
