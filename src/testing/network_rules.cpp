#include "testing/network_rules.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>

#include "quarnex/ports.h"
#include "testing/stage.h"

namespace quarnex::testkit {
namespace {

using Effect = NetworkRule::Effect;

bool usesPort(const ConnectionRecord& record, std::int32_t port, bool client) {
  return (client ? record.IdxClient : record.IdxServer) > 0 &&
         record.IdQuarn <= kLastFreePort - kFirstFreePort &&
         PortaPerTipo(record.Tipo, record.IdQuarn) == port;
}

bool hasLinkAt(Library& library, std::int32_t port, bool client) {
  for (int link = 1; link <= library.ConnectionCount; ++link)
    if (usesPort(library.ConnectionTable[static_cast<std::int16_t>(link)], port, client)) return true;
  return false;
}

}  // namespace

NetworkRules::NetworkRules(Stage& stage) : stage_(stage) {
  simulated::Network& network = stage.world().network();
  network.onCall = [this](const simulated::Call& call) { return fateOf(call); };
  network.onConnection = [this](simulated::Connection& connection) { join(connection); };
}

Fault NetworkRules::add(std::vector<NetworkRule> rules) {
  const auto own =
      std::make_shared<Rules>(std::make_move_iterator(rules.begin()), std::make_move_iterator(rules.end()));
  std::vector<const NetworkRule*> added;
  for (const NetworkRule& rule : *own) added.push_back(&rule);
  rules_.splice(rules_.end(), *own);
  apply();
  return Fault([this, added] {
    rules_.remove_if([&](const NetworkRule& rule) { return std::ranges::count(added, &rule) > 0; });
    apply();
  });
}

// The only running host with a link of that role at a port; nullptr if there is none or more than one.
const TestHost* NetworkRules::hostAt(std::int32_t port, bool client) const {
  const TestHost* found = nullptr;
  for (const Cast& cast : stage_.casts()) {
    if (!cast.engine.running() || !hasLinkAt(cast.engine.library(), port, client)) continue;
    if (found != nullptr) return nullptr;
    found = cast.host.get();
  }
  return found;
}

simulated::CallFate NetworkRules::fateOf(const simulated::Call& call) const {
  const TestHost* const called = hostAt(call.to.port, false);
  simulated::CallFate fate;
  for (const NetworkRule& rule : rules_) {
    if (rule.effect == Effect::Refuse && rule.to == called) fate.code = simulated::kConnectionRefused;
    const bool stopsCalls = rule.effect == Effect::Lose || rule.effect == Effect::Hold;
    fate.hangs = fate.hangs || (stopsCalls && rule.joins(performing, called));
  }
  if (stage_.rare() != nullptr && !fate.hangs && fate.code == 0) stage_.rare()->decide(fate);
  return fate;
}

void NetworkRules::join(simulated::Connection& connection) {
  const std::int32_t port = connection.port.port;
  const auto route =
      std::make_shared<Route>(Route{connection.weak_from_this(), hostAt(port, true), hostAt(port, false)});
  routes_.remove_if([](const auto& one) { return one->connection.expired(); });
  routes_.push_back(route);
  connection.caller.tamper = [this, route](std::string_view sent) { return pass(*route, true, sent); };
  connection.called.tamper = [this, route](std::string_view sent) { return pass(*route, false, sent); };
  simulated::VirtualTime& time = stage_.world().time();
  time.at(time.now(), [this] { apply(); });
}

std::vector<simulated::Piece> NetworkRules::pass(Route& route, bool fromCaller, std::string_view sent) {
  (fromCaller ? route.caller : route.called) = performing;
  const TestHost* const to = fromCaller ? route.called : route.caller;
  std::vector<simulated::Piece> pieces{{std::string(sent)}};
  for (NetworkRule& rule : rules_) {
    if (rule.from != performing || rule.to != to) continue;
    if (rule.effect == Effect::Lose) return {};
    if (rule.effect == Effect::Damage && !pieces.empty()) pieces = rule.tamper(pieces[0].bytes);
  }
  const auto connection = route.connection.lock();
  if (stage_.rare() == nullptr || !connection) return pieces;
  return stage_.rare()->pass(*connection, fromCaller, std::move(pieces));
}

// Resets connections and holds their directions, or releases them, as the rules want it now.
void NetworkRules::apply() {
  for (const auto& route : routes_) {
    const auto connection = route->connection.lock();
    if (!connection) continue;
    const auto any = [&](Effect effect, const TestHost* from, const TestHost* to) {
      return std::ranges::any_of(rules_, [&](const NetworkRule& rule) {
        return rule.effect == effect && rule.from == from && rule.to == to;
      });
    };
    const TestHost* const caller = route->caller;
    const TestHost* const called = route->called;
    any(Effect::Hold, caller, called) ? connection->caller.hold() : connection->caller.release();
    any(Effect::Hold, called, caller) ? connection->called.hold() : connection->called.release();
    if (any(Effect::Reset, caller, called) || any(Effect::Reset, called, caller))
      connection->cutBoth(simulated::kConnectionReset);
  }
}

}  // namespace quarnex::testkit
