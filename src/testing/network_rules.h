// The faults of the network between the hosts of a test, each for as long as its rule exists.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/simulated/simulated_network.h"
#include "quarnex/testing.h"
#include "simulation/faults/tampering.h"

namespace quarnex::testkit {

using simulated::Milliseconds;

class Stage;

/// One fault in one direction.
struct NetworkRule {
  enum class Effect : std::uint8_t {
    Lose,    ///< frames are lost; calls between the two hosts get no answer
    Hold,    ///< frames wait for the end of the rule; calls between the two hosts get no answer
    Damage,  ///< frames are changed
    Reset,   ///< connections end with a reset
    Refuse   ///< calls to `to` are refused, whoever makes them
  };

  Effect effect;
  const TestHost* from;
  const TestHost* to;
  simulated::Tamper tamper{};  // of `Damage`

  bool joins(const TestHost* one, const TestHost* other) const {
    return (from == one && to == other) || (from == other && to == one);
  }
};

class NetworkRules {
 public:
  explicit NetworkRules(Stage& stage);
  NetworkRules(const NetworkRules&) = delete;
  NetworkRules& operator=(const NetworkRules&) = delete;

  /// The rules last as long as the fault.
  Fault add(std::vector<NetworkRule> rules);

  /// The host whose library performs an operation, set before each; it sends or calls.
  const TestHost* performing = nullptr;

 private:
  using Rules = std::list<NetworkRule>;
  /// The hosts at the ends of a connection.
  struct Route {
    std::weak_ptr<simulated::Connection> connection;
    const TestHost* caller;  // nullptr until it sends, where several hosts may call the port
    const TestHost* called;
  };

  const TestHost* hostAt(std::int32_t port, bool client) const;
  simulated::CallFate fateOf(const simulated::Call& call) const;
  void join(simulated::Connection& connection);
  std::vector<simulated::Piece> pass(Route& route, bool fromCaller, std::string_view sent);
  void apply();

  Stage& stage_;
  Rules rules_;
  std::list<std::shared_ptr<Route>> routes_;
};

}  // namespace quarnex::testkit
