// Site: pairs of hosts with many links between them, their traffic, and what becomes of it.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/simulated/random.h"
#include "simulation/sites/world.h"

namespace quarnex::simulation {

struct LinkPlan {
  std::string type;
  std::int16_t identifier;
  bool client;
  bool tcp = true;
};

/// A host, the links that it is to have, and the traffic that its application makes.
class Place {
 public:
  Place(World& world, Host& host, std::vector<LinkPlan> plan, Random random);
  ~Place() { world_.time().cancel(next_); }
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;

  Host& host() { return host_; }
  /// In the order of the links' indexes.
  const std::vector<LinkPlan>& plan() const { return plan_; }

  /// A fresh process: registers the links, in another order if `shuffled`, and opens them.
  void start(bool shuffled = false);
  /// Opens all links; those that are connected lose nothing.
  void open();
  bool allConnected();
  /// False if a failure hit the registration of its links, which only another start can mend, or if it has
  /// shut down.
  bool sound() { return sound_ && !host_.library().InUscita; }

  /// Sends a text to a link drawn at random about every so many milliseconds; 0 = stops.
  void setTraffic(Milliseconds pause);
  /// Sends that many texts to a link, now.
  void send(std::int16_t link, int texts);
  /// Whether the application takes what has arrived, about once a second.
  void setPolling(bool polling) { polling_ = polling; }

 private:
  void shuffle();
  void act();
  void takeAll();

  World& world_;
  Host& host_;
  std::vector<LinkPlan> plan_;
  Random random_;
  Milliseconds pause_ = 0;
  bool polling_ = true;
  bool sound_ = true;
  VirtualTime::Appointment next_;
  std::uint64_t textsSent_ = 0;
};

/// With one type of peer, more links than this cannot have a port each and be told apart in messages.
constexpr int kTcpLinksMax = 1000;
constexpr std::int32_t kPortOfIdentifier0 = 20100;

class Site {
 public:
  /// `pairs` pairs of hosts, each pair on a machine of its own with `links` links in both roles between its
  /// two hosts. What is beyond 1000 has no TCP: such links go in twos from a host to itself. Smaller sites
  /// have two of them on each host, or none, as the seed has it.
  Site(World& world, int pairs, int links);

  World& world() { return world_; }
  std::vector<std::unique_ptr<Place>>& places() { return places_; }
  /// Of each host.
  int tcpLinks() const { return tcpLinks_; }
  /// Of one of them; each host has the same.
  std::int16_t anyIdentifier(Random& random) const;
  void start();
  bool allConnected();

 private:
  std::vector<LinkPlan> planOf(bool first) const;

  World& world_;
  int tcpLinks_;
  int localLinks_;
  std::vector<std::unique_ptr<Place>> places_;
};

}  // namespace quarnex::simulation
