// Two hosts on one machine, a server and a client, each with the same links towards the other.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "simulation/sites/world.h"

namespace quarnex::simulation {

/// Seconds within which links connect (again) after the last fault: 60 until a call or a listen fails, 10
/// until the next attempt, up to 20 until that of the other side, and the ticks between.
constexpr std::int64_t kRecoverySeconds = 95;

struct Pair {
  explicit Pair(std::uint64_t seed = 1, int links = 1) : world(seed), linkCount(links) {}

  void add() {
    for (Host* host : hosts) {
      host->quarn().Init("");
      for (int id = 1; id <= linkCount; ++id)
        host->quarn().Add("ABC", static_cast<std::int16_t>(id), host == &client, true);
    }
  }
  void open() {
    for (Host* host : hosts)
      for (int link = 1; link <= linkCount; ++link) host->quarn().Apri(static_cast<std::int16_t>(link));
  }
  bool connected(std::int16_t link = 1) {
    return server.quarn().Connesso(link) && client.quarn().Connesso(link);
  }
  bool connects(std::int16_t link = 1) {
    return world.runUntil([&] { return connected(link); }, kRecoverySeconds);
  }
  /// Sends `text` and returns true if it arrives; drops other texts.
  bool delivers(Host& from, Host& to, const std::string& text, std::int16_t link = 1) {
    from.quarn().Invia(link, text);
    return world.runUntil([&] { return std::ranges::count(take(to, link), text) > 0; }, 30);
  }
  bool deliversBothWays(std::int16_t link = 1) {
    return delivers(client, server, "question", link) && delivers(server, client, "answer", link);
  }
  /// Takes all texts and reports that have arrived for the host.
  static std::vector<std::string> take(Host& host, std::int16_t link = 1) {
    std::vector<std::string> items;
    while (host.quarn().MessaggioArrivato(link)) items.push_back(host.quarn().GetMessaggioArrivato(link));
    return items;
  }

  World world;
  int linkCount;
  Host& server = world.addHost();
  Host& client = world.addHost();
  std::array<Host*, 2> hosts{&server, &client};
};

}  // namespace quarnex::simulation
