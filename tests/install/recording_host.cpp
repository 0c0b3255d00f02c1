// A host outside this project that records its library: one link inside the process, and a failure that is
// caught.
#include <iostream>

#include "quarnex/flight_recorder.h"
#include "quarnex/quarn_socket.h"
#include "quarnex/version.h"

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  quarnex::recordFlight(argv[1]);
  quarnex::QuarnSocket quarn;
  const auto from = quarn.Add("METEO", 7, true, false);
  const auto to = quarn.Add("METEO", 7, false, false);
  quarn.Invia(from, "HELLO");
  quarn.Init("/no/such/folder/");
  try {
    quarn.AttivaLog();
  } catch (const quarnex::Failure& failure) {
    std::cout << QUARNEX_VERSION << ' ' << quarn.GetMessaggioArrivato(to) << ' ' << failure.number() << '\n';
  }
}
