#include "recording/format/line_writer.h"

#include <cassert>
#include <charconv>
#include <concepts>
#include <cstring>

#include "recording/format/text_codes.h"

namespace quarnex::recording {
namespace {

// A step with many busy links is passed on in pieces.
constexpr std::size_t kPassedOnBytes = std::size_t{64} << 10;
constexpr std::size_t kKeptBytes = 4 * kPassedOnBytes;  // of memory, between two steps

constexpr std::size_t kTokensMax =
    256;  // characters of all tokens, words and numbers between two texts of a line
constexpr std::size_t kTextMax = 128;  // bytes of a text that are escaped in one piece
constexpr std::size_t kDraftMax = kTokensMax + kEscapedMax * kTextMax;

char* put(char* to, std::string_view piece) {
  std::memcpy(to, piece.data(), piece.size());
  return to + piece.size();
}
char* put(char* to, char piece) {
  *to = piece;
  return to + 1;
}
template <std::integral Number>
char* put(char* to, Number number) {
  return std::to_chars(to, to + 24, number).ptr;
}

/// Builds a line on the stack, so that the text it is appended to grows once unless the line is long. Between
/// two calls there is always room for `kTokensMax` more characters.
class Draft {
 public:
  explicit Draft(std::string& out) : out_(out) {}
  Draft(const Draft&) = delete;
  Draft& operator=(const Draft&) = delete;

  template <class... Pieces>
  void add(const Pieces&... pieces) {
    char* end = end_;  // a copy: the characters written through it might otherwise change `end_`
    ((end = put(end, pieces)), ...);
    end_ = end;
    assert(end_ <= draft_ + kDraftMax);
  }
  void addText(std::string_view bytes) {
    add('"');
    while (!bytes.empty()) {
      const std::string_view some = bytes.substr(0, kTextMax);
      const auto room = kDraftMax - static_cast<std::size_t>(end_ - draft_);
      if (room < kEscapedMax * some.size() + kTokensMax) passOn();
      end_ = escapeTo(end_, some);
      bytes.remove_prefix(some.size());
    }
    add('"');
  }
  /// Replaces the comma behind the last member.
  void finish() {
    end_[-1] = '}';
    add('\n');
    passOn();
  }

 private:
  void passOn() {
    out_.append(draft_, static_cast<std::size_t>(end_ - draft_));
    end_ = draft_;
  }

  std::string& out_;
  char draft_[kDraftMax];
  char* end_ = draft_;
};

/// Writes the members of one line. Behind each stands a comma; the last one becomes the closing brace.
class MemberWriter {
 public:
  explicit MemberWriter(Draft& draft) : draft_(draft) { draft_.add('{'); }

  template <std::integral Number>
  void operator()(Key key, Number number) {
    begin(key);
    draft_.add(number, ',');
  }
  void operator()(Key key, std::string_view bytes) {
    begin(key);
    draft_.addText(bytes);
    draft_.add(',');
  }
  void operator()(Key key, True) {
    begin(key);
    draft_.add("true,");
  }
  void operator()(Key key, bool flag) {
    if (flag) (*this)(key, True{});
  }
  void operator()(Key key, Instant instant) { (*this)(key, instant.second); }
  template <std::integral Number>
  void operator()(Key key, const std::optional<Number>& number) {
    if (number) (*this)(key, *number);
  }
  void operator()(Key key, EventKind event) { word(key, kEvents[static_cast<std::size_t>(event)]); }
  void operator()(Key key, Operation operation) { word(key, nameOf(operation)); }
  void operator()(Key key, const Method* method) { word(key, method->name); }
  void operator()(SocketId socket) {
    word("socket"_key, nameOf(socket.array));
    (*this)("index"_key, socket.index);
  }
  void operator()(Key key, const Operand& operand, OperandKind) {
    if (const auto* number = std::get_if<std::int32_t>(&operand)) (*this)(key, *number);
    if (const auto* text = std::get_if<std::string_view>(&operand)) (*this)(key, *text);
  }
  void operator()(Key key, const Value* result) {
    begin(key);
    value(*result);
    draft_.add(',');
  }
  void operator()(Key key, std::span<const Value> parameters) {
    begin(key);
    draft_.add('[');
    for (const Value& parameter : parameters) {
      if (&parameter != parameters.data()) draft_.add(',');
      value(parameter);
    }
    draft_.add("],");
  }

 private:
  void begin(Key key) { draft_.add('"', nameOf(key), "\":"); }
  // Needs no escapes.
  void word(Key key, std::string_view name) {
    begin(key);
    draft_.add('"', name, "\",");
  }
  void value(const Value& value) {
    if (const auto* number = std::get_if<std::int16_t>(&value)) {
      draft_.add(*number);
    } else if (const auto* truth = std::get_if<bool>(&value)) {
      draft_.add(*truth ? "true" : "false");
    } else if (const auto* text = std::get_if<std::string>(&value)) {
      draft_.addText(*text);
    } else {
      draft_.add("null");
    }
  }

  Draft& draft_;
};

}  // namespace

void writeLine(std::string& out, const Line& line) {
  if (const auto* invalid = std::get_if<InvalidLine>(&line)) {
    out.append(invalid->json) += '\n';
    return;
  }
  Draft draft(out);
  MemberWriter writer(draft);
  visitMembers(writer, line);
  draft.finish();
}

std::string textOf(const Line& line) {
  std::string text;
  writeLine(text, line);
  text.pop_back();
  return text;
}

void LineWriter::begin(std::int32_t utcOffset) {
  Draft draft(lines_);
  draft.add("{\"quarnex\":\"recording\",\"version\":1,\"utc_offset\":", utcOffset, ',');
  draft.finish();
  pause();
}

void LineWriter::take(const Line& line) {
  writeLine(lines_, line);
  if (lines_.size() > kPassedOnBytes) pause();
}

void LineWriter::pause() {
  if (lines_.empty()) return;
  sink_->write(lines_);
  lines_.clear();
  if (lines_.capacity() > kKeptBytes) lines_.shrink_to_fit();
}

}  // namespace quarnex::recording
