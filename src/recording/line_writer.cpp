#include "recording/line_writer.h"

#include <cassert>
#include <charconv>
#include <concepts>
#include <cstring>

#include "quarnex/failure.h"
#include "recording/text_codes.h"

namespace quarnex::recording {
namespace {

constexpr std::size_t kPartMax = 256;  // words of the format and numbers; texts go over on their own

char* put(char* to, std::string_view piece) {
  std::memcpy(to, piece.data(), piece.size());
  return to + piece.size();
}
template <std::size_t N>
char* put(char* to, const char (&piece)[N]) {
  std::memcpy(to, piece, N - 1);
  return to + N - 1;
}
char* put(char* to, char piece) {
  *to = piece;
  return to + 1;
}
template <std::integral Number>
char* put(char* to, Number number) {
  return std::to_chars(to, to + 24, number).ptr;
}

// The pieces are joined on the stack, so that the text grows once.
template <class... Pieces>
void append(std::string& out, const Pieces&... pieces) {
  char part[kPartMax];
  char* end = part;
  ((end = put(end, pieces)), ...);
  assert(end <= part + kPartMax);
  out.append(part, static_cast<std::size_t>(end - part));
}

void appendText(std::string& out, std::string_view key, std::string_view bytes) {
  append(out, key, '"');
  appendEscaped(out, bytes);
  out += '"';
}

void appendSocket(std::string& out, SocketId socket) {
  append(out, ",\"socket\":\"", nameOf(socket.array), "\",\"index\":", socket.index);
}

void appendValue(std::string& out, const Value& value) {
  if (const auto* number = std::get_if<std::int16_t>(&value)) {
    append(out, *number);
  } else if (const auto* truth = std::get_if<bool>(&value)) {
    append(out, *truth ? "true" : "false");
  } else if (const auto* text = std::get_if<std::string>(&value)) {
    appendText(out, "", *text);
  } else {
    append(out, "null");
  }
}

void appendOffset(std::string& out, std::optional<std::int32_t> utcOffset) {
  if (utcOffset) append(out, ",\"utc_offset\":", *utcOffset);
}

void beginStep(std::string& out, const StepHead& head) {
  append(out, "{\"at\":", head.at.second);
  appendOffset(out, head.utcOffset);
  if (head.nested) append(out, ",\"nested\":true");
}

void end(std::string& out) {
  append(out, "}\n");
}

std::string_view argumentKey(Operation operation) {
  switch (operation) {
    case Operation::Attach:
      return ",\"handle\":";
    case Operation::CreateLog:
      return ",\"name\":";
    default:
      return ",\"value\":";
  }
}

}  // namespace

void writeHeader(std::string& out, std::int32_t utcOffset) {
  append(out, "{\"quarnex\":\"recording\",\"version\":1");
  appendOffset(out, utcOffset);
  end(out);
}

void writeCall(std::string& out, const StepHead& head, const Method& method,
               std::span<const Value> parameters) {
  beginStep(out, head);
  append(out, ",\"call\":\"", method.name, "\",\"params\":[");
  for (std::size_t i = 0; i < parameters.size(); ++i) {
    if (i > 0) out += ',';
    appendValue(out, parameters[i]);
  }
  out += ']';
  end(out);
}

void writeTick(std::string& out, const StepHead& head) {
  beginStep(out, head);
  append(out, ",\"tick\":true");
  end(out);
}

void writeEvent(std::string& out, const StepHead& head, EventKind event, SocketId socket, std::int16_t code,
                std::int32_t handle, std::string_view remoteHost) {
  beginStep(out, head);
  append(out, ",\"event\":\"", kEvents[static_cast<std::size_t>(event)], '"');
  appendSocket(out, socket);
  if (event == EventKind::Accept) {
    append(out, ",\"handle\":", handle);
    appendText(out, ",\"remote_host\":", remoteHost);
  }
  append(out, ",\"code\":", code);
  end(out);
}

void writeEnd(std::string& out) {
  append(out, "{\"end\":true}\n");
}

void writeTrace(std::string& out, std::int16_t link, std::string_view text) {
  append(out, "{\"trace\":", link);
  appendText(out, ",\"text\":", text);
  end(out);
}

void writeOperation(std::string& out, Operation operation, SocketId socket, std::int32_t number,
                    std::string_view text) {
  const OperationShape& shape = shapeOf(operation);
  if (operation == Operation::Send) {
    appendText(out, "{\"sent\":", text);
  } else {
    append(out, "{\"did\":\"", shape.name, '"');
  }
  if (shape.onSocket) appendSocket(out, socket);
  if (shape.argument == ValueKind::Integer) append(out, argumentKey(operation), number);
  if (shape.argument == ValueKind::String && operation != Operation::Send) {
    appendText(out, argumentKey(operation), text);
  }
  end(out);
}

void writeResult(std::string& out, const Value& result) {
  append(out, "{\"result\":");
  appendValue(out, result);
  end(out);
}

void writeFailure(std::string& out, const Failure& failure) {
  append(out, "{\"failure\":", failure.number());
  appendText(out, ",\"description\":", failure.description());
  end(out);
}

void writeFetched(std::string& out, SocketId socket, std::string_view bytes) {
  appendText(out, "{\"fetched\":", bytes);
  appendSocket(out, socket);
  end(out);
}

void writeFailed(std::string& out, std::string_view name, bool onSocket, SocketId socket,
                 const Failure& failure) {
  append(out, "{\"failed\":\"", name, '"');
  if (onSocket) appendSocket(out, socket);
  append(out, ",\"number\":", failure.number());
  appendText(out, ",\"description\":", failure.description());
  end(out);
}

void writeProperty(std::string& out, Property property, SocketId socket, std::int32_t value) {
  append(out, "{\"property\":\"", shapeOf(property).name, '"');
  if (shapeOf(property).onSocket) appendSocket(out, socket);
  append(out, ",\"value\":", value);
  end(out);
}

void writeProperty(std::string& out, Property property, SocketId socket, std::string_view value) {
  append(out, "{\"property\":\"", shapeOf(property).name, '"');
  appendSocket(out, socket);
  appendText(out, ",\"value\":", value);
  end(out);
}

void writeNow(std::string& out, Instant now, std::optional<std::int32_t> utcOffset) {
  append(out, "{\"now\":", now.second);
  appendOffset(out, utcOffset);
  end(out);
}

void writeMissing(std::string& out, std::uint64_t bytes) {
  append(out, "{\"missing\":", bytes, "}\n");
}

}  // namespace quarnex::recording
