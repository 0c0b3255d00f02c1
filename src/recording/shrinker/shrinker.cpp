#include "recording/shrinker/shrinker.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <numeric>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "recording/player/player.h"
#include "recording/shrinker/reproduction_check.h"

namespace quarnex::recording {
namespace {

constexpr std::uint64_t kStepsReplayedMax = 20'000'000;

class Shrinker {
 public:
  Shrinker(std::istream& in, ReproductionCheck check) : in_(in), check_(std::move(check)) {}

  void shrink(ShrinkResult& result) {
    const bool taken = take(false, false) || take(true, false) || take(true, true);
    result.stepsBefore = stepsBefore_;
    if (!taken) return;
    removeOtherLinks();
    for (std::size_t before = SIZE_MAX; steps_.size() < before;) {
      before = steps_.size();
      removeRepetitions();
      removeOthers();
      removeDeliveries();
    }
    result.stepsAfter = steps_.size();
    result.removed = removed_;
    check_.reproducedBy(steps_);
    result.recording = check_.recording();
  }

 private:
  // Reads the steps and keeps those that change the engine's state. False if these do not reproduce the
  // problem.
  bool take(bool ofAllLinks, bool allSteps) {
    ofAllLinks_ = ofAllLinks || check_.problem().links.empty();
    steps_.clear();
    stepsBefore_ = 0;
    removed_ = {};
    in_.clear();
    in_.seekg(0);
    RecordingReader recording(in_);
    StepReader reader(recording, check_.problem().end);
    Reproduction reproduction = check_.newReproduction();
    std::string state = stateOf(reproduction);
    for (RecordedStep step; reader.next(step);) {
      ++stepsBefore_;
      if (reader.atEnd()) {
        check_.expectStateOf(reproduction, step);
        steps_.push_back(step);
      } else if (!concerns(linkOf(reproduction.library(), step.head()))) {
        ++removed_.ofOtherLinks;
      } else {
        reproduction.replay(step);
        std::string after = stateOf(reproduction);
        if (after == state && !allSteps) {
          ++removed_.withoutEffect;
        } else {
          steps_.push_back(step);
        }
        state = std::move(after);
      }
    }
    const std::size_t shown = check_.reproducedBy(steps_);
    steps_.resize(shown);
    return shown > 0;
  }

  // Removes the other links' Add calls and renumbers the remaining links accordingly.
  void removeOtherLinks() {
    if (ofAllLinks_) return;
    Steps candidate;
    Reproduction reproduction = check_.newReproduction();
    Library& library = reproduction.library();
    for (const RecordedStep& step : steps_) {
      const std::int16_t before = library.ConnectionCount;
      reproduction.replay(step);
      if (library.ConnectionCount == before || concerns(library.ConnectionCount)) candidate.push_back(step);
    }
    const auto& links = check_.problem().links;
    if (!std::ranges::all_of(links, [&](std::int16_t link) { return library.validIndex(link); })) return;
    const Renumbering renumbering(library, links);
    for (RecordedStep& step : candidate) {
      step = renumbering.renumbered(step);
      if (step.lines->empty()) return;  // the last step belongs to another link
    }
    ReproductionCheck before = check_;
    check_.renumber(renumbering);
    if (!accept(std::move(candidate), removed_.ofOtherLinks)) check_ = std::move(before);
  }

  // If the engine returns to a state later, the steps between only take time: continue from the later moment.
  void removeRepetitions() {
    std::vector<std::size_t> states;
    std::unordered_map<std::size_t, std::size_t> latest;
    Reproduction reproduction = check_.newReproduction();
    for (const RecordedStep& step : steps_) {
      states.push_back(std::hash<std::string>()(stateOf(reproduction, step.at())));
      latest[states.back()] = states.size() - 1;
      reproduction.replay(step);
    }
    Steps candidate;
    std::int64_t skipped = 0;  // seconds
    for (std::size_t i = 0; i < steps_.size(); ++i) {
      const std::size_t later = latest[states[i]];
      skipped += steps_[later].at().second - steps_[i].at().second;
      candidate.push_back(steps_[later]);
      candidate.back().shift -= skipped;
      i = later;
    }
    for (RecordedStep& step : candidate) step.shift += skipped;
    accept(std::move(candidate), removed_.repetitions);
  }

  // Tries to remove runs of steps, half of all first, then ever shorter ones.
  void removeOthers() {
    for (std::size_t size = steps_.size() / 2; size > 0; size /= 2) {
      for (std::size_t end = steps_.size() - 1; end > 0;) {
        const std::size_t begin = end - std::min(size, end);
        std::vector<bool> run(steps_.size());
        for (std::size_t i = begin; i < end; ++i) run[i] = true;
        removeMarked(run, begin, end);
        end = std::min(begin, steps_.size() - 1);
      }
    }
  }

  // Removes a step that delivers texts to the host together with as many calls that take one, wherever they
  // are.
  void removeDeliveries() {
    std::vector<int> changes = arrivals();
    for (std::size_t at = steps_.size() - 1; at-- > 0;) {
      if (changes[at] <= 0) continue;
      std::vector<bool> delivery(steps_.size());
      delivery[at] = true;
      int toTake = changes[at];
      for (std::size_t i = at + 1; i + 1 < steps_.size() && toTake > 0; ++i) {
        delivery[i] = changes[i] == -1;
        toTake -= delivery[i];
      }
      if (removeMarked(delivery, at, at + 1)) changes = arrivals();
    }
  }

  // Tries to remove the marked steps. If the gap from `begin` to `end` matters, the steps before it move to a
  // later time.
  bool removeMarked(const std::vector<bool>& marked, std::size_t begin, std::size_t end) {
    const std::int64_t gap = steps_[end].at().second - steps_[begin].at().second;
    for (const bool closingTheGap : {false, true}) {
      if ((closingTheGap && gap == 0) || check_.stepsReplayed() > kStepsReplayedMax) return false;
      Steps candidate;
      for (std::size_t i = 0; i < steps_.size(); ++i) {
        if (marked[i]) continue;
        candidate.push_back(steps_[i]);
        if (closingTheGap && i < begin) candidate.back().shift += gap;
      }
      if (accept(std::move(candidate), removed_.others)) return true;
    }
    return false;
  }

  // By how much each step changes the number of texts that wait for the host.
  std::vector<int> arrivals() const {
    std::vector<int> changes;
    int before = 0;
    Reproduction reproduction = check_.newReproduction();
    for (const RecordedStep& step : steps_) {
      reproduction.replay(step);
      int waiting = 0;
      for (std::int16_t link = 1; link <= reproduction.library().ConnectionCount; ++link)
        waiting += reproduction.library().ConnectionTable[link].CodaArrivo.Count;
      changes.push_back(waiting - std::exchange(before, waiting));
    }
    return changes;
  }

  bool accept(Steps candidate, std::size_t& count) {
    const std::size_t shown = check_.reproducedBy(candidate);
    if (shown == 0) return false;
    candidate.resize(shown);
    count += steps_.size() - shown;
    steps_ = std::move(candidate);
    return true;
  }

  bool concerns(std::int16_t link) const {
    return ofAllLinks_ || link == 0 ||
           std::ranges::find(check_.problem().links, link) != check_.problem().links.end();
  }

  // State of the links under test; deadlines are absolute or, if `now` is given, the seconds left.
  std::string stateOf(Reproduction& reproduction, std::optional<Instant> now = std::nullopt) const {
    std::vector<std::int16_t> links = check_.problem().links;
    if (ofAllLinks_) {
      links.resize(static_cast<std::size_t>(reproduction.library().ConnectionCount));
      std::iota(links.begin(), links.end(), std::int16_t{1});
    }
    return reproduction.stateOf(links, now);
  }

  std::istream& in_;
  ReproductionCheck check_;
  bool ofAllLinks_ = false;
  Steps steps_;
  std::size_t stepsBefore_ = 0;
  RemovedSteps removed_;
};

}  // namespace

Problem findProblem(std::istream& in, const MakeChecker& makeChecker) {
  RecordingReader reader(in);
  const std::unique_ptr<Checker> checker = makeChecker(std::make_shared<Sink>());
  Problem problem;
  problem.utcOffset = reader.utcOffset();
  std::optional<Finding> finding;
  const ReplayResult result = replay(reader, checker.get(), [&] {
    finding = checker->finding();
    return finding.has_value();
  });
  problem.damage = result.damage;
  problem.mismatch = result.mismatch;
  problem.end = result.lines + 1;
  if (problem.mismatch) {
    problem.links = problem.mismatch->links;
  } else if (problem.finding = finding; problem.finding && problem.finding->link != 0) {
    problem.links = {static_cast<std::int16_t>(problem.finding->link)};
  }
  return problem;
}

ShrinkResult shrink(std::istream& in, const MakeChecker& makeChecker) {
  ShrinkResult result;
  result.problem = findProblem(in, makeChecker);
  if (!result.problem.found()) return result;
  const auto makePlain = [](auto sink) { return std::make_unique<NullChecker>(std::move(sink)); };
  ReproductionCheck check(result.problem, result.problem.mismatch ? makePlain : makeChecker);
  Shrinker(in, std::move(check)).shrink(result);
  return result;
}

}  // namespace quarnex::recording
