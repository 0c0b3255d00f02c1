#include "recording/shrinker/renumbering.h"

#include <memory>
#include <variant>

#include "recording/format/json_fields.h"
#include "recording/format/line_copy.h"

namespace quarnex::recording {
namespace {

bool isOfASocket(const Line& line) {
  switch (line.kind) {
    case LineKind::Event:
    case LineKind::Fetched:
      return true;
    case LineKind::Performed:
    case LineKind::FailedOperation:
    case LineKind::FailedRead:
    case LineKind::Property:
      return shapeOf(line.operation).onSocket;
    default:
      return false;
  }
}

bool namesALink(const Method& method) {
  return !method.parameters.empty() && method.parameters.front().name == "IdxQuarn";
}

}  // namespace

Renumbering::Renumbering(Library& library, std::span<const std::int16_t> links) {
  std::int16_t clients = 0, servers = 0;
  for (const std::int16_t link : links) {
    const ConnectionRecord& record = library.ConnectionTable[link];
    newLinks_.push_back(static_cast<std::int16_t>(newLinks_.size() + 1));
    numbers_[link] = newLinks_.back();
    if (record.IdxClient != 0) addSocket(SocketArray::ClientSocket, record.IdxClient, ++clients);
    if (record.IdxServer != 0) {
      addSocket(SocketArray::ServerSocket, record.IdxServer, ++servers);
      addSocket(SocketArray::SrvAccept, record.IdxServer, servers);
    }
  }
}

void Renumbering::addSocket(SocketArray array, std::int16_t index, std::int16_t newIndex) {
  indexes_[{array, index}] = newIndex;
}

Step Renumbering::renumbered(const Step& step) const {
  std::vector<Line> lines;
  std::size_t depth = 0, forgottenFrom = SIZE_MAX;  // steps nested in a removed line are removed, too
  for (const Line& line : *step.lines) {
    if (line.isStep()) ++depth;
    if (depth <= forgottenFrom) {
      forgottenFrom = !forgets(line) ? SIZE_MAX : line.isStep() ? depth - 1 : depth;
    }
    if (forgottenFrom == SIZE_MAX) lines.push_back(renumbered(line));
    if (line.kind == LineKind::End) --depth;
  }
  return {std::make_shared<const std::vector<Line>>(std::move(lines)), step.shift};
}

std::string Renumbering::renumbered(const std::string& text) const {
  try {
    return lineOf(renumbered(readLine(text)));
  } catch (const Damage&) {
    return text;
  }
}

bool Renumbering::forgets(const Line& line) const {
  if (line.kind == LineKind::Trace)
    return line.number != 0 && !numbers_.contains(static_cast<std::int16_t>(line.number));
  return isOfASocket(line) && !indexes_.contains({line.socket.array, line.socket.index});
}

Line Renumbering::renumbered(Line line) const {
  if (forgets(line)) return line;
  if (isOfASocket(line)) line.socket.index = indexes_.at({line.socket.array, line.socket.index});
  if (line.kind == LineKind::Trace && line.number != 0)
    line.number = numbers_.at(static_cast<std::int16_t>(line.number));
  if (line.kind == LineKind::Call && namesALink(*line.method)) {
    const auto number = numbers_.find(std::get<std::int16_t>(line.values.front()));
    if (number != numbers_.end()) line.values.front() = number->second;
  }
  return line;
}

}  // namespace quarnex::recording
