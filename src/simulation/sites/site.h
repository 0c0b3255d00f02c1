// Site: pairs of hosts with many links between them, and the texts that their applications send.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
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

/// A host, the links that it is to have, and its application.
class Place {
 public:
  Place(World& world, Host& host, std::vector<LinkPlan> plan, Random random);
  ~Place() { world_.time().cancel(next_); }
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;

  Host& host() { return host_; }
  /// In the order of the links' indexes.
  const std::vector<LinkPlan>& plan() const { return plan_; }

  /// Starts a fresh process, registers the links, in another order if `shuffled`, and opens them.
  void start(bool shuffled = false);
  /// Opens all links; this changes nothing for connected links.
  void open();
  bool allConnected();
  /// False if an operation failed while the links were registered, which only another start repairs, or if
  /// the host has shut down.
  bool sound() { return sound_ && !host_.library().InUscita; }

  /// Sends a text on a random link about every `pause` milliseconds; 0 = stops.
  void setTraffic(Milliseconds pause) { pause_ = pause; }
  /// Sends so many texts on a link now.
  void send(std::int16_t link, int texts);
  /// Chooses whether the application takes arrived texts, about once a second.
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

/// With one type of peer, no more links than this have a port each and different identifiers in messages.
constexpr int kTcpLinksMax = 1000;
constexpr std::int32_t kPortOfIdentifier0 = 20100;

class Site {
 public:
  /// `pairs` pairs of hosts, each pair on a machine of its own, with `links` links in both roles between its
  /// hosts. Links beyond 1000 have no TCP: they go in twos from a host to itself. Smaller sites have two of
  /// them on each host or none, as the seed decides.
  Site(World& world, int pairs, int links);

  World& world() { return world_; }
  std::vector<std::unique_ptr<Place>>& places() { return places_; }
  /// Number of TCP links of each host.
  int tcpLinks() const { return tcpLinks_; }
  /// The identifier of a random TCP link; all hosts have the same ones.
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
