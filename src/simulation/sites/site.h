// Site: pairs of hosts with many links between them, and the texts that their applications send.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
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
  Place(World& world, Host& host, std::vector<LinkPlan> plan, Random random)
      : world_(world), host_(host), plan_(std::move(plan)), random_(random) {}
  ~Place() { world_.time().cancel(next_); }
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;

  Host& host() { return host_; }
  /// In the order of the links' indexes.
  const std::vector<LinkPlan>& plan() const { return plan_; }

  /// Starts a fresh process, registers the links, in another order if `shuffled`, and opens them.
  void start(bool shuffled = false) {
    for (std::size_t i = plan_.size(); shuffled && i > 1; --i)
      std::swap(plan_[i - 1], plan_[random_.below(i)]);
    host_.start();
    host_.quarn().Init("");
    const std::uint64_t failures = host_.faults.failures();
    for (const LinkPlan& link : plan_) host_.quarn().Add(link.type, link.identifier, link.client, link.tcp);
    sound_ = host_.faults.failures() == failures;
    open();
    if (next_.order == 0) act();
  }
  /// Opens all links; this changes nothing for connected links.
  void open() {
    for (std::size_t i = 1; i <= plan_.size(); ++i) host_.quarn().Apri(static_cast<std::int16_t>(i));
  }
  bool allConnected() {
    for (std::size_t i = 1; i <= plan_.size(); ++i) {
      if (!host_.running() || !host_.quarn().Connesso(static_cast<std::int16_t>(i))) return false;
    }
    return true;
  }
  /// False if an operation failed while the links were registered, which only another start repairs, or if
  /// the host has shut down.
  bool sound() { return sound_ && !host_.library().InUscita; }

  /// Sends a text on a random link about every `pause` milliseconds; 0 = stops.
  void setTraffic(Milliseconds pause) { pause_ = pause; }
  /// Sends so many texts on a link now.
  void send(std::int16_t link, int texts) {
    for (; texts > 0; --texts)
      host_.quarn().Invia(link,
                          "text " + std::to_string(++textsSent_) + std::string(random_.below(200), '.'));
  }
  /// Chooses whether the application takes arrived texts, about once a second.
  void setPolling(bool polling) { polling_ = polling; }

 private:
  void act() {
    const Milliseconds pause = pause_ > 0 ? random_.between(1, 2 * pause_) : kSecond;
    next_ = world_.time().at(host_.loop.turnAt(world_.time().now() + pause), [this] { act(); });
    if (!host_.running() || host_.loop.stalled()) return;
    if (polling_) takeAll();
    if (pause_ == 0) return;
    send(static_cast<std::int16_t>(1 + random_.below(plan_.size())), 1);
  }
  void takeAll() {
    for (std::size_t i = 1; i <= plan_.size(); ++i) {
      const auto link = static_cast<std::int16_t>(i);
      while (host_.quarn().MessaggioArrivato(link)) host_.quarn().GetMessaggioArrivato(link);
    }
  }

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
  Site(World& world, int pairs, int links) : world_(world), tcpLinks_(std::min(links, kTcpLinksMax)) {
    localLinks_ = links - tcpLinks_;
    if (localLinks_ == 0 && world.random().chance(500)) localLinks_ = 2;
    if (localLinks_ % 2 != 0) ++localLinks_, --tcpLinks_;
    for (int pair = 1; pair <= pairs; ++pair) {
      for (const bool first : {true, false}) {
        Host& host = world.addHost(pair);
        places_.push_back(std::make_unique<Place>(world, host, planOf(first), world.random()));
      }
    }
  }

  World& world() { return world_; }
  std::vector<std::unique_ptr<Place>>& places() { return places_; }
  /// Number of TCP links of each host.
  int tcpLinks() const { return tcpLinks_; }
  /// The identifier of a random TCP link; all hosts have the same ones.
  std::int16_t anyIdentifier(Random& random) const {
    return identifierOf(1 + static_cast<int>(random.below(static_cast<std::uint32_t>(tcpLinks_))));
  }
  void start() {
    for (const auto& place : places_) place->start();
  }
  bool allConnected() {
    return std::all_of(places_.begin(), places_.end(),
                       [](const auto& place) { return place->allConnected(); });
  }

 private:
  std::vector<LinkPlan> planOf(bool first) const {
    std::vector<LinkPlan> plan;
    for (int i = 1; i <= tcpLinks_; ++i) plan.push_back({"ABC", identifierOf(i), (i % 2 == 0) == first});
    for (int i = 0; i < localLinks_; ++i) {
      const int identifier = kTcpLinksMax + i / 2 * 2 + (first ? 0 : 1);
      plan.push_back({"LOCAL", static_cast<std::int16_t>(identifier), i % 2 == 0, false});
    }
    return plan;
  }

  // 0 to 999: messages have three digits for it.
  static std::int16_t identifierOf(int tcpLink) { return static_cast<std::int16_t>(tcpLink % kTcpLinksMax); }

  World& world_;
  int tcpLinks_;
  int localLinks_;
  std::vector<std::unique_ptr<Place>> places_;
};

}  // namespace quarnex::simulation
