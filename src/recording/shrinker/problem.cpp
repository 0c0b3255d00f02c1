#include "recording/shrinker/problem.h"

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

#include "recording/format/line_copy.h"
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
std::vector<std::int16_t> linksOf(const Difference& difference, const Library& library) {
  std::vector<std::int16_t> links;
  const auto add = [&](const Line& line) {
    const std::int16_t link = linkOf(library, line);
    if (link != 0 && std::ranges::find(links, link) == links.end()) links.push_back(link);
  };
  const Line expected = readLine(difference.expected.text);
  if (!expected.isStep()) add(expected);
  if (difference.actual != kNothingMore) add(readLine(difference.actual));
  if (links.empty() && !difference.steps.empty()) add(readLine(difference.steps.back().text));
  return links;
}

}  // namespace

std::int16_t linkOf(const Library& library, const Line& line) {
  switch (line.kind) {
    case LineKind::Trace:
      return static_cast<std::int16_t>(line.number);
    case LineKind::Event:
      return linkOf(library, line.socket);
    case LineKind::Performed:
      return shapeOf(line.operation).onSocket ? linkOf(library, line.socket) : std::int16_t{0};
    case LineKind::Call: {
      const auto* index = line.values.empty() ? nullptr : std::get_if<std::int16_t>(&line.values.front());
      return index == nullptr ? std::int16_t{0} : *index;
    }
    default:
      return 0;
  }
}

Problem findProblem(std::istream& in, const MakeChecker& makeChecker) {
  RecordingReader reader(in);
  const std::unique_ptr<Checker> checker = makeChecker(std::make_shared<NoSink>());
  Player player(reader, checker.get());
  while (player.playing() && !checker->finding()) player.playStep();
  PlayResult result = player.result();
  Problem problem;
  problem.damage = std::move(result.damage);
  problem.difference = std::move(result.difference);
  problem.end = result.lines + 1;
  if (problem.difference) {
    problem.links = linksOf(*problem.difference, player.library());
  } else if (problem.finding = checker->finding(); problem.finding && problem.finding->link != 0) {
    problem.links = {static_cast<std::int16_t>(problem.finding->link)};
  }
  return problem;
}

}  // namespace quarnex::recording
