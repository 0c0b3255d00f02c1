// Runs the hosts of one test: their processes, their time, and the library that each host's code gets.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "quarnex/testing.h"
#include "services/process_library.h"
#include "simulation/sites/world.h"
#include "testing/engine_tape.h"

namespace quarnex::testkit {

using simulation::Milliseconds;

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
  Stage(std::uint64_t seed, RunLog& log);
  ~Stage() override;
  Stage(const Stage&) = delete;
  Stage& operator=(const Stage&) = delete;

  // For the code of hosts. Both throw `WrongUse` where no host's code is running.
  Library& library() override;
  void turn(std::chrono::milliseconds maxWait) override;

  int addNumber() const { return static_cast<int>(casts_.size()); }
  void adopt(std::unique_ptr<TestHost> host, QuarnSocket (*probe)());
  void start(TestHost& host);
  void kill(TestHost& host);
  Cast& castOf(const TestHost& host) { return casts_[static_cast<std::size_t>(host.number_)]; }
  const std::deque<Cast>& casts() const { return casts_; }
  /// The host whose code runs; nullptr while the test or the network does.
  TestHost* current = nullptr;

  TestSite site() { return TestSite(*this); }
  simulation::World& world() { return world_; }
  Milliseconds now() { return world_.time().now(); }
  /// Lets time pass until `stop` returns true, at most until `latest`; true if it did.
  bool runUntil(Milliseconds latest, const std::function<bool()>& stop);
  /// Throws `TestFailed` with the time.
  [[noreturn]] void fail(const std::string& text);
  /// Calls `look(host, snapshot)` for each link of each running host.
  void forEachLink(const std::function<void(const TestHost&, const LinkSnapshot&)>& look);

  const std::uint64_t seed;
  RunLog& log;

 private:
  void requireOwnLibrary(TestHost& host, QuarnSocket (*probe)());
  void scheduleTurn(Cast& cast);
  void finishTurn(Cast& cast);

  simulation::World world_;
  std::deque<Cast> casts_;
};

}  // namespace quarnex::testkit
