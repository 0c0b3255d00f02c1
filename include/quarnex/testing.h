// Tests host programs in virtual time: several hosts with their own code on a simulated network in one
// process. Belongs to the target Quarnex::testing, not to the library.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "quarnex/quarn_socket.h"

namespace quarnex::testkit {

using Duration = std::chrono::milliseconds;

/// A test has failed; the text states the virtual time and the reason.
class TestFailed : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The kit was used in a way that cannot work; the text states how to use it. Real time never passes in a
/// test, so code that works on the process's own library instead of a simulated host gets this error at once.
class WrongUse : public std::logic_error {
 public:
  using std::logic_error::logic_error;
};

class Stage;
class TestSite;

/// One simulated process of a test, with a library of its own. It owns the host's code: an object that is
/// created at each start, and whose member is called after each turn of the loop, every 200 ms.
class TestHost {
 public:
  virtual ~TestHost() = default;
  TestHost(const TestHost&) = delete;
  TestHost& operator=(const TestHost&) = delete;

  const std::string& name() const { return name_; }
  bool running() const { return running_; }
  /// Ends the process as `kill -9` does: the system closes its connections, with a reset if received bytes
  /// were not read, and the peers receive no request to close. The object's destructor runs, but everything
  /// that it asks of the library has no effect. Does nothing if the process does not run.
  void kill();
  /// Starts the process again, with a fresh library and a fresh object. Throws `WrongUse` if it runs.
  void start();
  /// An instance on the library of the running process, for questions such as `snapshot`. Throws `WrongUse`
  /// if the process does not run.
  QuarnSocket quarn() const;
  /// Content of a file that the process wrote through the library, such as a log; "" if there is none. Files
  /// survive the process. `makeFolder` creates a folder for them.
  std::string file(const std::string& path) const;
  void makeFolder(const std::string& path);

 protected:
  TestHost(Stage& stage, std::string name);
  /// Makes this host the one that a new `QuarnSocket` and `HostLoop` belong to, until the scope ends.
  class Scope {
   public:
    explicit Scope(TestHost& host);
    ~Scope();
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    Stage& stage_;
    TestHost* before_;
  };
  void requireRunning() const;
  /// Lets the calling thread use the library of the running process.
  void adoptThread() const;

  virtual void create() = 0;
  virtual void afterTurn() = 0;
  virtual void destroy() = 0;
  /// Waits for the next turn if the host's code has a thread of its own, otherwise returns false.
  virtual bool waitForTurn() { return false; }
  /// The host's code has ended, and the process with it.
  virtual bool ended() const { return false; }

 private:
  friend class Stage;
  Stage& stage_;
  std::string name_;
  int number_;
  bool running_ = false;
};

/// A host with its code, an object of the type `Code`.
template <class Code>
class HostOf final : public TestHost {
 public:
  HostOf(Stage& stage, std::string name, std::function<Code*()> make, std::function<void(Code&)> afterTurn)
      : TestHost(stage, std::move(name)), make_(std::move(make)), afterTurn_(std::move(afterTurn)) {}

  /// Calls a member of the host's code, inside the host: `tower->send("rain")`. Throws `WrongUse` if the
  /// process does not run.
  auto operator->() {
    requireRunning();
    struct Inside {
      Code* operator->() const { return code; }
      Code* code;
      Scope scope;
    };
    return Inside{code_.get(), Scope(*this)};
  }

 private:
  void create() override { code_.reset(make_()); }
  void afterTurn() override {
    if (afterTurn_) afterTurn_(*code_);
  }
  void destroy() override { code_.reset(); }

  std::function<Code*()> make_;
  std::function<void(Code&)> afterTurn_;
  std::unique_ptr<Code> code_;
};

/// A host whose code is a whole program with a loop of its own.
class TestProgram : public TestHost {
 public:
  /// The result of the program; nothing while it runs, and if it was killed.
  virtual std::optional<int> exitStatus() const = 0;

 protected:
  using TestHost::TestHost;
};

/// A fault of the network or of a host that lasts as long as this object. Faults may overlap.
class [[nodiscard]] Fault {
 public:
  explicit Fault(std::function<void()> end) : end_(std::move(end)) {}
  Fault(Fault&& other) noexcept : end_(std::exchange(other.end_, nullptr)) {}
  Fault& operator=(Fault&&) = delete;
  ~Fault() { end(); }
  /// Ends the fault before its scope does.
  void end() {
    if (end_) std::exchange(end_, nullptr)();
  }

 private:
  std::function<void()> end_;
};

/// The hosts of one test, their network and their time. `simulate` creates it.
///
/// Time is virtual: it passes only in the functions below that say so, and in `HostLoop::turn`. The same seed
/// gives the same run, if the host's code draws its time from `now` and its random numbers from `seed`.
class TestSite {
 public:
  TestSite(const TestSite&) = delete;
  TestSite& operator=(const TestSite&) = delete;

  /// Adds a host and starts it. `make` returns the object with the host's code by value; it is called inside
  /// the host at each start, so a `QuarnSocket` and a `HostLoop` that the code creates belong to this host.
  /// `afterTurn`, a member or a function that takes the object, is called after each turn of the loop. All
  /// hosts are on one machine, because a client link calls 127.0.0.1.
  ///
  ///     auto& tower = site.add("tower", [] { return Station("METEO", 7); }, &Station::afterTurn);
  template <class Make>
  auto& add(std::string name, Make make) {
    return add(std::move(name), std::move(make), std::function<void(std::invoke_result_t<Make&>&)>());
  }
  template <class Make, class AfterTurn>
  auto& add(std::string name, Make make, AfterTurn afterTurn) {
    using Code = std::invoke_result_t<Make&>;
    auto host = std::make_unique<HostOf<Code>>(
        stage(), std::move(name), [make = std::move(make)]() mutable { return new Code(make()); },
        std::function<void(Code&)>(std::move(afterTurn)));
    HostOf<Code>& added = *host;
    adopt(std::move(host), [] { return QuarnSocket(); });
    return added;
  }

  /// Adds a host whose code is `program`, such as the renamed `main` of a program, and starts it. The program
  /// gets a thread of its own, which runs only while `program` is not inside `HostLoop::turn` and nothing
  /// else runs; a turn takes the time until the next tick. The process ends when `program` returns. `kill`
  /// unwinds it from `HostLoop::turn` with an exception that is not derived from `std::exception`. An
  /// exception of the program ends the test.
  TestProgram& addProgram(std::string name, std::function<int()> program) {
    return adoptProgram(std::move(name), std::move(program), [] { return QuarnSocket(); });
  }

  /// The seed of this run, for random numbers of the test and of the host's code.
  std::uint64_t seed() const;
  /// Virtual time, which starts at 2030-01-01 00:00:00 UTC. The clock of a host may differ, see `clock`.
  std::chrono::system_clock::time_point now() const;

  // Faults. Each lasts until the returned object's scope or its `end`.

  /// Frames between the two hosts are lost, as if a program between them swallowed them: connections stay,
  /// calls get no answer, and a link finds out by its time-outs.
  Fault silence(const TestHost& one, const TestHost& other);
  /// The same from `to` to `from` only: `from` still reaches `to`.
  Fault oneWay(const TestHost& from, const TestHost& to);
  /// Frames between the two hosts wait until the fault ends, and then arrive in order; calls get no answer.
  Fault hold(const TestHost& one, const TestHost& other);
  /// Calls to the links of `called` are refused, also if it does not run.
  Fault refusal(const TestHost& called);
  /// Connections between the two hosts are reset, and each new one as soon as it is made. `reset(...).end()`
  /// resets once.
  Fault reset(const TestHost& one, const TestHost& other);
  /// Of a thousand frames from `from` to `to`, so many have a changed bit; 1 to 1000.
  Fault damage(const TestHost& from, const TestHost& to, unsigned perThousand = 1000);
  /// The host does not turn its loop, as if its program stood still; ends up to 0.2 s after the fault.
  Fault stall(const TestHost& host);
  /// The system's clock of the host is set by `by`, and set back at the end. The library's own clock never
  /// goes back.
  Fault clock(const TestHost& host, Duration by);

  // Time.

  /// Lets time pass.
  void run(Duration duration);
  /// Lets time pass until `condition` is true, which is evaluated after each event. Throws `TestFailed` if it
  /// is false for longer than `within`.
  void runUntil(const std::function<bool()>& condition, Duration within, std::string_view name = "");
  /// Lets time pass until nothing is on its way: each link is closed, or is connected and has no text that
  /// waits or is not acknowledged. Throws `TestFailed` with the state of a link if that takes more than 3
  /// minutes, longer than a link needs to connect again.
  void settle();
  /// Lets `within` pass and throws `TestFailed` as soon as `condition` is true.
  void never(const std::function<bool()>& condition, Duration within, std::string_view name = "");
  /// Ends rare mode in this run: from now on nothing rare is caused. `runUntil` and `settle` do so when their
  /// time is over, and then wait 3 more minutes. Without rare mode it does nothing.
  void calm();
  /// In rare mode calms the site and settles first. Lets 2 minutes pass and throws `TestFailed` if a host
  /// receives a text or a report, or a link changes between connected and not connected.
  void nothingMoreHappens();
  /// Throws `TestFailed` with `text` and the virtual time unless `condition` is true; for tests without a
  /// framework.
  void require(bool condition, std::string_view text);

 private:
  friend class Stage;
  explicit TestSite(Stage& stage) : stage_(&stage) {}
  Stage& stage() { return *stage_; }
  void adopt(std::unique_ptr<TestHost> host, QuarnSocket (*probe)());
  TestProgram& adoptProgram(std::string name, std::function<int()> program, QuarnSocket (*probe)());

  Stage* stage_;
};

/// How tests run. The environment variables, where they are set, override the members.
struct TestSettings {
  std::uint64_t seed = 1;  ///< `QUARNEX_TEST_SEED`
  /// Runs the test twice and compares everything that the libraries did; `QUARNEX_TEST_TWICE`=1.
  bool twice = false;
  /// If not 0, runs the test so often in rare mode, with the seeds from `seed` on: rare outcomes that are
  /// documented happen to the hosts, such as a batch that arrives twice, a port in use or a host that stands
  /// still. `QUARNEX_TEST_RARE`.
  unsigned rareRuns = 0;
  /// Where the recordings of a failed test are kept, in a new folder; `QUARNEX_TEST_RECORDINGS`.
  std::filesystem::path recordings = ".";
  /// Asks the test framework whether the test has failed, for frameworks that do not use exceptions. For
  /// GoogleTest: `&testing::Test::HasFailure`.
  std::function<bool()> failed{};
};

/// An outcome that a host's code has to cope with, and that tests seldom meet.
struct RareOutcome {
  std::string_view name;     ///< for programs; no later version changes it
  std::string_view meaning;  ///< for people
};

/// Runs `test` on a site without hosts. If it fails (`test` throws, or `settings.failed` returns true),
/// prints the seed to standard error, keeps the recordings of all hosts, which `quarn replay` replays, and
/// rethrows the exception. Throws `TestFailed` with the first difference if two runs of the same seed differ.
/// Not reentrant. In rare mode, prints the rare outcomes that no host has met in any of the runs, and returns
/// them.
///
///     quarnex::testkit::simulate([](quarnex::testkit::TestSite& site) {
///       auto& tower = site.add("tower", Station::listening, &Station::afterTurn);
///       auto& meteo = site.add("meteo", Station::calling, &Station::afterTurn);
///       site.settle();
///       tower.kill();
///       site.run(1min);
///       tower.start();
///       site.runUntil([&] { return meteo->connected(); }, 2min);
///     });
std::vector<RareOutcome> simulate(const std::function<void(TestSite&)>& test, TestSettings settings = {});

}  // namespace quarnex::testkit
