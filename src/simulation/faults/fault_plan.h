// FaultPlan: draws from a seed which faults a site has and when they happen, and gives them random targets.
#pragma once

#include <cstdint>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "simulation/checks/independent/text_ledger.h"
#include "simulation/faults/fault.h"
#include "simulation/sites/site.h"

namespace quarnex::simulation {

/// No time may pass at the site after its plan is gone.
class FaultPlan {
 public:
  /// Of the faults in `allowed` some are off, some light, some heavy; large ones are always on.
  FaultPlan(Site& site, Random random, const FaultSet& allowed = *faultsNamed("all"));
  ~FaultPlan() { end(); }
  FaultPlan(const FaultPlan&) = delete;
  FaultPlan& operator=(const FaultPlan&) = delete;

  void begin();
  /// No more faults: strangers leave, everything held or on its way arrives, every host runs and has all
  /// resources. Clocks keep the time that they show, and a stalled host stays stalled for its time.
  void end();
  /// How long the effects last: until the last stall is over and clocks that were set back have caught up.
  Milliseconds aftermath();

  /// Called when links may begin to lose or repeat texts because of damage or a stranger: those with that
  /// port, from now on for `stay`.
  std::function<void(Cause cause, Address port, Milliseconds stay)> onAffected;

  /// The faults that are not off.
  const FaultSet& enabled() const { return enabledNames_; }
  /// How often each fault and each of their kinds has happened, by name.
  const std::map<std::string_view, std::uint64_t>& counts() const { return counts_; }

  // For the effects of faults:

  Site& site;
  Random random;

  bool isHeavy(std::string_view fault) const { return heavy_.contains(fault); }
  /// One more of a fault or of a kind; a name that no row has throws `std::out_of_range`.
  void count(std::string_view name) { ++counts_.at(name); }

  template <class List>
  auto& oneOf(List& list) {
    return list[random.below(std::size(list))];
  }
  Place& anyPlace() { return *oneOf(site.places()); }
  Host& anyHost() { return anyPlace().host(); }
  /// The index of one of its links.
  std::int16_t anyLink(const Place& place) {
    return static_cast<std::int16_t>(1 + random.below(place.plan().size()));
  }
  /// A port on which a link may listen, on any machine.
  std::int32_t anyPort() { return kPortOfIdentifier0 + site.anyIdentifier(random); }
  /// nullptr if there is none.
  std::shared_ptr<Connection> anyConnection();
  /// From `low` to `high`; each halving of the part above `low` is as likely as not.
  Milliseconds duration(Milliseconds low, Milliseconds high);

  void affect(Cause cause, Address port, Milliseconds stay) const {
    if (onAffected) onAffected(cause, port, stay);
  }
  /// A scripted peer for that port; it leaves after `stay`, or when the plan ends.
  std::shared_ptr<ScriptedPeer> engagePeer(Address port, Milliseconds stay);

  /// Runs `task` after a pause, unless the plan has ended by then.
  template <class Task>
  void later(Milliseconds pause, Task task) {
    VirtualTime& time = site.world().time();
    time.at(time.now() + pause, [this, task = std::move(task)]() mutable {
      if (running_) task();
    });
  }

 private:
  struct Enabled {
    const Fault* fault;
    bool heavy;
    std::uint64_t* count;
  };
  using Faults = std::vector<Enabled>;

  /// The enabled faults that can happen on this occasion.
  template <class... Where>
  Faults enabledFor(Occasion<Where...> Fault::*occasion) const {
    Faults faults = enabled_;
    std::erase_if(faults, [&](const Enabled& one) { return (one.fault->*occasion).effect == nullptr; });
    return faults;
  }
  /// True if it happens.
  template <class... Where>
  bool tryOne(const Enabled& one, Occasion<Where...> Fault::*occasion, std::type_identity_t<Where>... where) {
    const Occasion<Where...>& on = one.fault->*occasion;
    if (!random.chance(one.heavy ? on.heavy : on.light)) return false;
    ++*one.count;
    on.effect(*this, where...);
    return true;
  }
  template <class... Where>
  void tryAll(Occasion<Where...> Fault::*occasion, std::type_identity_t<Where>... where) {
    for (const Enabled& one : enabled_) tryOne(one, occasion, where...);
  }

  /// The first that happens is the last that is tried.
  template <class... Where>
  void tryUntilOne(const Faults& faults, Occasion<Where...> Fault::*occasion,
                   std::type_identity_t<Where>... where) {
    for (const Enabled& one : faults)
      if (tryOne(one, occasion, where...)) return;
  }

  void enable(const Fault& fault, bool heavy);
  void schedule(const Enabled& one);
  void spoilDirection(End& end, Address port);
  void spoilHost(Host& host);
  void happenInside(const Faults& faults, Host& host, const ServiceCall& call);
  static void restore(Place& place);

  FaultSet enabledNames_, heavy_;
  Faults enabled_;
  std::map<std::string_view, std::uint64_t> counts_;
  bool running_ = false;
  std::vector<std::weak_ptr<ScriptedPeer>> peers_;
};

}  // namespace quarnex::simulation
