#include "simulation/peers/wire_format.h"

#include <algorithm>

namespace quarnex::simulation::wire {
namespace {

constexpr char kStart = 2;
constexpr char kEnd = 3;
constexpr std::string_view kHeader = "9999";
constexpr std::size_t kEnvelope = 8;  // STX, header, checksum, ETX

Frame parsed(std::string bytes) {
  Frame frame;
  if (bytes.size() >= kEnvelope - kHeader.size()) {
    const std::string_view body = std::string_view(bytes).substr(1, bytes.size() - 4);
    frame.intact = checksum(body) == std::string_view(bytes).substr(bytes.size() - 3, 2);
    frame.message = body.substr(std::min(kHeader.size(), body.size()));
  }
  frame.bytes = std::move(bytes);
  return frame;
}

}  // namespace

std::string message(int identifier, const std::vector<std::string>& fields) {
  std::string digits = std::to_string(identifier);
  if (digits.size() < 3) digits.insert(0, 3 - digits.size(), '0');
  std::string text = "000" + digits + static_cast<char>('0' + fields.size()) + '|';
  for (const std::string& field : fields) text += field + '|';
  return text;
}

std::string frame(std::string_view message) {
  const std::string body = std::string(kHeader).append(message);
  return kStart + body + checksum(body) + kEnd;
}

std::string checksum(std::string_view bytes) {
  unsigned sum = 0;
  for (const char byte : bytes) sum ^= static_cast<unsigned char>(byte);
  return {static_cast<char>(64 + sum / 16), static_cast<char>(64 + sum % 16)};
}

std::vector<Frame> Splitter::feed(std::string_view bytes) {
  std::vector<Frame> frames;
  for (const char byte : bytes) {
    if (current_.empty() && byte != kStart) continue;
    current_ += byte;
    if (byte != kEnd) continue;
    frames.push_back(parsed(std::move(current_)));
    current_.clear();
  }
  return frames;
}

}  // namespace quarnex::simulation::wire
