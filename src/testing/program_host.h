// Runs a host whose code is a whole program with a loop of its own, on a thread that takes turns with the
// test.
#pragma once

#include <condition_variable>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "quarnex/testing.h"

namespace quarnex::testkit {

/// Ends a program where it waits. Not an exception of the standard library, so handlers for those let it
/// pass.
struct ProgramKilled {};

/// A function on a thread of its own. Only one of the two threads runs at a time, so a run stays determined.
class ProgramThread {
 public:
  explicit ProgramThread(std::function<void()> body);
  /// Kills the program if it has not ended.
  ~ProgramThread();
  ProgramThread(const ProgramThread&) = delete;
  ProgramThread& operator=(const ProgramThread&) = delete;

  /// Runs the program until it waits or ends. Rethrows its exception.
  void resume();
  bool ended() const { return ended_; }
  /// For the program: lets the other thread run until it resumes this one. Returns false, at once from then
  /// on, if the program must end.
  bool wait();

 private:
  void pass(bool toProgram);
  void awaitTurn(std::unique_lock<std::mutex>& lock, bool ofProgram);
  void run(const std::function<void()>& body);

  std::mutex mutex_;
  std::condition_variable passed_;
  bool programRuns_ = false;
  bool killed_ = false;
  bool ended_ = false;
  std::exception_ptr thrown_;
  std::thread thread_;  // last, because it uses the others
};

class ProgramHost final : public TestProgram {
 public:
  ProgramHost(Stage& stage, std::string name, std::function<int()> program)
      : TestProgram(stage, std::move(name)), program_(std::move(program)) {}

  std::optional<int> exitStatus() const override { return exitStatus_; }

 private:
  void create() override;
  void afterTurn() override;
  void destroy() override { thread_.reset(); }
  bool waitForTurn() override;
  bool ended() const override { return thread_ && thread_->ended(); }

  std::function<int()> program_;
  std::optional<int> exitStatus_;
  std::unique_ptr<ProgramThread> thread_;
};

}  // namespace quarnex::testkit
