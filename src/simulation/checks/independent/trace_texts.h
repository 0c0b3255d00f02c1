// Lists the trace texts of the engine, and counts them for the simulations that must have seen all.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>
#include <vector>

namespace quarnex::simulation {

/// "A*B" stands for texts that begin with A and contain B. Of several that fit, the first counts.
///
/// Two texts of the engine are missing. "error QUARN Handler" occurs only if a step of a link is replaced,
/// since each settles its own failures. "error TCP Apri scheda" needs a failure of the clock: the other steps
/// of an activation settle theirs.
inline constexpr std::string_view kTraceTexts[] = {
    "++++",
    "R>:",
    "R>",
    "I>:",
    "I>",
    "X:",
    "P:X000E0109",
    "P:X000E0112",
    "P:X000E0701",
    "P:X000E0702",
    "P:X000E0991",
    "P:X000E0992",
    "P:X000E0993",
    "P:Errore: *error HTCP: AddHQUARN",
    "P:Errore: *error ETH Handler_ADV",
    "P:Errore: *error DividiMessaggio",
    "COMANDO:",
    "IN CANNA:",
    "SCARTO:",
    "RADV>",
    "error cks>",
    "Client Socket State:",
    "Server Socket ",
    "Accept Socket ",
    "CHIAMO ",
    "ASCOLTO ",
    " RIASCOLTO ",
    "TIMEOUT ASCOLTO ",
    "ADD ",
    "ATTIVATO SOCKET CLIENT ",
    "ATTIVATO SOCKET SERVER ",
    "NON RISPONDE ",
    "ETH_Riconnetti ",
    "Client CONNESSO ",
    "Server CONNESSO ",
    "Client CHIUDE ",
    "Server CHIUDE ",
    "Accept CHIUDE ",
    "ClientSocket_Connect ERROR CODE :",
    "ClientSocket_Close ERROR CODE :",
    "ClientSocket_Receive ERROR CODE :",
    "ServerSocket_Accept ERROR CODE :",
    "ServerSocket_Close ERROR CODE :",
    "SrvAccept_Close ERROR CODE :",
    "SrvAccept_Receive ERROR CODE :",
    "ETH *DISCONNETTO Client ",
    "ETH *DISCONNETTO Server ",
    "ETH *Errore CHIAMO ",
    "ETH *Errore ASCOLTO ",
    "ETH * non si connette! Tentativi:",
    "ETH * non chiama!",
    "ETH *Errore Timeout HandleStato_B",
    "ETH *Errore Invio ",
    "ETH *TIMEOUT Alive ",
    "ETH *Chiuso/disattivato socket client ",
    "ETH *Chiuso/disattivato socket server ",
    "ETH *:10038  Socket operation on non-socket.",
    "ETH *:10048  The specified address is already in use.",
    "ETH *:10049  The specified address is not available.",
    "ETH *:10053  The current connection has been aborted by the network.",
    "ETH *:10060  The current connection has timed out.",
    "ETH *:10061  The requested connection has been refused by the remote host.",
    "ETH *:10064  Remote host is currently unavailable.",
    "ETH *:10065  Remote host is currently unreachable.",
    "ETH *:10091  Remote system is not ready.",
    "ETH *ErrorCode:"};

class TraceCounts {
 public:
  void add(std::string_view text) {
    static const Patterns patterns = sortedPatterns();
    if (text.empty()) return;
    for (const Pattern& pattern : patterns[static_cast<unsigned char>(text.front())]) {
      if (!text.starts_with(pattern.begin) || text.find(pattern.within) == std::string_view::npos) continue;
      ++counts_[pattern.row];
      return;
    }
  }
  void add(const TraceCounts& other) {
    for (std::size_t i = 0; i < counts_.size(); ++i) counts_[i] += other.counts_[i];
  }
  const auto& counts() const { return counts_; }

 private:
  struct Pattern {
    std::size_t row;
    std::string_view begin, within;
  };
  using Patterns = std::array<std::vector<Pattern>, 256>;

  // By the first character of the texts.
  static Patterns sortedPatterns() {
    Patterns patterns;
    for (std::size_t row = 0; row < std::size(kTraceTexts); ++row) {
      const std::string_view text = kTraceTexts[row];
      const std::size_t star = text.find('*');
      const std::string_view within = star == text.npos ? "" : text.substr(star + 1);
      patterns[static_cast<unsigned char>(text.front())].push_back({row, text.substr(0, star), within});
    }
    return patterns;
  }

  std::array<std::uint64_t, std::size(kTraceTexts)> counts_{};
};

}  // namespace quarnex::simulation
