// Rule: each `send` carries exactly one well-formed frame with the identifier of its link.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <variant>

#include "simulation/checks/independent/check.h"

namespace quarnex::simulation {

/// Applies until the host sends a text or adds an identifier that cannot be told from the frame around it.
class FrameFormat : public Check {
 public:
  using Check::Check;

  void added(std::int16_t link) { plain_ = plain_ && engine_.at(link).identifier >= 0; }
  void called(const HostCall& call) {
    if (call.method != "Invia") return;
    plain_ = plain_ && std::ranges::all_of(std::get<std::string>(call.parameters[1]), [](char byte) {
               return byte >= ' ' && byte <= '~' && byte != '|';
             });
  }
  void performs(std::int16_t link, const ServiceCall& call) {
    if (call.operation != Operation::Send || !plain_) return;
    const std::string_view flaw = flawOfFrame(call.text(), engine_.at(link).identifier);
    if (!flaw.empty()) engine_.report(link, flaw);
  }

  /// The reason why `bytes` are not exactly one well-formed frame of a link with that identifier, or "".
  static std::string_view flawOfFrame(std::string_view bytes, int identifier) {
    if (bytes.size() < 1 + kHead.size() + kDigitsMin + 2 + kTail) return "a frame is too short";
    if (bytes.front() != kStart) return "a frame does not begin with its start character";
    if (bytes.find(kEnd) != bytes.size() - 1) return "a frame does not end with its only end character";
    if (!checksumFits(bytes)) return "a frame's checksum is wrong";
    if (bytes.substr(1, kHead.size()) != kHead) return "a frame's header is wrong";
    const std::string_view rest = bytes.substr(1 + kHead.size(), bytes.size() - 1 - kHead.size() - kTail);
    const std::size_t separator = rest.find('|', kDigitsMin + 1);
    if (separator == std::string_view::npos || rest.back() != '|') return "a message's fields do not end";
    if (!identifierFits(rest.substr(0, separator - 1), identifier))
      return "a message has another link's identifier";
    const std::string_view behind = rest.substr(separator + 1);
    const std::ptrdiff_t fields = std::count(behind.begin(), behind.end(), '|');
    const std::ptrdiff_t count = static_cast<unsigned char>(rest[separator - 1]) - '0';
    return std::min(fields, kCountMost) == count ? "" : "a message's count is not that of its fields";
  }

 private:
  static constexpr char kStart = 2;
  static constexpr char kEnd = 3;
  static constexpr std::string_view kHead = "9999000";
  static constexpr std::size_t kDigitsMin = 3;
  static constexpr std::size_t kTail = 3;            // checksum and end character
  static constexpr std::ptrdiff_t kCountMost = 207;  // '0' + 207 is the last character

  static bool checksumFits(std::string_view bytes) {
    unsigned char sum = 0;
    for (const char byte : bytes.substr(1, bytes.size() - kTail - 1)) sum ^= static_cast<unsigned char>(byte);
    const auto high = static_cast<char>('@' + (sum >> 4));
    const auto low = static_cast<char>('@' + (sum & 15));
    return bytes[bytes.size() - 3] == high && bytes[bytes.size() - 2] == low;
  }

  // "005" and "12345" up to the count character, which precedes the first separator and may be one.
  static bool identifierFits(std::string_view digits, int identifier) {
    if (digits.size() < kDigitsMin || digits.find_first_not_of("0123456789") != digits.npos) return false;
    int number = 0;
    for (const char digit : digits) number = number * 10 + (digit - '0');
    return number == identifier;
  }

  bool plain_ = true;
};

}  // namespace quarnex::simulation
