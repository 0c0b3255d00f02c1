// Check: base of the rules for one engine. Holds the observations on which a rule may rely.
//
// Checks in this folder share no constant and no function with the engine. They know it by its calls of
// service operations, its trace texts, and the calls of its host.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/simulated/simulated_sockets.h"
#include "platform/simulated/virtual_time.h"
#include "services/observer.h"
#include "services/operation.h"
#include "services/wall_clock.h"
#include "simulation/checks/independent/text_ledger.h"
#include "simulation/checks/independent/trace_texts.h"

namespace quarnex::simulation {
using namespace simulated;

struct SiteCounts {
  TraceCounts traces{};
  std::map<int, std::uint64_t> reports{};  ///< event reports, by code
  std::uint64_t steps = 0;
  std::uint64_t framesSent = 0;
  std::array<std::uint64_t, 3> receipts{};  ///< numbers of texts, by outcome
  std::uint64_t receiptsExcused = 0;  ///< wrong ones after a frame that fitted by chance or was repeated
};

/// What the checks of all engines of one site share.
struct SiteObservations : SiteCounts {
  explicit SiteObservations(const VirtualTime& now, bool known = true) : time(now), peersKnown(known) {}

  const VirtualTime& time;
  bool peersKnown;  ///< their engines are checked too, so the ledger knows every text they sent
  TextLedger ledger{};
};

/// A link as its host added it.
struct AddedLink {
  std::int16_t identifier = 0;
  bool client = false;
  bool tcp = false;
  TextFlow* sent = nullptr;      ///< texts from this link to its peer; nullptr before the link is added
  TextFlow* received = nullptr;  ///< and back
};

/// The outermost step under way.
struct StepFacts {
  std::uint64_t parts = 0;       ///< steps nested in it, itself included
  std::uint64_t ticks = 0;       ///< among them
  std::int16_t link = 0;         ///< the only link that the step concerns if nothing nests in it; 0 = all
  std::optional<Instant> clock;  ///< latest reading of the clock
  bool steady = true;            ///< all readings were the same

  bool isLoneTick() const { return parts == 1 && ticks == 1; }
  /// In a lone tick that has read the clock: true while, or once, the second of `deadline` is not over.
  bool isBefore(Instant deadline) const { return isLoneTick() && clock && *clock <= deadline; }
  bool isAfter(Instant deadline) const { return isLoneTick() && clock && *clock > deadline; }
};

/// What the checks of one engine share.
struct EngineObservations {
  SiteObservations& site;
  int host = 0;                               ///< number of the host, from 1; 0 = unknown
  int machine = 0;                            ///< on which the host runs
  const SimulatedSockets* sockets = nullptr;  ///< nullptr = unknown
  std::function<void(std::int16_t link, std::string_view text)> report{};  ///< reports a finding
  StepFacts step{};
  std::vector<AddedLink> added{1};  ///< by index; the first stands for no link

  /// Excuses losses and repetitions in both directions of a link.
  void excuse(std::int16_t link, Cause cause) {
    for (TextFlow* flow : {at(link).sent, at(link).received})
      if (flow != nullptr) flow->excuse(cause, site.time.now());
  }
  AddedLink& at(std::int16_t link) { return added[static_cast<std::size_t>(link)]; }
};

struct HostCall {
  std::string_view method;
  std::int16_t link = 0;  ///< that it names, or adds; 0 if there is none
  std::span<const Value> parameters;
};

/// Like `starts_with`, but faster for the many texts that differ in the first character.
inline bool begins(std::string_view text, std::string_view with) {
  return !text.empty() && text.front() == with.front() && text.starts_with(with);
}

/// A value of each link or socket instance, by its index.
template <class Value>
class PerIndex {
 public:
  Value& operator[](std::int16_t index) {
    const auto slot = static_cast<std::size_t>(index);
    if (slot >= values_.size()) values_.resize(slot + 1);
    return values_[slot];
  }

 private:
  std::vector<Value> values_;
};

/// A rule hides the members that it needs; the members here do nothing. Link 0 stands for no link.
class Check {
 public:
  explicit Check(EngineObservations& engine) : engine_(engine) {}

  void added(std::int16_t /*link*/) {}
  void called(const HostCall& /*call*/) {}
  void returned(const HostCall& /*call*/, const Value& /*result*/) {}
  void traced(std::int16_t /*link*/, std::string_view /*text*/) {}
  /// The engine is about to send, connect or listen.
  void performs(std::int16_t /*link*/, const ServiceCall& /*call*/) {}
  /// The link has a new connection.
  void connects(std::int16_t /*link*/) {}
  void fails(std::int16_t /*link*/, const ServiceCall& /*call*/) {}
  /// The outermost step has ended. `before` is the link's record after the step before, `after` its record
  /// now. Links that cannot have changed are left out.
  template <class Before, class After>
  void changed(std::int16_t /*link*/, const Before& /*before*/, const After& /*after*/) {}
  /// Likewise, without leaving out any link, when the step concerned all links.
  template <class Before, class After>
  void visited(std::int16_t /*link*/, const Before& /*before*/, const After& /*after*/) {}
  /// Once a second or more often, after a step.
  void secondEnded() {}

 protected:
  EngineObservations& engine_;
};

}  // namespace quarnex::simulation
