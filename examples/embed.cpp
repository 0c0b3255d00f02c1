// The two ends of one link in one process. A host of your own usually has one end only.
#include <iostream>

#include "quarnex/host.h"

int main() {
  using namespace std::chrono_literals;
  quarnex::Host host;
  quarnex::Link server = host.listen("METEO", 7), client = host.call("METEO", 7);  // port 20107
  for (quarnex::Link link : {server, client}) link.open();
  for (bool sent = false; !host.readyToExit(); host.turn(200ms)) {  // everything happens in turn
    if (!sent && client.connected()) sent = bool(client.send("HELLO"));
    for (quarnex::Link link : host.linksWithNews())
      while (const auto text = link.receive()) {
        std::cout << "received " << *text << '\n';
        host.leave(10s);  // closes both ends once every text is acknowledged
      }
  }
}
