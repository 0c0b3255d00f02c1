#include "simulation/checks/engine_watch.h"

#include <algorithm>
#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "host/method_table.h"
#include "recording/format/line_writer.h"
#include "recording/recorder/recorder.h"
#include "services/observer.h"
#include "simulation/checks/early_deadlines.h"
#include "simulation/checks/independent/delivery.h"
#include "simulation/checks/independent/descriptors.h"
#include "simulation/checks/independent/frame_format.h"
#include "simulation/checks/independent/pacing.h"
#include "simulation/checks/independent/report_order.h"
#include "simulation/checks/invariants.h"
#include "simulation/checks/missed_work.h"
#include "simulation/checks/queues.h"
#include "simulation/checks/receipt_soundness.h"
#include "simulation/checks/watched_services.h"

namespace quarnex::simulation {
namespace {

template <class... Checks>
struct CheckList : Checks... {
  explicit CheckList(EngineRecords& engine) : Checks(engine)... {}
  /// Passes an observation to each check in turn.
  void each(auto pass) { (pass(static_cast<Checks&>(*this)), ...); }
};

class EngineWatch final : public ServicesWrapper, public PassingObserver {
 public:
  EngineWatch(SiteObservations& site, std::optional<recording::Finding>& first, int host, int machine,
              std::shared_ptr<recording::LineSink> lines, const SimulatedSockets* sockets)
      : engine_{{site, host, machine, sockets}}, recorder_(std::move(lines)) {
    engine_.report = [&site, &first, host](std::int16_t link, std::string_view text) {
      if (!first) first = {site.time.now(), host, link, std::string(text)};
    };
  }

  Services wrap(const Services& services) override {
    return recorder_.wrap(services_.emplace(services, *this).services());
  }

  void watch(Library& library) override {
    recorder_.watch(library);
    engine_.library = &library;
    next = std::exchange(library.observer, this);
  }

  void stepBegins(const SocketEvent* event) {
    begin(event != nullptr ? linkOf(event->socket) : std::int16_t{0});
    if (event == nullptr) ++engine_.step.ticks;
    if (event != nullptr && event->kind == EventKind::Connect && event->code == 0)
      connects(linkOf(event->socket));
  }

  void begin(std::int16_t link) {
    if (depth_++ == 0) {
      engine_.step = {};
      engine_.step.link = link;
    }
    ++engine_.step.parts;
  }

  void stepEnds() {
    if (--depth_ > 0) return;
    const StepFacts& step = engine_.step;
    engine_.site.steps += step.parts;
    if (step.parts > 1 || step.link == 0) return inspectAll();
    touch(step.link);
    inspectTouched();
  }

  void readsClock(Instant now) {
    StepFacts& step = engine_.step;
    if (step.clock && *step.clock != now) step.steady = false;
    step.clock = step.clock ? std::max(*step.clock, now) : now;
  }

  // The host is adding the link to which the instance belongs.
  void created(SocketId id, WatchedSocket<EngineWatch>& socket) {
    socket.link = call_.link;
    linkOf(id) = socket.link;
    if (id.array != SocketArray::ServerSocket) engine_.recordedAt(socket.link).hasSocket = true;
  }

  void looks(std::int16_t link) { engine_.recordedAt(link).lookedAt = true; }

  void performs(std::int16_t link, const ServiceCall& call) {
    if (call.operation == Operation::Send) touch(link);
    checks_.each([&](auto& check) { check.performs(link, call); });
  }

  void connects(std::int16_t link) {
    checks_.each([&](auto& check) { check.connects(link); });
  }

  void fails(std::int16_t link, const ServiceCall& call) {
    touch(link);
    engine_.recordedAt(link).failed = true;
    checks_.each([&](auto& check) { check.fails(link, call); });
  }

  void traced(std::int16_t IdxQuarn, std::string_view text) override {
    engine_.site.traces.add(text);
    touch(IdxQuarn);
    checks_.each([&](auto& check) { check.traced(IdxQuarn, text); });
    PassingObserver::traced(IdxQuarn, text);
  }

  void called(const Method& method, std::span<const Value> parameters) override {
    const auto* index = parameters.empty() ? nullptr : std::get_if<std::int16_t>(&parameters[0]);
    const bool adds = method.name == "Add";
    const bool valid = index != nullptr && engine_.library->validIndex(*index);
    const auto added = static_cast<std::int16_t>(engine_.library->ConnectionCount + 1);
    call_ = {method.name, adds ? added : valid ? *index : std::int16_t{0}, parameters};
    begin(call_.link);
    if (adds) add(call_.link, parameters);
    checks_.each([&](auto& check) { check.called(call_); });
    PassingObserver::called(method, parameters);
  }

 private:
  // Identifier and role as the host gave them: the engine may have altered its record since.
  void add(std::int16_t link, std::span<const Value> parameters) {
    const auto identifier = std::get<std::int16_t>(parameters[1]);
    const bool client = std::get<bool>(parameters[2]);
    TextLedger& ledger = engine_.site.ledger;
    engine_.added.resize(static_cast<std::size_t>(link) + 1);
    engine_.added.back() = {identifier, client, std::get<bool>(parameters[3]),
                            &ledger.flow({engine_.machine, identifier, client}),
                            &ledger.flow({engine_.machine, identifier, !client})};
    engine_.recorded.resize(engine_.added.size());
    engine_.recorded.back() = {};
    checks_.each([&](auto& check) { check.added(link); });
  }

  void returned(const Value& result) override {
    PassingObserver::returned(result);
    checks_.each([&](auto& check) { check.returned(call_, result); });
    stepEnds();
  }

  void failed(const Failure& failure) override {
    PassingObserver::failed(failure);
    stepEnds();
  }

  void touch(std::int16_t link) {
    if (!std::exchange(engine_.recordedAt(link).touched, true)) touched_.push_back(link);
  }

  void inspectTouched() {
    for (const std::int16_t link : touched_) {
      if (engine_.library->validIndex(link)) inspect(link);
      remember(link);
    }
    touched_.clear();
  }

  // Within one second a link without texts or frames whose deadlines stay only counts down to its repetition.
  void inspectAll() {
    const bool sameSecond = engine_.step.isLoneTick() && engine_.step.clock == inspectedAt_;
    if (!sameSecond) checks_.each([](auto& check) { check.secondEnded(); });
    for (int i = 1; i <= engine_.library->ConnectionCount; ++i) {
      const auto link = static_cast<std::int16_t>(i);
      const RecordedLink& recorded = engine_.recordedAt(link);
      const ConnectionRecord& record = engine_.library->ConnectionTable[link];
      const bool mayHaveChanged = !sameSecond || recorded.touched || recorded.before.differs(record);
      if (mayHaveChanged) inspect(link);
      checks_.each([&](auto& check) { check.visited(link, recorded.before, record); });
      if (mayHaveChanged) remember(link);
    }
    engine_.recorded[0].touched = false;
    touched_.clear();
    inspectedAt_ = engine_.step.clock;
  }

  void inspect(std::int16_t link) {
    const RecordedState& before = engine_.recordedAt(link).before;
    const ConnectionRecord& record = engine_.library->ConnectionTable[link];
    checks_.each([&](auto& check) { check.changed(link, before, record); });
  }

  void remember(std::int16_t link) {
    RecordedLink& recorded = engine_.recordedAt(link);
    recorded.touched = recorded.failed = false;
    if (engine_.library->validIndex(link))
      recorded.before = RecordedState::of(engine_.library->ConnectionTable[link]);
  }

  std::int16_t& linkOf(SocketId socket) {
    return (socket.array == SocketArray::ClientSocket ? clientLinks_ : serverLinks_)[socket.index];
  }

  EngineRecords engine_;
  CheckList<RecordInvariants, Queues, Delivery, FrameFormat, ReportOrder, Pacing, Descriptors, EarlyDeadlines,
            MissedWork, ReceiptSoundness>
      checks_{engine_};
  recording::ServicesRecorder recorder_;
  std::optional<WatchedServices<EngineWatch>> services_;

  int depth_ = 0;                                     // of nested steps
  HostCall call_;                                     // the latest one
  PerIndex<std::int16_t> clientLinks_, serverLinks_;  // of socket instances
  std::vector<std::int16_t> touched_;
  std::optional<Instant> inspectedAt_;  // the clock when all links were inspected last
};

class EngineChecker final : public recording::Checker {
 public:
  explicit EngineChecker(std::shared_ptr<recording::Sink> sink)
      : watch_(site_, first_, 0, 0, std::make_shared<recording::LineWriter>(std::move(sink)), nullptr) {}

  Services wrap(const Services& services) override { return watch_.wrap(services); }
  void watch(Library& library) override { watch_.watch(library); }
  std::optional<recording::Finding> finding() override { return first_; }

 private:
  VirtualTime time_;
  SiteObservations site_{time_, false};
  std::optional<recording::Finding> first_;
  EngineWatch watch_;
};

}  // namespace

std::unique_ptr<ServicesWrapper> watchEngine(SiteObservations& site, std::optional<recording::Finding>& first,
                                             int host, int machine,
                                             std::shared_ptr<recording::LineSink> lines,
                                             const SimulatedSockets& sockets) {
  return std::make_unique<EngineWatch>(site, first, host, machine, std::move(lines), &sockets);
}

std::unique_ptr<recording::Checker> checkEngine(std::shared_ptr<recording::Sink> sink) {
  return std::make_unique<EngineChecker>(std::move(sink));
}

}  // namespace quarnex::simulation
