// Makes rare but documented outcomes happen to the hosts of a test, from its seed, and notes which of them
// the hosts have met.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/simulated/random.h"
#include "quarnex/testing.h"
#include "simulation/faults/faulty_services.h"

namespace quarnex::testkit {

class Stage;
struct Cast;

/// All that the kit knows.
std::vector<RareOutcome> rareOutcomes();

class RareMode {
 public:
  RareMode(Stage& stage, std::uint64_t seed);

  /// Nothing more is caused, and everything that lasts ends, stalls within 20 seconds.
  void calm();
  bool isCalm() const { return calm_; }

  // Occasions, each of which may cause an outcome.
  void decide(simulated::CallFate& fate);
  std::vector<simulated::Piece> pass(simulated::Connection& connection, bool fromCaller,
                                     std::vector<simulated::Piece> pieces);
  std::optional<simulation::OperationFault> failureOf(const ServiceCall& call);
  /// A host's loop has turned; its code comes next.
  void turned(Cast& cast);

  /// A host has met the outcome of that name.
  void meet(std::string_view name) { met_.emplace(name); }
  const std::set<std::string>& met() const { return met_; }
  /// The latest causes, with their times.
  const std::deque<std::string>& latestCauses() const { return latestCauses_; }

 private:
  /// The part of a link's snapshot that shows outcomes when it changes.
  struct SeenLink {
    std::uint64_t reconnections = 0;
    bool hadTexts = false;
    std::optional<std::pair<FailureKind, std::int64_t>> failure;
  };
  using Direction = std::pair<std::int32_t, bool>;  // of a port; true = from its caller

  /// True if the cause is to act now. `likelier` multiplies its chance.
  bool happens(std::string_view cause, std::uint32_t likelier = 1);
  void causeOnTurn(Cast& cast);
  void silence(const TestHost& host);
  void cutLater(simulated::Connection& connection, std::int16_t code) const;
  void follow(Direction direction, std::string_view frame);
  void look(const TestHost& host, const LinkSnapshot& link);
  void lookAtOutcomes(const LinkSnapshot& link);

  Stage& stage_;
  simulated::Random random_;
  bool calm_ = false;
  std::set<std::string_view> enabled_;  // causes of this run
  std::vector<std::shared_ptr<Fault>> lasting_;
  std::set<std::string> met_;
  std::deque<std::string> latestCauses_;
  std::map<std::pair<const TestHost*, std::int16_t>, SeenLink> links_;
  std::map<Direction, std::string> batches_;  // delivered, but no acknowledgement of them is
};

}  // namespace quarnex::testkit
