// Checks whether fewer steps than the whole recording still reproduce its problem, also with fewer links.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <numeric>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "engine/records/library.h"
#include "recording/format/line_parser.h"
#include "recording/format/line_writer.h"
#include "recording/format/recording_reader.h"
#include "recording/shrinker/checker.h"
#include "recording/shrinker/reproduction.h"
#include "recording/shrinker/shrinker.h"

namespace quarnex::recording {

/// Renumbers the chosen links 1 to n, as if no other had been added.
class Renumbering {
 public:
  /// Renumbers the sockets of `links` in the same way.
  Renumbering(Library& library, std::span<const std::int16_t> links) {
    std::int16_t number = 0, clients = 0, servers = 0;
    for (const std::int16_t link : links) {
      const ConnectionRecord& record = library.ConnectionTable[link];
      numbers_[link] = ++number;
      if (record.IdxClient != 0) indexes_[{SocketArray::ClientSocket, record.IdxClient}] = ++clients;
      if (record.IdxServer == 0) continue;
      indexes_[{SocketArray::ServerSocket, record.IdxServer}] = ++servers;
      indexes_[{SocketArray::SrvAccept, record.IdxServer}] = servers;
    }
  }

  /// Copies the step without the lines of other links.
  RecordedStep renumbered(const RecordedStep& step) const {
    auto lines = std::make_shared<StoredLines>();
    std::size_t depth = 0, removedFrom = SIZE_MAX;  // steps nested in a removed line are removed, too
    for (Line line : *step.lines) {
      std::vector<Value> parameters;
      const bool belongs = renumber(line, parameters);
      if (isStep(line)) ++depth;
      if (depth <= removedFrom) {
        removedFrom = belongs ? SIZE_MAX : isStep(line) ? depth - 1 : depth;
      }
      if (removedFrom == SIZE_MAX) lines->add(line);
      if (std::holds_alternative<EndLine>(line)) --depth;
    }
    return {std::move(lines), step.shift};
  }
  /// Renumbers the text of one line; returns any other text unchanged.
  std::string renumbered(const std::string& text) const {
    try {
      LineParser parser;
      std::vector<Value> parameters;
      Line line = parser.parse(text);
      renumber(line, parameters);
      return textOf(line);
    } catch (const LineError&) {
      return text;
    }
  }

 private:
  /// False if the line belongs to another link; it is then unchanged. Its parameters move to `parameters` if
  /// one names a link.
  bool renumber(Line& line, std::vector<Value>& parameters) const {
    if (SocketId* socket = socketOf(line)) {
      const auto index = indexes_.find(*socket);
      if (index == indexes_.end()) return false;
      socket->index = index->second;
    }
    if (auto* trace = std::get_if<TraceLine>(&line); trace != nullptr && trace->link != 0) {
      const auto number = numbers_.find(trace->link);
      if (number == numbers_.end()) return false;
      trace->link = number->second;
    }
    if (auto* call = std::get_if<CallLine>(&line); call != nullptr && namesALink(*call)) {
      parameters.assign(call->parameters.begin(), call->parameters.end());
      const auto number = numbers_.find(std::get<std::int16_t>(parameters.front()));
      if (number != numbers_.end()) parameters.front() = number->second;
      call->parameters = parameters;
    }
    return true;
  }
  static bool namesALink(const CallLine& call) {
    const auto& parameters = call.method->parameters;
    return !parameters.empty() && parameters.front().name == "IdxQuarn";
  }

  std::map<std::int16_t, std::int16_t> numbers_;
  std::map<SocketId, std::int16_t> indexes_;
};

using Steps = std::vector<RecordedStep>;

/// Replays the steps to a fresh engine. A finding must be reported again, with the same text. A mismatch must
/// be the same one, in the last step, and the engine must enter that step in the same state as in the whole
/// recording. The state shows that the omitted steps do not matter: the engine that made the recording can no
/// longer be asked what it would have done without them.
class ReproductionCheck {
 public:
  ReproductionCheck(Problem problem, MakeChecker makeChecker)
      : problem_(std::move(problem)), makeChecker_(std::move(makeChecker)) {}

  /// Remembers the state to reach from `reproduction`, which has replayed all steps before `last`.
  void expectStateOf(Reproduction& reproduction, const RecordedStep& last) {
    state_ = reproduction.controlStateOf(problem_.links, last.at());
    before_.clear();
    if (!problem_.mismatch) return;
    reproduction.replay(last);
    for (const Line& line : *last.lines) {
      if (isCompared(line, reproduction.library())) before_.push_back(textOf(line));
    }
  }

  /// From now on, links and sockets in the steps have their new numbers.
  void renumber(const Renumbering& renumbering) {
    std::iota(problem_.links.begin(), problem_.links.end(), std::int16_t{1});
    for (std::string& text : before_) text = renumbering.renumbered(text);
    if (!problem_.mismatch) return;
    problem_.mismatch->expected.text = renumbering.renumbered(problem_.mismatch->expected.text);
    problem_.mismatch->actual = renumbering.renumbered(problem_.mismatch->actual);
  }

  /// Number of steps, from the first on, that reproduce the problem; 0 if they do not.
  std::size_t reproducedBy(const Steps& steps) {
    Reproduction reproduction = newReproduction();
    recording_ = reproduction.header();
    const bool forMismatch = problem_.mismatch.has_value();
    for (std::size_t count = 0; count < steps.size();) {
      const RecordedStep& step = steps[count++];
      ++stepsReplayed_;
      if (forMismatch && count == steps.size()) return mismatchReproduced(reproduction, step) ? count : 0;
      recording_ += reproduction.replay(step);
      const std::optional<Finding> finding = reproduction.finding();
      if (!forMismatch && finding) return finding->text == problem_.finding->text ? count : 0;
    }
    return 0;
  }
  /// The recording of the steps that the last call of `reproducedBy` replayed.
  const std::string& recording() const { return recording_; }

  /// A fresh engine to replay steps to.
  Reproduction newReproduction() const { return {problem_.utcOffset, makeChecker_}; }
  const Problem& problem() const { return problem_; }
  /// Steps replayed so far, in all reproductions.
  std::uint64_t stepsReplayed() const { return stepsReplayed_; }

 private:
  bool mismatchReproduced(Reproduction& reproduction, const RecordedStep& last) {
    if (reproduction.controlStateOf(problem_.links, last.at()) != state_) return false;
    const Mismatch& mismatch = *problem_.mismatch;
    LineParser parser;
    bool reproduced = false;
    std::size_t matched = 0;
    for (std::string_view rest = reproduction.replay(last); !rest.empty();) {
      const std::string_view text = rest.substr(0, rest.find('\n'));
      rest.remove_prefix(text.size() + 1);
      reproduced = matched == before_.size() && text == mismatch.actual;
      if (reproduced) break;
      if (isCompared(parser.parse(text), reproduction.library())) {
        if (matched == before_.size() || text != before_[matched]) return false;
        ++matched;
      }
      recording_.append(text) += '\n';
    }
    recording_.append(mismatch.expected.text) += '\n';
    return reproduced || (mismatch.actual == kNothingMore && matched == before_.size());
  }

  // A step for all links, such as a tick, lacks the outputs of links whose steps were removed.
  bool isCompared(const Line& output, const Library& library) const {
    if (std::holds_alternative<ResultLine>(output) || std::holds_alternative<FailureLine>(output))
      return true;
    if (std::holds_alternative<EndLine>(output)) return problem_.mismatch->actual == textOf(EndLine{});
    const bool isTrace = std::holds_alternative<TraceLine>(output);
    if (!isTrace && !std::holds_alternative<OperationLine>(output)) return false;
    const std::int16_t link = linkOf(library, output);
    return problem_.links.empty() || std::ranges::find(problem_.links, link) != problem_.links.end() ||
           (isTrace && link == 0);
  }

  Problem problem_;
  MakeChecker makeChecker_;
  std::string state_;                // of the engine before the last step
  std::vector<std::string> before_;  // outputs of the last step before the mismatch
  std::string recording_;
  std::uint64_t stepsReplayed_ = 0;
};

}  // namespace quarnex::recording
