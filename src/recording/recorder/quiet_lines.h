// Leaves host calls without news out of a recording, and adds the milliseconds of each step.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "recording/format/line_writer.h"

namespace quarnex::recording {

/// Leaves out polls that find nothing and queries with the answer of the time before, unless anything else
/// happens in them; the next step states their number. The first call of each kind is kept. A step in which
/// nothing happens has no milliseconds: they would be half the recording of an idle host.
class QuietLines final : public LineSink {
 public:
  /// `elapsed`, if given, returns the time since the recording began.
  explicit QuietLines(std::shared_ptr<Sink> sink, std::function<std::chrono::milliseconds()> elapsed = {})
      : lines_(std::move(sink)), elapsed_(std::move(elapsed)) {}

  void begin(std::int32_t utcOffset) override { lines_.begin(utcOffset); }
  void take(const Line& line) override {
    if (isTopStep(line)) {
      step_ = line;
    } else if (step_ && isWithoutNews(line)) {
      step_.reset();
      ++idleCalls_;
    } else {
      passStep(true);
      lines_.take(line);
    }
  }
  void pause() override {
    passStep(false);
    lines_.pause();
  }

 private:
  /// True if `line` is the result of a call that the recording can do without.
  bool isWithoutNews(const Line& line) {
    const auto* call = std::get_if<CallLine>(&*step_);
    const auto* result = std::get_if<ResultLine>(&line);
    if (call == nullptr || result == nullptr) return false;
    const auto isOne = [&](const auto&... methods) { return ((call->method == &methods) || ...); };
    const bool isQuery = isOne(methodOf<&QuarnSocket::Connesso>(), methodOf<&QuarnSocket::ProntoPerUscire>());
    const bool findsNothing =
        isOne(methodOf<&QuarnSocket::MessaggioArrivato>(), methodOf<&QuarnSocket::GetMessaggioArrivato>(),
              methodOf<&QuarnSocket::GetDebug>()) &&
        (*result->value == Value(false) || *result->value == Value(std::string()));
    if (!isQuery && !findsNothing) return false;
    const Value link = call->parameters.empty() ? Value() : call->parameters.front();
    const auto [last, isFirst] = answers_.try_emplace({call->method, link}, *result->value);
    const bool isSame = std::exchange(last->second, *result->value) == *result->value;
    return isSame && !isFirst && !call->start.utcOffset;
  }
  /// Writes the step whose first line waits, if any.
  void passStep(bool withTime) {
    if (!step_) return;
    auto& start = const_cast<StepStart&>(*stepStartOf(*step_));
    if (withTime) start.ms = milliseconds();
    if (idleCalls_ > 0) start.idleCalls = std::exchange(idleCalls_, 0);
    lines_.take(*step_);
    step_.reset();
  }

  std::int64_t milliseconds() const {
    using std::chrono::duration_cast, std::chrono::milliseconds;
    return (elapsed_ ? elapsed_() : duration_cast<milliseconds>(SteadyClock::now() - begin_)).count();
  }

  using SteadyClock = std::chrono::steady_clock;  // never goes back
  LineWriter lines_;
  const SteadyClock::time_point begin_ = SteadyClock::now();
  const std::function<std::chrono::milliseconds()> elapsed_;
  std::optional<Line> step_;  // waits for the step's second line
  std::int64_t idleCalls_ = 0;
  std::map<std::pair<const Method*, Value>, Value> answers_;  // to the last call for each link
};

}  // namespace quarnex::recording
