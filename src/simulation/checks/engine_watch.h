// EngineWatch: records one engine of a simulation and checks every rule after each of its steps.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <tuple>
#include <vector>

#include "recording/recorder/recorder.h"
#include "recording/shrinker/checker.h"
#include "services/observer.h"
#include "services/services_wrapper.h"
#include "simulation/checks/early_deadlines.h"
#include "simulation/checks/independent/delivery.h"
#include "simulation/checks/independent/descriptors.h"
#include "simulation/checks/independent/frame_format.h"
#include "simulation/checks/independent/pacing.h"
#include "simulation/checks/independent/report_order.h"
#include "simulation/checks/invariants.h"
#include "simulation/checks/late_deadlines.h"
#include "simulation/checks/queues.h"
#include "simulation/checks/visits.h"
#include "simulation/checks/watched_services.h"

namespace quarnex::simulation {

/// Passes observations to each of `Checks` in turn.
template <class... Checks>
class CheckList {
 public:
  explicit CheckList(EngineRecords& engine) : checks_(sameFor<Checks>(engine)...) {}

  template <class Pass>
  void each(Pass pass) {
    std::apply([&](Checks&... checks) { (pass(checks), ...); }, checks_);
  }

 private:
  template <class>
  static EngineRecords& sameFor(EngineRecords& engine) {
    return engine;
  }

  std::tuple<Checks...> checks_;
};

using AllChecks = CheckList<RecordInvariants, Queues, Delivery, FrameFormat, ReportOrder, Pacing, Descriptors,
                            EarlyDeadlines, LateDeadlines, Visits>;

class EngineWatch final : public ServicesWrapper, public Observer {
 public:
  /// Watches an engine of host number `host` on `machine`, whose descriptors are those of `sockets`, if
  /// known. Sets `first` to the first finding, unless it has one: later ones may be consequences of it.
  /// `site`, `first` and `sockets` outlive the watch.
  EngineWatch(SiteObservations& site, std::optional<recording::Finding>& first, int host, int machine,
              std::shared_ptr<recording::LineSink> lines, const SimulatedSockets* sockets = nullptr);

  Services wrap(const Services& services) override;
  void watch(Library& library) override;

 private:
  using Socket = WatchedSocket<EngineWatch>;
  friend Socket;
  friend WatchedServices<EngineWatch>;

  // From the services.
  void stepBegins(const SocketEvent* event);
  void stepEnds();
  void readsClock(Instant now);
  void created(SocketId id, Socket& socket);
  void looks(std::int16_t link) { engine_.recordedAt(link).lookedAt = true; }
  void performs(std::int16_t link, const ServiceCall& call);
  void fails(std::int16_t link, const ServiceCall& call);

  // From the library.
  void traced(std::int16_t IdxQuarn, std::string_view text) override;
  void called(const Method& method, std::span<const Value> parameters) override;
  void returned(const Value& result) override;
  void failed(const Failure& failure) override;

  void begin(std::int16_t link);
  void add(std::int16_t link, std::span<const Value> parameters);
  void touch(std::int16_t link);
  void inspectTouched();
  void inspectAll();
  void inspect(std::int16_t link);
  void remember(std::int16_t link);
  std::vector<std::int16_t>& linksOf(SocketArray array);
  std::int16_t linkOf(SocketId socket);

  EngineRecords engine_;
  AllChecks checks_{engine_};
  recording::ServicesRecorder recorder_;
  std::optional<WatchedServices<EngineWatch>> services_;
  Observer* nextObserver_ = nullptr;

  int depth_ = 0;                                        // of nested steps
  HostCall call_;                                        // the latest one
  std::vector<std::int16_t> clientLinks_, serverLinks_;  // by the index of a socket instance, minus 1
  std::vector<std::int16_t> touched_;
  std::optional<Instant> inspectedAt_;  // the clock when all links were inspected last
};

}  // namespace quarnex::simulation
