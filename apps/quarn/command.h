// Describes the commands of quarn: arguments, help and action. The parser, --help, the manual pages and the
// shell completion all read these descriptions, so that none of them keeps a list of its own.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quarnex::tool {

/// Exit status after an invalid command line, and of a command that could not start.
constexpr int kNotStarted = 2;
/// Exit status of a command whose results could not be written to standard output, for example because the
/// pipe is closed. The commands that keep links (listen, call, rpc) return 1 in that case.
constexpr int kOutputNotWritten = 3;

/// Words that a shell completes for the value of an argument.
enum class Completion : std::uint8_t { Nothing, Files, Folders, PeerTypes, Commands };

/// An option ("--wait") or an operand ("TIPO") of a command.
struct Argument {
  /// Takes one value ("" from a flag). Throws `std::invalid_argument` to refuse it; its text follows the name
  /// of the argument in the message.
  using Store = std::function<void(const std::string& value)>;

  std::string name;
  std::string placeholder;  ///< names the value of an option in the help; "" for flags and operands
  std::string help;
  Store store;
  std::string defaultValue{};          ///< shown in the help
  std::vector<std::string> choices{};  ///< the only accepted values; empty = no restriction
  std::string needs{};                 ///< the name of an argument that must be given with this one
  Completion completion = Completion::Nothing;
  bool required = false;
  bool repeated = false;  ///< an operand takes one or more values; an option can be given more than once

  bool isOption() const { return name.front() == '-'; }
  bool isFlag() const { return isOption() && placeholder.empty(); }
};

/// An exit status and its meaning.
struct ExitStatus {
  int status;
  std::string meaning;
};

/// A command line or another term, and its effect.
struct Example {
  std::string line;
  std::string effect;
};

struct Command {
  std::string name;
  std::string summary;               ///< one line, a phrase that begins with a verb
  std::vector<std::string> details;  ///< paragraphs, each without line breaks
  std::string termsHeading{};        ///< of a list of terms and their meanings, if there is one
  std::vector<Example> terms{};
  std::vector<ExitStatus> statuses;
  std::vector<Example> examples;
  std::vector<Argument> arguments;
  std::function<int()> run;  ///< returns the exit status of the process
};

Argument::Store storeIn(std::string& value);
Argument::Store storeIn(std::optional<std::string>& value);
Argument::Store appendTo(std::vector<std::string>& values);
Argument::Store setFlag(bool& flag);

/// Stores a whole number from `low` to `high`; refuses everything else and names the range.
template <class Number>
Argument::Store storeIn(Number& value, std::uint64_t low, std::uint64_t high);

/// Parses a whole number. Throws `std::invalid_argument` unless it is from `low` to `high`.
std::uint64_t wholeNumber(const std::string& text, std::uint64_t low, std::uint64_t high);

template <class Number>
Argument::Store storeIn(Number& value, std::uint64_t low, std::uint64_t high) {
  return [&value, low, high](const std::string& text) {
    value = static_cast<Number>(wholeNumber(text, low, high));
  };
}

}  // namespace quarnex::tool
