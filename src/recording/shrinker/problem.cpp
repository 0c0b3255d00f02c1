#include "recording/shrinker/problem.h"

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

#include "recording/format/line_parser.h"
#include "recording/player/player.h"

namespace quarnex::recording {
namespace {

class NoSink final : public Sink {
 public:
  void write(std::string_view) override {}
};

std::int16_t linkOf(const Library& library, SocketId socket) {
  const auto& links = socket.array == SocketArray::ClientSocket ? library.ClientLinks : library.ServerLinks;
  const auto slot = static_cast<std::size_t>(socket.index) - 1;
  return slot < links.size() ? links[slot] : std::int16_t{0};
}

// The links of the expected output (unless that is the next step) and of the actual one; if neither names a
// link, the link of the step.
std::vector<std::int16_t> linksOf(const Mismatch& mismatch, const Library& library) {
  LineParser parser;
  std::vector<std::int16_t> links;
  const auto add = [&](const std::string& text, bool orStep) {
    const Line line = parser.parse(text);
    const std::int16_t link = isStep(line) && !orStep ? std::int16_t{0} : linkOf(library, line);
    if (link != 0 && std::ranges::find(links, link) == links.end()) links.push_back(link);
  };
  add(mismatch.expected.text, false);
  if (mismatch.actual != kNothingMore) add(mismatch.actual, true);
  if (links.empty() && !mismatch.steps.empty()) add(mismatch.steps.back().text, true);
  return links;
}

}  // namespace

std::int16_t linkOf(const Library& library, const Line& line) {
  if (const auto* trace = std::get_if<TraceLine>(&line)) return trace->link;
  if (const auto* call = std::get_if<CallLine>(&line)) {
    const auto* index =
        call->parameters.empty() ? nullptr : std::get_if<std::int16_t>(&call->parameters.front());
    return index == nullptr ? std::int16_t{0} : *index;
  }
  const bool mayHaveLink =
      std::holds_alternative<EventLine>(line) || std::holds_alternative<OperationLine>(line);
  const SocketId* socket = mayHaveLink ? socketOf(line) : nullptr;
  return socket == nullptr ? std::int16_t{0} : linkOf(library, *socket);
}

Problem findProblem(std::istream& in, const MakeChecker& makeChecker) {
  RecordingReader reader(in);
  const std::unique_ptr<Checker> checker = makeChecker(std::make_shared<NoSink>());
  Player player(reader, checker.get());
  while (player.running() && !checker->finding()) player.replayStep();
  ReplayResult result = player.result();
  Problem problem;
  problem.damage = std::move(result.damage);
  problem.mismatch = std::move(result.mismatch);
  problem.end = result.lines + 1;
  if (problem.mismatch) {
    problem.links = linksOf(*problem.mismatch, player.library());
  } else if (problem.finding = checker->finding(); problem.finding && problem.finding->link != 0) {
    problem.links = {static_cast<std::int16_t>(problem.finding->link)};
  }
  return problem;
}

}  // namespace quarnex::recording
