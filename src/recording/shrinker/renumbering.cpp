#include "recording/shrinker/renumbering.h"

#include <memory>
#include <variant>

#include "recording/format/line_parser.h"
#include "recording/format/line_writer.h"

namespace quarnex::recording {
namespace {

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

RecordedStep Renumbering::renumbered(const RecordedStep& step) const {
  auto lines = std::make_shared<StoredLines>();
  std::size_t depth = 0, removedFrom = SIZE_MAX;  // steps nested in a removed line are removed, too
  for (const Line& line : *step.lines) {
    if (isStep(line)) ++depth;
    if (depth <= removedFrom) {
      removedFrom = !removes(line) ? SIZE_MAX : isStep(line) ? depth - 1 : depth;
    }
    if (removedFrom == SIZE_MAX) addRenumbered(*lines, line);
    if (std::holds_alternative<EndLine>(line)) --depth;
  }
  return {std::move(lines), step.shift};
}

std::string Renumbering::renumbered(const std::string& text) const {
  try {
    LineParser parser;
    StoredLines lines;
    addRenumbered(lines, parser.parse(text));
    return textOf(lines.front());
  } catch (const LineError&) {
    return text;
  }
}

bool Renumbering::removes(const Line& line) const {
  if (const auto* trace = std::get_if<TraceLine>(&line))
    return trace->link != 0 && !numbers_.contains(trace->link);
  const SocketId* socket = socketOf(line);
  return socket != nullptr && !indexes_.contains({socket->array, socket->index});
}

void Renumbering::addRenumbered(StoredLines& lines, Line line) const {
  if (removes(line)) return lines.add(line);
  if (SocketId* socket = socketOf(line)) socket->index = indexes_.at({socket->array, socket->index});
  if (auto* trace = std::get_if<TraceLine>(&line); trace != nullptr && trace->link != 0)
    trace->link = numbers_.at(trace->link);
  std::vector<Value> parameters;
  if (auto* call = std::get_if<CallLine>(&line); call != nullptr && namesALink(*call->method)) {
    parameters.assign(call->parameters.begin(), call->parameters.end());
    const auto number = numbers_.find(std::get<std::int16_t>(parameters.front()));
    if (number != numbers_.end()) parameters.front() = number->second;
    call->parameters = parameters;
  }
  lines.add(line);
}

}  // namespace quarnex::recording
