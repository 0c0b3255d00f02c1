// Writes the protocol as a peer does. Shares nothing with the engine.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quarnex::simulation::wire {

constexpr char kStart = 2;
constexpr char kEnd = 3;

/// A message: "000", the identifier with at least three digits, the count character, each field with a "|".
inline std::string message(int identifier, const std::vector<std::string>& fields) {
  std::string digits = std::to_string(identifier);
  if (digits.size() < 3) digits.insert(0, 3 - digits.size(), '0');
  std::string text = "000" + digits + static_cast<char>('0' + fields.size()) + '|';
  for (const std::string& field : fields) text += field + '|';
  return text;
}

/// The frame of a message: STX, "9999", the message, two checksum characters, ETX. The two are 64 plus the
/// high and 64 plus the low half of the exclusive-or of all bytes between STX and them.
inline std::string frame(std::string_view message) {
  const std::string body = std::string("9999").append(message);
  unsigned sum = 0;
  for (const char byte : body) sum ^= static_cast<unsigned char>(byte);
  return kStart + body + static_cast<char>(64 + sum / 16) + static_cast<char>(64 + sum % 16) + kEnd;
}

}  // namespace quarnex::simulation::wire
