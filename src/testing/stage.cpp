#include "testing/stage.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "host/draining.h"
#include "quarnex/times_and_limits.h"
#include "recording/recorder/recorder.h"
#include "services/forward_clock.h"

namespace quarnex::testkit {
namespace {

constexpr Instant kStart{1'893'456'000};  // 2030-01-01 00:00:00 UTC

/// Gives the engine a clock that never goes back, as on a real system, and records it.
class HostServices final : public ServicesWrapper, private WallClock {
 public:
  explicit HostServices(std::shared_ptr<EngineTape> tape) : recorder_(std::move(tape)) {}

  Services wrap(const Services& services) override {
    clock_ = &services.clock;
    return recorder_.wrap({services.sockets, services.timer, *this, services.logFile});
  }
  void watch(Library& library) override { recorder_.watch(library); }

 private:
  Instant now() override { return forward_.follow(clock_->now().second); }
  Moment moment() override { return clock_->moment(); }
  std::int32_t utcOffset(Instant instant) override {
    return forward_.offsetOf(clock_->utcOffset({forward_.systemSecond(instant)}));
  }

  recording::ServicesRecorder recorder_;
  WallClock* clock_ = nullptr;
  ForwardClock forward_;
};

}  // namespace

std::string secondsOf(Milliseconds time) {
  const std::string milliseconds = std::to_string(1000 + time % 1000);
  return std::to_string(time / 1000) + '.' + milliseconds.substr(1) + " s";
}

Stage::Stage(std::uint64_t seedOfRun, RunLog& logOfRun, bool rareMode)
    : seed(seedOfRun), log(logOfRun), world_(seedOfRun) {
  if (rareMode) rare_.emplace(*this, seedOfRun);
  world_.start = kStart;
  if (!replaceProcess(this)) throw WrongUse("simulate was called inside a simulated test");
}

// NOLINTNEXTLINE(bugprone-exception-escape): destructors of hosts do not throw
Stage::~Stage() {
  for (const Cast& cast : casts_) kill(*cast.host);
  replaceProcess(nullptr);
}

Library& Stage::library() {
  if (current == nullptr) {
    throw WrongUse(
        "a QuarnSocket was created outside the simulated hosts, where real time would have to pass: create "
        "it in the "
        "code of a host, inside the function that is given to TestSite::add");
  }
  return castOf(*current).engine.library();
}

// A host's code that is called after a turn often begins with a turn of its own: that one is already over.
void Stage::turn(std::chrono::milliseconds maxWait) {
  if (current == nullptr)
    throw WrongUse("HostLoop::turn was called outside the simulated hosts: call TestSite::run instead");
  if (current->waitForTurn() || std::exchange(castOf(*current).turnIsOver, false)) return;
  const Milliseconds most = kTickMilliseconds;
  const Milliseconds wait = maxWait.count() > 0 ? std::min<Milliseconds>(maxWait.count(), most) : most;
  TestHost* const host = std::exchange(current, nullptr);
  world_.runMilliseconds(wait);
  current = host;
}

void Stage::adopt(std::unique_ptr<TestHost> host, QuarnSocket (*probe)()) {
  simulation::Host& engine = world_.addHost();
  engine.stop();
  TestHost& added = *host;
  Cast& cast = casts_.emplace_back(Cast{std::move(host), engine});
  engine.faults.choose = [this, &added](const ServiceCall& call) {
    rules_.performing = &added;
    return rare_ ? rare_->failureOf(call) : std::nullopt;
  };
  engine.makeWrapper = [&cast] { return std::make_unique<HostServices>(cast.tape); };
  requireOwnLibrary(added, probe);
  start(added);
}

// A program that is also linked with the shared library may get the constructors of that library.
void Stage::requireOwnLibrary(TestHost& host, QuarnSocket (*probe)()) {
  Cast& cast = castOf(host);
  cast.tape = std::make_shared<EngineTape>(host.name(), 0, log, world_.time());
  cast.engine.start();
  const TestHost::Scope inside(host);
  const bool isOwn = &probe().library() == &cast.engine.library();
  cast.engine.stop();
  if (!isOwn) {
    throw WrongUse(
        "the host's code would use the real library, in real time: link the test with Quarnex::testing, and "
        "not with Quarnex::quarnex_shared");
  }
}

void Stage::start(TestHost& host) {
  if (host.running_) throw WrongUse("the host " + host.name() + " is already running");
  Cast& cast = castOf(host);
  cast.tape = std::make_shared<EngineTape>(host.name(), ++cast.starts, log, world_.time());
  log.tapes.push_back(cast.tape);
  cast.engine.start();
  host.running_ = true;
  runCode(cast, &TestHost::create);
  if (host.running_) scheduleTurn(cast);
}

// Without links the library ignores everything that the destructor of the host's code asks of it.
void Stage::kill(TestHost& host) {
  if (!host.running_) return;
  Cast& cast = castOf(host);
  world_.time().cancel(cast.nextTurn);
  cast.tape->end();
  cast.engine.library().ConnectionCount = 0;
  {
    const TestHost::Scope inside(host);
    host.destroy();
  }
  host.running_ = false;
  cast.engine.stop();
}

void Stage::scheduleTurn(Cast& cast) {
  simulation::VirtualTime& time = world_.time();
  cast.nextTurn =
      time.at(cast.engine.loop.turnAt(time.now() + kTickMilliseconds), [this, &cast] { finishTurn(cast); });
}

void Stage::finishTurn(Cast& cast) {
  scheduleTurn(cast);
  if (cast.engine.loop.stalled()) return;
  serviceDrains(cast.engine.library());
  if (rare_) rare_->turned(cast);
  cast.turnIsOver = true;
  runCode(cast, &TestHost::afterTurn);
  cast.turnIsOver = false;
}

void Stage::runCode(Cast& cast, void (TestHost::*code)()) {
  {
    const TestHost::Scope inside(*cast.host);
    (*cast.host.*code)();
  }
  if (cast.host->ended()) kill(*cast.host);
}

Cast& Stage::castOf(const TestHost& host) {
  return casts_[static_cast<std::size_t>(host.number_)];
}

Fault Stage::stall(const TestHost& host) {
  const auto lasts = std::make_shared<bool>(true);
  if (rare_) rare_->meet("host-stood-still");
  keepStalled(castOf(host), lasts);
  return Fault([lasts] { *lasts = false; });
}

void Stage::keepStalled(Cast& cast, const std::shared_ptr<bool>& lasts) {
  if (!*lasts) return;
  cast.engine.loop.stall(kTickMilliseconds);
  simulation::VirtualTime& time = world_.time();
  time.at(time.now() + kTickMilliseconds / 2, [this, &cast, lasts] { keepStalled(cast, lasts); });
}

Fault Stage::shiftClock(const TestHost& host, Milliseconds by) {
  simulation::VirtualClock& clock = castOf(host).engine.clock;
  clock.jump(by);
  if (rare_) rare_->meet("clock-stepped");
  return Fault([&clock, by] { clock.jump(-by); });
}

bool Stage::runUntil(Milliseconds latest, const std::function<bool()>& stop) {
  if (current != nullptr) throw WrongUse("the code of a host cannot let time pass: it calls HostLoop::turn");
  if (casts_.empty()) throw WrongUse("the test has no host: add one with TestSite::add");
  while (!stop()) {
    if (!world_.time().runNext(latest)) {
      world_.time().runUntil(latest);
      return stop();
    }
  }
  return true;
}

bool Stage::nothingTravels() {
  for (const auto& connection : world_.network().connections()) {
    for (const simulated::End* end : {&connection->caller, &connection->called})
      if (end->leftOf(end->conditions.window) > 0) return false;
  }
  return std::ranges::none_of(casts_, [](const Cast& cast) {
    if (!cast.engine.running()) return false;
    Library& library = cast.engine.library();
    for (int link = 1; link <= library.ConnectionCount; ++link)
      if (!library.ConnectionTable[static_cast<std::int16_t>(link)].Ricevuto.empty()) return true;
    return false;
  });
}

bool Stage::await(Milliseconds within, const std::function<bool()>& stop) {
  if (runUntil(now() + within, stop)) return true;
  if (!rare_ || rare_->isCalm()) return false;
  rare_->calm();
  return runUntil(now() + std::max(within, kSettleMax), stop);
}

void Stage::fail(const std::string& text) {
  throw TestFailed("after " + secondsOf(now()) + ": " + text);
}

void Stage::forEachLink(const std::function<void(const TestHost&, const LinkSnapshot&)>& look) {
  for (const Cast& cast : casts_) {
    if (!cast.host->running()) continue;
    const QuarnSocket quarn(cast.engine.library());
    for (int link = 1; link <= cast.engine.library().ConnectionCount; ++link)
      look(*cast.host, quarn.snapshot(link));
  }
}

}  // namespace quarnex::testkit
