#include "recording/line_writer.h"

#include <cassert>
#include <charconv>
#include <concepts>
#include <cstring>

#include "quarnex/failure.h"
#include "recording/text_codes.h"

namespace quarnex::recording {
namespace {

constexpr std::size_t kPartMax = 256;   // of words of the format and numbers that are written together
constexpr std::size_t kTextMax = 128;   // bytes of a text that are escaped together
constexpr std::size_t kLineMax = 1024;  // what is longer goes over in pieces
static_assert(kLineMax >= kPartMax && kLineMax >= kEscapedMax * kTextMax);

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

/// A line under way, made on the stack so that the text it is for grows once.
class Draft {
 public:
  explicit Draft(std::string& out) : out_(out) {}
  Draft(const Draft&) = delete;
  Draft& operator=(const Draft&) = delete;

  template <class... Pieces>
  void add(const Pieces&... pieces) {
    makeRoom(kPartMax);
    ((end_ = put(end_, pieces)), ...);
    assert(end_ <= line_ + kLineMax);
  }
  void addText(std::string_view bytes) {
    add('"');
    while (!bytes.empty()) {
      const std::string_view some = bytes.substr(0, kTextMax);
      makeRoom(kEscapedMax * some.size());
      end_ = escapeTo(end_, some);
      bytes.remove_prefix(some.size());
    }
    add('"');
  }
  void finish() {
    add("}\n");
    passOn();
  }

 private:
  void makeRoom(std::size_t size) {
    if (kLineMax - static_cast<std::size_t>(end_ - line_) < size) passOn();
  }
  void passOn() {
    out_.append(line_, static_cast<std::size_t>(end_ - line_));
    end_ = line_;
  }

  std::string& out_;
  char line_[kLineMax];
  char* end_ = line_;
};

void appendSocket(Draft& line, SocketId socket) {
  line.add(",\"socket\":\"", nameOf(socket.array), "\",\"index\":", socket.index);
}

void appendValue(Draft& line, const Value& value) {
  if (const auto* number = std::get_if<std::int16_t>(&value)) {
    line.add(*number);
  } else if (const auto* truth = std::get_if<bool>(&value)) {
    line.add(*truth ? "true" : "false");
  } else if (const auto* text = std::get_if<std::string>(&value)) {
    line.addText(*text);
  } else {
    line.add("null");
  }
}

void appendOffset(Draft& line, std::optional<std::int32_t> utcOffset) {
  if (utcOffset) line.add(",\"utc_offset\":", *utcOffset);
}

void beginStep(Draft& line, const StepHead& head) {
  line.add("{\"at\":", head.at.second);
  appendOffset(line, head.utcOffset);
  if (head.nested) line.add(",\"nested\":true");
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
  Draft line(out);
  line.add("{\"quarnex\":\"recording\",\"version\":1");
  appendOffset(line, utcOffset);
  line.finish();
}

void writeCall(std::string& out, const StepHead& head, const Method& method,
               std::span<const Value> parameters) {
  Draft line(out);
  beginStep(line, head);
  line.add(",\"call\":\"", method.name, "\",\"params\":[");
  for (std::size_t i = 0; i < parameters.size(); ++i) {
    if (i > 0) line.add(',');
    appendValue(line, parameters[i]);
  }
  line.add(']');
  line.finish();
}

void writeTick(std::string& out, const StepHead& head) {
  Draft line(out);
  beginStep(line, head);
  line.add(",\"tick\":true");
  line.finish();
}

void writeEvent(std::string& out, const StepHead& head, EventKind event, SocketId socket, std::int16_t code,
                std::int32_t handle, std::string_view remoteHost) {
  Draft line(out);
  beginStep(line, head);
  line.add(",\"event\":\"", kEvents[static_cast<std::size_t>(event)], '"');
  appendSocket(line, socket);
  if (event == EventKind::Accept) {
    line.add(",\"handle\":", handle, ",\"remote_host\":");
    line.addText(remoteHost);
  }
  line.add(",\"code\":", code);
  line.finish();
}

void writeEnd(std::string& out) {
  Draft line(out);
  line.add("{\"end\":true");
  line.finish();
}

void writeTrace(std::string& out, std::int16_t link, std::string_view text) {
  Draft line(out);
  line.add("{\"trace\":", link, ",\"text\":");
  line.addText(text);
  line.finish();
}

void writeOperation(std::string& out, Operation operation, SocketId socket, std::int32_t number,
                    std::string_view text) {
  Draft line(out);
  const OperationShape& shape = shapeOf(operation);
  if (operation == Operation::Send) {
    line.add("{\"sent\":");
    line.addText(text);
  } else {
    line.add("{\"did\":\"", shape.name, '"');
  }
  if (shape.onSocket) appendSocket(line, socket);
  if (shape.argument == ValueKind::Integer) line.add(argumentKey(operation), number);
  if (shape.argument == ValueKind::String && operation != Operation::Send) {
    line.add(argumentKey(operation));
    line.addText(text);
  }
  line.finish();
}

void writeResult(std::string& out, const Value& result) {
  Draft line(out);
  line.add("{\"result\":");
  appendValue(line, result);
  line.finish();
}

void writeFailure(std::string& out, const Failure& failure) {
  Draft line(out);
  line.add("{\"failure\":", failure.number(), ",\"description\":");
  line.addText(failure.description());
  line.finish();
}

void writeFetched(std::string& out, SocketId socket, std::string_view bytes) {
  Draft line(out);
  line.add("{\"fetched\":");
  line.addText(bytes);
  appendSocket(line, socket);
  line.finish();
}

void writeFailed(std::string& out, std::string_view name, bool onSocket, SocketId socket,
                 const Failure& failure) {
  Draft line(out);
  line.add("{\"failed\":\"", name, '"');
  if (onSocket) appendSocket(line, socket);
  line.add(",\"number\":", failure.number(), ",\"description\":");
  line.addText(failure.description());
  line.finish();
}

void writeProperty(std::string& out, Property property, SocketId socket, std::int32_t value) {
  Draft line(out);
  line.add("{\"property\":\"", shapeOf(property).name, '"');
  if (shapeOf(property).onSocket) appendSocket(line, socket);
  line.add(",\"value\":", value);
  line.finish();
}

void writeProperty(std::string& out, Property property, SocketId socket, std::string_view value) {
  Draft line(out);
  line.add("{\"property\":\"", shapeOf(property).name, '"');
  appendSocket(line, socket);
  line.add(",\"value\":");
  line.addText(value);
  line.finish();
}

void writeNow(std::string& out, Instant now, std::optional<std::int32_t> utcOffset) {
  Draft line(out);
  line.add("{\"now\":", now.second);
  appendOffset(line, utcOffset);
  line.finish();
}

void writeMissing(std::string& out, std::uint64_t bytes) {
  Draft line(out);
  line.add("{\"missing\":", bytes);
  line.finish();
}

}  // namespace quarnex::recording
