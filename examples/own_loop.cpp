// The library in a poll(2) loop of the host's own, beside standard input: lines go in at one end of a link
// and come out at the other.
#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <iostream>
#include <string>

#include "quarnex/event_report.h"
#include "quarnex/host_loop.h"
#include "quarnex/quarn_socket.h"

namespace {

/// Reads standard input once and sends its complete lines; returns false at the end of the input.
bool sendLines(quarnex::QuarnSocket& quarn, std::int16_t link, std::string& pending) {
  char bytes[4096];
  const ssize_t count = read(STDIN_FILENO, bytes, sizeof bytes);
  if (count <= 0) return false;
  pending.append(bytes, static_cast<std::size_t>(count));
  for (std::size_t end = pending.find('\n'); end != std::string::npos; end = pending.find('\n')) {
    quarn.Invia(link, pending.substr(0, end));
    pending.erase(0, end + 1);
  }
  return true;
}

bool allAcknowledged(const quarnex::LinkSnapshot& link) {
  return link.outbound == 0 && !link.batchInFlight;
}

void printItems(quarnex::QuarnSocket& quarn, std::int16_t link) {
  while (quarn.MessaggioArrivato(link)) {
    const bool isReport = quarn.reportWaits(link);
    const std::string item = quarn.GetMessaggioArrivato(link);
    if (!isReport) std::cout << item << std::endl;
  }
}

}  // namespace

int main() {
  quarnex::QuarnSocket quarn;
  quarnex::HostLoop loop;
  quarn.Init("");
  const auto server = quarn.Add("METEO", 8, false, true);
  const auto client = quarn.Add("METEO", 8, true, true);
  quarn.Apri(server);
  quarn.Apri(client);
  std::string pending;
  bool inputOpen = true;
  bool leaving = false;
  while (quarn.ProntoPerUscire() == 0) {
    // Input waits while the link is down, because the next attempt to connect may drop queued texts.
    const bool takesInput = inputOpen && quarn.Connesso(client);
    pollfd waited[] = {{loop.fd(), POLLIN, 0}, {takesInput ? STDIN_FILENO : -1, POLLIN, 0}};
    poll(waited, 2, -1);
    if (waited[1].revents != 0) inputOpen = sendLines(quarn, client, pending);
    if (waited[0].revents != 0) loop.turn(std::chrono::milliseconds(0));
    printItems(quarn, server);
    printItems(quarn, client);
    if (!leaving && !inputOpen && allAcknowledged(quarn.snapshot(client))) {
      quarn.Uscita();
      leaving = true;
    }
  }
}
