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

// All but two of the engine's. "error QUARN Handler": the steps of a link settle their own failures, so only
// a step that was replaced can make it. "error TCP Apri scheda": so do the steps of an activation, but for
// reading the clock; none fails, and a recording could not tell of it.
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
    {"Client CHIUDE", "Client CHIUDE "},
    {"Server CHIUDE", "Server CHIUDE "},
    {"Accept CHIUDE", "Accept CHIUDE "},
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
    {"Chiuso socket client", "ETH ", "Chiuso/disattivato socket client "},
    {"Chiuso socket server", "ETH ", "Chiuso/disattivato socket server "},
    {"error 10038", "ETH ", ":10038  Socket operation on non-socket."},
    {"error 10048", "ETH ", ":10048  The specified address is already in use."},
    {"error 10049", "ETH ", ":10049  The specified address is not available."},
    {"error 10053", "ETH ", ":10053  The current connection has been aborted by the network."},
    {"error 10060", "ETH ", ":10060  The current connection has timed out."},
    {"error 10061", "ETH ", ":10061  The requested connection has been refused by the remote host."},
    {"error 10064", "ETH ", ":10064  Remote host is currently unavailable."},
    {"error 10065", "ETH ", ":10065  Remote host is currently unreachable."},
    {"error 10091", "ETH ", ":10091  Remote system is not ready."},
    {"ErrorCode", "ETH ", "ErrorCode:"},
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
