// Parses the command line with CLI11 and lays out the help. No other file includes CLI11, whose headers take
// longer to compile than the rest of the tool.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "quarn/commands.h"
#include "quarnex/version.h"

namespace quarnex::tool {
namespace {

constexpr std::size_t kLineWidth = 100;

// Breaks a paragraph into lines; those after the first begin with `indent` spaces.
std::string wrapped(std::string_view first, const std::string& paragraph, std::size_t indent) {
  std::string lines(first);
  std::size_t column = first.size();
  std::istringstream words(paragraph);
  for (std::string word; words >> word;) {
    const bool begins = column == 0 || column == indent;
    if (!begins && column + 1 + word.size() > kLineWidth) {
      lines += '\n' + std::string(indent, ' ');
      column = indent;
    } else if (!begins) {
      lines += ' ';
      ++column;
    }
    lines += word;
    column += word.size();
  }
  return lines + '\n';
}

std::string examplesOf(const Command& command) {
  std::size_t width = 0;
  for (const Example& example : command.examples) {
    if (!example.effect.empty()) width = std::max(width, example.line.size() + 4);
  }
  std::string lines;
  for (const Example& example : command.examples) {
    lines += "  " + example.line;
    if (!example.effect.empty()) lines += std::string(width - example.line.size(), ' ') + example.effect;
    lines += '\n';
  }
  return lines;
}

std::string statusesOf(const Command& command) {
  std::size_t digits = 0;
  for (const ExitStatus& status : command.statuses)
    digits = std::max(digits, std::to_string(status.status).size());
  std::string text;
  for (const ExitStatus& status : command.statuses) {
    std::string first = "  " + std::to_string(status.status);
    first.resize(digits + 4, ' ');
    text += wrapped(first, status.meaning, first.size());
  }
  return text.empty() ? "" : "Exit status:\n" + text + '\n';
}

std::string helpFooter(const Command& command) {
  std::string text;
  for (const std::string& paragraph : command.details) text += wrapped("", paragraph, 0) + '\n';
  if (!command.terms.empty()) {
    text += command.termsHeading + ":\n";
    for (const Example& term : command.terms) text += wrapped("  " + term.line + ":", term.effect, 6);
    text += '\n';
  }
  text += statusesOf(command);
  if (!command.examples.empty()) text += "Examples:\n" + examplesOf(command);
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

std::string usageError(const CLI::App* app, const CLI::Error& error) {
  std::string command = "quarn";
  for (const CLI::App* parsed : app->get_subcommands()) command += ' ' + parsed->get_name();
  const bool unknown = app->get_subcommands().empty() && app->remaining_size() > 0;
  const std::string reason =
      unknown ? '"' + app->remaining().front() + "\" is no command or option" : error.what();
  return command + ": " + reason + "; see " + command + " --help\n";
}

void requireChoice(const Argument& argument, const std::string& value) {
  if (argument.choices.empty()) return;
  std::string all;
  for (const std::string& choice : argument.choices) {
    if (choice == value) return;
    all += (all.empty() ? "" : ", ") + choice;
  }
  throw std::invalid_argument('"' + value + "\": give one of " + all);
}

void store(const Argument& argument, const std::string& value) {
  try {
    requireChoice(argument, value);
    argument.store(value);
  } catch (const std::invalid_argument& refused) {
    throw CLI::ValidationError(argument.name + ' ' + refused.what());
  }
}

CLI::Option* addOption(CLI::App& app, const Argument& argument) {
  if (argument.isFlag())
    return app.add_flag_callback(
        argument.name, [&argument] { store(argument, ""); }, argument.help);
  if (argument.repeated) {
    const auto storeAll = [&argument](const std::vector<std::string>& values) {
      for (const std::string& value : values) store(argument, value);
    };
    return app.add_option_function<std::vector<std::string>>(argument.name, storeAll, argument.help)
        ->allow_extra_args(!argument.isOption());
  }
  const auto storeOne = [&argument](const std::string& value) { store(argument, value); };
  return app.add_option_function<std::string>(argument.name, storeOne, argument.help);
}

void addArgument(CLI::App& app, const Argument& argument) {
  CLI::Option& option = *addOption(app, argument);
  option.required(argument.required);
  if (argument.isFlag()) return;
  option.type_name(argument.placeholder);
  if (!argument.defaultValue.empty()) option.default_str(argument.defaultValue);
}

void addCommand(CLI::App& app, const Command& command, int& exitStatus) {
  CLI::App& added = *app.add_subcommand(command.name, command.summary);
  for (const Argument& argument : command.arguments) addArgument(added, argument);
  for (const Argument& argument : command.arguments) {
    if (!argument.needs.empty()) added.get_option(argument.name)->needs(added.get_option(argument.needs));
  }
  added.footer(helpFooter(command));
  added.callback([&command, &exitStatus] { exitStatus = command.run(); });
}

}  // namespace

int runCommandLine(const Command& program, const std::vector<Command>& commands,
                   std::vector<std::string> arguments) {
  CLI::App app{program.summary, program.name};
  int exitStatus = 0;
  app.set_version_flag("--version", "quarn " QUARNEX_VERSION);
  app.failure_message(usageError);
  app.require_subcommand(1);
  app.allow_windows_style_options(false);  // "/tmp/site.jsonl" is a path on every system
  app.footer(helpFooter(program));
  for (const Command& command : commands) addCommand(app, command, exitStatus);
  try {
    std::ranges::reverse(arguments);
    app.parse(std::move(arguments));
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kNotStarted;
  }
  return exitStatus;
}

}  // namespace quarnex::tool
