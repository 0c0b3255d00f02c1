// The two ends of one link in one process, with the 15 methods. A host of your own usually has one end only.
#include <chrono>
#include <iostream>

#include "quarnex/event_report.h"
#include "quarnex/host_loop.h"
#include "quarnex/quarn_socket.h"

int main() {
  quarnex::QuarnSocket quarn;
  quarnex::HostLoop loop;
  quarn.Init("");  // prefix of the log file's name, if a log is wanted
  const auto server = quarn.Add("METEO", 7, false, true);  // listens on port 20107
  const auto client = quarn.Add("METEO", 7, true, true);   // calls 127.0.0.1:20107
  quarn.Apri(server);
  quarn.Apri(client);
  for (bool sent = false; quarn.ProntoPerUscire() == 0;) {
    loop.turn(std::chrono::milliseconds(200));  // everything happens in here
    if (!sent && quarn.Connesso(client)) {
      quarn.Invia(client, "HELLO");
      sent = true;
    }
    while (quarn.MessaggioArrivato(server)) {
      const bool isReport = quarn.reportWaits(server);
      const std::string item = quarn.GetMessaggioArrivato(server);
      const auto report = quarnex::parseEventReport(item);
      if (isReport && report) {
        std::cout << "report " << report->code << ' ' << report->detail << '\n';
      } else {
        std::cout << "received " << item << '\n';
        quarn.Uscita();  // ProntoPerUscire returns -1 once both ends have closed
      }
    }
  }
}
