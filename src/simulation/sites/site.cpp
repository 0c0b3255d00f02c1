#include "simulation/sites/site.h"

#include <algorithm>
#include <utility>

namespace quarnex::simulation {
namespace {

// 0 to 999: messages have three digits for it.
std::int16_t identifierOf(int tcpLink) {
  return static_cast<std::int16_t>(tcpLink % kTcpLinksMax);
}

}  // namespace

Place::Place(World& world, Host& host, std::vector<LinkPlan> plan, Random random)
    : world_(world), host_(host), plan_(std::move(plan)), random_(random) {}

void Place::start(bool shuffled) {
  if (shuffled) shuffle();
  host_.start();
  host_.quarn().Init("");
  const std::uint64_t failures = host_.faults.failures();
  for (const LinkPlan& link : plan_) host_.quarn().Add(link.type, link.identifier, link.client, link.tcp);
  sound_ = host_.faults.failures() == failures;
  open();
  if (next_.order == 0) act();
}

void Place::open() {
  for (std::size_t i = 1; i <= plan_.size(); ++i) host_.quarn().Apri(static_cast<std::int16_t>(i));
}

bool Place::allConnected() {
  for (std::size_t i = 1; i <= plan_.size(); ++i) {
    if (!host_.running() || !host_.quarn().Connesso(static_cast<std::int16_t>(i))) return false;
  }
  return true;
}

void Place::shuffle() {
  for (std::size_t i = plan_.size(); i > 1; --i)
    std::swap(plan_[i - 1], plan_[random_.below(static_cast<std::uint32_t>(i))]);
}

void Place::act() {
  const Milliseconds pause = pause_ > 0 ? random_.between(1, 2 * pause_) : kSecond;
  next_ = world_.time().at(host_.loop.turnAt(world_.time().now() + pause), [this] { act(); });
  if (!host_.running() || host_.loop.stalled()) return;
  if (polling_) takeAll();
  if (pause_ == 0) return;
  const auto link = static_cast<std::int16_t>(1 + random_.below(static_cast<std::uint32_t>(plan_.size())));
  send(link, 1);
}

void Place::send(std::int16_t link, int texts) {
  for (; texts > 0; --texts)
    host_.quarn().Invia(link, "text " + std::to_string(++textsSent_) + std::string(random_.below(200), '.'));
}

void Place::takeAll() {
  for (std::size_t i = 1; i <= plan_.size(); ++i) {
    const auto link = static_cast<std::int16_t>(i);
    while (host_.quarn().MessaggioArrivato(link)) host_.quarn().GetMessaggioArrivato(link);
  }
}

Site::Site(World& world, int pairs, int links) : world_(world), tcpLinks_(std::min(links, kTcpLinksMax)) {
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

std::vector<LinkPlan> Site::planOf(bool first) const {
  std::vector<LinkPlan> plan;
  for (int i = 1; i <= tcpLinks_; ++i) plan.push_back({"ABC", identifierOf(i), (i % 2 == 0) == first});
  for (int i = 0; i < localLinks_; ++i) {
    const int identifier = kTcpLinksMax + i / 2 * 2 + (first ? 0 : 1);
    plan.push_back({"LOCAL", static_cast<std::int16_t>(identifier), i % 2 == 0, false});
  }
  return plan;
}

std::int16_t Site::anyIdentifier(Random& random) const {
  return identifierOf(1 + static_cast<int>(random.below(static_cast<std::uint32_t>(tcpLinks_))));
}

void Site::start() {
  for (const auto& place : places_) place->start();
}

bool Site::allConnected() {
  return std::all_of(places_.begin(), places_.end(), [](const auto& place) { return place->allConnected(); });
}

}  // namespace quarnex::simulation
