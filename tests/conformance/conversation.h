// Holds one conversation with the library against any binding of it.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace quarnex::test {

/// One way to reach the library. Methods have the names of `methodTable` and `answers`, texts one character
/// for each byte, and results the form of `quarn rpc`.
class Binding {
 public:
  virtual ~Binding() = default;
  /// The name of its column, for conversations that expect something else of it.
  virtual std::string_view name() const = 0;
  /// Throws `Failure` if the call fails.
  virtual nlohmann::json call(const std::string& method, const nlohmann::json& parameters) = 0;
  virtual void turn() = 0;
};

/// Appends the character of this code, below 0x800.
void appendUtf8(std::string& utf8, int code);
/// The bytes with the codes of the characters. Throws `Failure` 5 for a character above 255.
std::string bytesOf(const std::string& utf8);

/// All conversations, in the order of their file.
const std::vector<nlohmann::json>& conversations();

/// What a conversation needs of its surroundings.
struct Surroundings {
  int freeIdentifier = 7;  ///< no program uses its port, and the one after it
  std::string folder;      ///< with its separator
};

/// Returns the first step that went wrong with what was expected, "" if all went right.
std::string hold(Binding& binding, const nlohmann::json& conversation, const Surroundings& surroundings);

}  // namespace quarnex::test
