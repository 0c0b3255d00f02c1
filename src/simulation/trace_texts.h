// The trace texts of the engine, once: what a long simulation is to have seen of them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

namespace quarnex::simulation {

/// A text that begins with the one and holds the other. Of several that fit, the first counts.
struct TraceText {
  std::string_view name;
  std::string_view begin;
  std::string_view within{};
};

// Two are missing. "error QUARN Handler": the steps of a link settle their own failures, so only a step that
// was replaced can make it. "error TCP Apri scheda": so do the steps of an activation, but for reading the
// clock; none fails, and a recording could not tell of it.
inline constexpr TraceText kTraceTexts[] = {
    {"+++", "++++"},
    {"R>:", "R>:"},
    {"R>", "R>"},
    {"I>:", "I>:"},
    {"I>", "I>"},
    {"X:", "X:"},
    {"P:X000E0109", "P:X000E0109"},
    {"P:X000E0112", "P:X000E0112"},
    {"P:X000E0701", "P:X000E0701"},
    {"P:X000E0702", "P:X000E0702"},
    {"P:X000E0991", "P:X000E0991"},
    {"P:X000E0992", "P:X000E0992"},
    {"P:X000E0993", "P:X000E0993"},
    {"P:Errore AddHQUARN", "P:Errore: ", "error HTCP: AddHQUARN"},
    {"P:Errore ETH Handler_ADV", "P:Errore: ", "error ETH Handler_ADV"},
    {"P:Errore DividiMessaggio", "P:Errore: ", "error DividiMessaggio"},
    {"COMANDO:", "COMANDO:"},
    {"IN CANNA:", "IN CANNA:"},
    {"SCARTO:", "SCARTO:"},
    {"RADV>", "RADV>"},
    {"error cks>", "error cks>"},
    {"Client Socket State:", "Client Socket State:"},
    {"Server Socket", "Server Socket "},
    {"Accept Socket", "Accept Socket "},
    {"CHIAMO", "CHIAMO "},
    {"ASCOLTO", "ASCOLTO "},
    {"RIASCOLTO", " RIASCOLTO "},
    {"TIMEOUT ASCOLTO", "TIMEOUT ASCOLTO "},
    {"ADD", "ADD "},
    {"ATTIVATO SOCKET CLIENT", "ATTIVATO SOCKET CLIENT "},
    {"ATTIVATO SOCKET SERVER", "ATTIVATO SOCKET SERVER "},
    {"NON RISPONDE", "NON RISPONDE "},
    {"ETH_Riconnetti", "ETH_Riconnetti "},
    {"Client CONNESSO", "Client CONNESSO "},
    {"Server CONNESSO", "Server CONNESSO "},
    {"ClientSocket_Connect", "ClientSocket_Connect ERROR CODE :"},
    {"ClientSocket_Close", "ClientSocket_Close ERROR CODE :"},
    {"ClientSocket_Receive", "ClientSocket_Receive ERROR CODE :"},
    {"ServerSocket_Accept", "ServerSocket_Accept ERROR CODE :"},
    {"ServerSocket_Close", "ServerSocket_Close ERROR CODE :"},
    {"SrvAccept_Close", "SrvAccept_Close ERROR CODE :"},
    {"SrvAccept_Receive", "SrvAccept_Receive ERROR CODE :"},
    {"DISCONNETTO Client", "ETH ", "DISCONNETTO Client "},
    {"DISCONNETTO Server", "ETH ", "DISCONNETTO Server "},
    {"Errore CHIAMO", "ETH ", "Errore CHIAMO "},
    {"Errore ASCOLTO", "ETH ", "Errore ASCOLTO "},
    {"Errore non si connette", "ETH ", " non si connette! Tentativi:"},
    {"Errore non chiama", "ETH ", " non chiama!"},
    {"Errore Timeout HandleStato_B", "ETH ", "Errore Timeout HandleStato_B"},
    {"Errore Invio", "ETH ", "Errore Invio "},
    {"TIMEOUT Alive", "ETH ", "TIMEOUT Alive "},
};
constexpr std::size_t kTraceTextCount = std::size(kTraceTexts);

class TraceCounts {
 public:
  void add(std::string_view text);
  const std::array<std::uint64_t, kTraceTextCount>& counts() const { return counts_; }

 private:
  std::array<std::uint64_t, kTraceTextCount> counts_{};
};

}  // namespace quarnex::simulation
