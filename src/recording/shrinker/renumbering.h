// Renumbers the chosen links 1 to n, as if no other had been added.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "engine/records/library.h"
#include "recording/format/line_parser.h"
#include "recording/format/line_writer.h"
#include "recording/format/recording_reader.h"

namespace quarnex::recording {

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

}  // namespace quarnex::recording
