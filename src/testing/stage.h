// Runs the hosts of one test: their processes, their time, and the library that each host's code gets.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quarnex/testing.h"
#include "services/process_library.h"
#include "simulation/sites/world.h"
#include "testing/engine_tape.h"
#include "testing/network_rules.h"
#include "testing/rare_mode.h"

namespace quarnex::testkit {

/// Longer than a link needs to connect again and to send what waits, after the last fault.
constexpr Milliseconds kSettleMax = 3 * simulation::kMinute;

/// "12.345 s".
std::string secondsOf(Milliseconds time);

/// A host of a test and the machine parts that it runs on.
struct Cast {
  std::unique_ptr<TestHost> host;
  simulation::Host& engine;
  std::shared_ptr<EngineTape> tape{};  // of the process that runs, or ran last
  int starts = 0;
  bool turnIsOver = false;  // its code runs because a turn has ended, and has not asked for another
  simulation::VirtualTime::Appointment nextTurn{};
};

/// While it exists, it takes the place of the process's own library and loop.
class Stage final : public ProcessStandIn {
 public:
  /// Throws `WrongUse` if another one exists.
  Stage(std::uint64_t seed, RunLog& log, bool rareMode);
  ~Stage() override;  // NOLINT(bugprone-exception-escape)
  Stage(const Stage&) = delete;
  Stage& operator=(const Stage&) = delete;

  // For the code of hosts. Both throw `WrongUse` where no host's code is running.
  Library& library() override;
  void turn(std::chrono::milliseconds maxWait) override;

  int addNumber() const { return static_cast<int>(casts_.size()); }
  void adopt(std::unique_ptr<TestHost> host, QuarnSocket (*probe)());
  void start(TestHost& host);
  void kill(TestHost& host);
  Cast& castOf(const TestHost& host);
  const std::deque<Cast>& casts() const { return casts_; }
  /// The host whose code runs; nullptr while the test or the network does.
  TestHost* current = nullptr;

  TestSite site() { return TestSite(*this); }
  simulation::World& world() { return world_; }
  Milliseconds now() { return world_.time().now(); }
  /// Lets time pass until `stop` returns true, at most until `latest`; true if it did.
  bool runUntil(Milliseconds latest, const std::function<bool()>& stop);
  /// The same within `within`. In rare mode, if that is not enough, calms the site and waits longer.
  bool await(Milliseconds within, const std::function<bool()>& stop);
  /// True while no bytes are on their way and no received bytes wait for a tick.
  bool nothingTravels();
  /// Throws `TestFailed` with the time.
  [[noreturn]] void fail(const std::string& text);
  /// Calls `look(host, snapshot)` for each link of each running host.
  void forEachLink(const std::function<void(const TestHost&, const LinkSnapshot&)>& look);

  NetworkRules& rules() { return rules_; }
  /// nullptr outside of rare mode.
  RareMode* rare() { return rare_ ? &*rare_ : nullptr; }
  /// The host does not turn its loop until the fault ends, and up to 0.2 s longer.
  Fault stall(const TestHost& host);
  /// Sets the clock of the host by `by`, and back at the end.
  Fault shiftClock(const TestHost& host, Milliseconds by);

  const std::uint64_t seed;
  RunLog& log;

 private:
  void requireOwnLibrary(TestHost& host, QuarnSocket (*probe)());
  void scheduleTurn(Cast& cast);
  void finishTurn(Cast& cast);
  void runCode(Cast& cast, void (TestHost::*code)());

  void keepStalled(Cast& cast, const std::shared_ptr<bool>& lasts);

  simulation::World world_;
  std::deque<Cast> casts_;
  NetworkRules rules_{*this};
  std::optional<RareMode> rare_;
};

}  // namespace quarnex::testkit
