// Site: pairs of hosts with many links between them, their traffic, and what becomes of it.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/simulated/random.h"
#include "platform/simulated/world.h"

namespace quarnex::simulated {

struct LinkPlan {
  std::string type;
  std::int16_t identifier;
  bool client;
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
  /// Whether the application takes what has arrived, about once a second.
  void setPolling(bool polling) { polling_ = polling; }
  std::uint64_t textsSent() const { return textsSent_; }
  std::uint64_t textsTaken() const { return textsTaken_; }

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
  std::uint64_t textsTaken_ = 0;
};

class Site {
 public:
  /// `pairs` pairs of hosts, each pair on a machine of its own with `links` links in both roles between its
  /// two hosts.
  Site(World& world, int pairs, int links);

  World& world() { return world_; }
  std::vector<std::unique_ptr<Place>>& places() { return places_; }
  int links() const { return links_; }
  void start();
  bool allConnected();

 private:
  World& world_;
  int links_;
  std::vector<std::unique_ptr<Place>> places_;
};

}  // namespace quarnex::simulated
