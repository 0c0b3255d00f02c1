// Writes the lines of a recording, appending to one text: no library, no copies.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "component/observer.h"
#include "recording/line.h"

namespace quarnex::recording {

/// The first line of a recording.
void writeHeader(std::string& out, std::int32_t utcOffset);

/// What all steps have: the clock, the offset where it changed, and whether they are nested.
struct StepHead {
  Instant at;
  std::optional<std::int32_t> utcOffset{};
  bool nested = false;
};

void writeCall(std::string& out, const StepHead& head, const Method& method,
               std::span<const Value> parameters);
void writeTick(std::string& out, const StepHead& head);
/// `handle` and `remoteHost` belong to an `Accept`.
void writeEvent(std::string& out, const StepHead& head, EventKind event, SocketId socket, std::int16_t code,
                std::int32_t handle = 0, std::string_view remoteHost = {});
void writeEnd(std::string& out);

void writeTrace(std::string& out, std::int16_t link, std::string_view text);
/// One operation with its argument, if it has one: a number or a text.
void writeOperation(std::string& out, Operation operation, SocketId socket, std::int32_t number,
                    std::string_view text);
void writeResult(std::string& out, const Value& result);
void writeFailure(std::string& out, const Failure& failure);

void writeFetched(std::string& out, SocketId socket, std::string_view bytes);
/// `name` is that of an operation or of a property.
void writeFailed(std::string& out, std::string_view name, bool onSocket, SocketId socket,
                 const Failure& failure);
void writeProperty(std::string& out, Property property, SocketId socket, std::int32_t value);
void writeProperty(std::string& out, Property property, SocketId socket, std::string_view value);
void writeNow(std::string& out, Instant now, std::optional<std::int32_t> utcOffset);
/// Stands where lines could not be kept; nothing behind it can be played.
void writeMissing(std::string& out, std::uint64_t bytes);

}  // namespace quarnex::recording
