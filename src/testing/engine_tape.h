// Records one engine of a test in memory and counts the items that its host takes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "platform/simulated/virtual_time.h"
#include "recording/format/line_writer.h"

namespace quarnex::testkit {

class EngineTape;

/// A step of an engine: its lines end at `end` in the text of the tape.
struct TapedStep {
  const EngineTape* tape;
  std::size_t end;
  simulated::Milliseconds time;
};

/// All recordings of a run.
struct RunLog {
  std::vector<std::shared_ptr<EngineTape>> tapes;  ///< in the order in which the processes started
  std::vector<TapedStep> steps;                    ///< in the order in which they happened
};

class EngineTape final : public recording::LineSink {
 public:
  /// Of the `start`-th process of `host`. `log` and `time` outlive the process.
  EngineTape(std::string host, int start, RunLog& log, const simulated::VirtualTime& time)
      : host_(std::move(host)), start_(start), log_(log), time_(time) {}

  void begin(std::int32_t utcOffset) override { writer_.begin(utcOffset); }
  void take(const recording::Line& line) override {
    if (ended_) return;
    writer_.take(line);
    if (std::holds_alternative<recording::FailureLine>(line)) ++callsFailed_;
    const auto* result = std::get_if<recording::ResultLine>(&line);
    const auto* text = result != nullptr ? std::get_if<std::string>(result->value) : nullptr;
    if (text != nullptr && !text->empty()) {
      ++itemsTaken_;
      latestItem_ = *text;
    }
  }
  void pause() override {
    if (ended_) return;
    writer_.pause();
    log_.steps.push_back({this, sink_->text().size(), time_.now()});
    ended_ = sink_->text().size() > kBytesMax;
  }
  /// Nothing that follows belongs to the process.
  void end() { ended_ = true; }

  /// "tower-2.jsonl" for the second process of the host "tower".
  std::string fileName() const { return host_ + '-' + std::to_string(start_) + ".jsonl"; }
  const std::string& text() const { return sink_->text(); }
  /// Texts, reports and captured traces.
  std::uint64_t itemsTaken() const { return itemsTaken_; }
  /// Calls of the host that threw a `Failure`.
  std::uint64_t callsFailed() const { return callsFailed_; }
  const std::string& latestItem() const { return latestItem_; }

 private:
  static constexpr std::size_t kBytesMax = std::size_t{256} << 20;  // the recording ends there

  std::string host_;
  int start_;
  RunLog& log_;
  const simulated::VirtualTime& time_;
  std::shared_ptr<recording::MemorySink> sink_ = std::make_shared<recording::MemorySink>();
  recording::LineWriter writer_{sink_};
  std::uint64_t itemsTaken_ = 0;
  std::uint64_t callsFailed_ = 0;
  std::string latestItem_;
  bool ended_ = false;
};

}  // namespace quarnex::testkit
