#include "recording/format/line_writer.h"

#include <cassert>
#include <charconv>
#include <concepts>
#include <cstring>

#include "recording/format/text_codes.h"

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

void appendSocket(Draft& draft, SocketId socket) {
  draft.add(",\"socket\":\"", nameOf(socket.array), "\",\"index\":", socket.index);
}

void appendValue(Draft& draft, const Value& value) {
  if (const auto* number = std::get_if<std::int16_t>(&value)) {
    draft.add(*number);
  } else if (const auto* truth = std::get_if<bool>(&value)) {
    draft.add(*truth ? "true" : "false");
  } else if (const auto* text = std::get_if<std::string>(&value)) {
    draft.addText(*text);
  } else {
    draft.add("null");
  }
}

void appendOffset(Draft& draft, std::optional<std::int32_t> utcOffset) {
  if (utcOffset) draft.add(",\"utc_offset\":", *utcOffset);
}

void appendStep(Draft& draft, const LineParts& line) {
  draft.add("{\"at\":", line.at.second);
  appendOffset(draft, line.utcOffset);
  if (line.nested) draft.add(",\"nested\":true");
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

void addCall(Draft& draft, const LineParts& line) {
  appendStep(draft, line);
  draft.add(",\"call\":\"", line.method->name, "\",\"params\":[");
  for (std::size_t i = 0; i < line.values.size(); ++i) {
    if (i > 0) draft.add(',');
    appendValue(draft, line.values[i]);
  }
  draft.add(']');
}

void addTick(Draft& draft, const LineParts& line) {
  appendStep(draft, line);
  draft.add(",\"tick\":true");
}

void addEvent(Draft& draft, const LineParts& line) {
  appendStep(draft, line);
  draft.add(",\"event\":\"", kEvents[static_cast<std::size_t>(line.event)], '"');
  appendSocket(draft, line.socket);
  if (line.event == EventKind::Accept) {
    draft.add(",\"handle\":", line.handle, ",\"remote_host\":");
    draft.addText(line.text);
  }
  draft.add(",\"code\":", line.number);
}

void addTrace(Draft& draft, const LineParts& line) {
  draft.add("{\"trace\":", line.number, ",\"text\":");
  draft.addText(line.text);
}

void addOperation(Draft& draft, const LineParts& line) {
  const OperationShape& shape = shapeOf(line.operation);
  if (line.operation == Operation::Send) {
    draft.add("{\"sent\":");
    draft.addText(line.text);
  } else {
    draft.add("{\"did\":\"", shape.name, '"');
  }
  if (shape.onSocket) appendSocket(draft, line.socket);
  if (shape.argument == OperandKind::Number) draft.add(argumentKey(line.operation), line.number);
  if (shape.argument == OperandKind::Text && line.operation != Operation::Send) {
    draft.add(argumentKey(line.operation));
    draft.addText(line.text);
  }
}

void addResult(Draft& draft, const LineParts& line) {
  draft.add("{\"result\":");
  appendValue(draft, line.values.front());
}

void addFailure(Draft& draft, const LineParts& line) {
  draft.add("{\"failure\":", line.number, ",\"description\":");
  draft.addText(line.text);
}

void addFetched(Draft& draft, const LineParts& line) {
  draft.add("{\"fetched\":");
  draft.addText(line.text);
  appendSocket(draft, line.socket);
}

void addFailed(Draft& draft, const LineParts& line) {
  const OperationShape& shape = shapeOf(line.operation);
  draft.add("{\"failed\":\"", shape.name, '"');
  if (shape.onSocket) appendSocket(draft, line.socket);
  draft.add(",\"number\":", line.number, ",\"description\":");
  draft.addText(line.text);
}

void addProperty(Draft& draft, const LineParts& line) {
  const OperationShape& shape = shapeOf(line.operation);
  draft.add("{\"property\":\"", shape.name, '"');
  if (shape.onSocket) appendSocket(draft, line.socket);
  draft.add(",\"value\":");
  if (shape.result == OperandKind::Text) {
    draft.addText(line.text);
  } else {
    draft.add(line.number);
  }
}

void addNow(Draft& draft, const LineParts& line) {
  draft.add("{\"now\":", line.at.second);
  appendOffset(draft, line.utcOffset);
}

void addParts(Draft& draft, const LineParts& line) {
  switch (line.kind) {
    case LineKind::Call:
      return addCall(draft, line);
    case LineKind::Tick:
      return addTick(draft, line);
    case LineKind::Event:
      return addEvent(draft, line);
    case LineKind::Trace:
      return addTrace(draft, line);
    case LineKind::Performed:
      return addOperation(draft, line);
    case LineKind::Result:
      return addResult(draft, line);
    case LineKind::Failure:
      return addFailure(draft, line);
    case LineKind::End:
      return draft.add("{\"end\":true");
    case LineKind::Fetched:
      return addFetched(draft, line);
    case LineKind::FailedOperation:
    case LineKind::FailedRead:
      return addFailed(draft, line);
    case LineKind::Property:
      return addProperty(draft, line);
    case LineKind::Now:
      return addNow(draft, line);
    case LineKind::Missing:
      return draft.add("{\"missing\":", line.text);
    case LineKind::NoOutput:
      return;
  }
}

}  // namespace

void writeHeader(std::string& out, std::int32_t utcOffset) {
  Draft draft(out);
  draft.add("{\"quarnex\":\"recording\",\"version\":1");
  appendOffset(draft, utcOffset);
  draft.finish();
}

void writeLine(std::string& out, const LineParts& line) {
  if (line.kind == LineKind::NoOutput) {
    out.append(line.text) += '\n';
    return;
  }
  Draft draft(out);
  addParts(draft, line);
  draft.finish();
}

std::string lineOf(const LineParts& line) {
  std::string text;
  writeLine(text, line);
  text.pop_back();
  return text;
}

}  // namespace quarnex::recording
