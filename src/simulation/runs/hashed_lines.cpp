#include "simulation/runs/hashed_lines.h"

#include <concepts>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>

namespace quarnex::simulation {

using recording::Key;
using recording::Line;
using recording::True;

namespace {

template <class Part>
std::uint64_t word(Part part) {
  return static_cast<std::uint64_t>(part);
}

/// Gathers the members of a line: those of a few bits share two words.
class LineHash {
 public:
  explicit LineHash(std::uint64_t kind) : bits_(kind) {}

  template <std::integral Number>
  void operator()(Key key, Number number) {
    (key == Key::Handle ? handle_ : number_) = static_cast<std::uint32_t>(number);
  }
  void operator()(Key, True) {}
  void operator()(Key, bool flag) { bits_ |= word(flag) << 40; }
  void operator()(Key, EventKind event) { bits_ |= word(event) << 8; }
  void operator()(Key, Operation operation) {
    bits_ |= isRead(operation) ? (word(operation) - word(Operation::State)) << 24 : word(operation) << 16;
  }
  void operator()(SocketId socket) {
    bits_ |= word(socket.array) << 32 | word(static_cast<std::uint16_t>(socket.index)) << 48;
  }
  void operator()(Key, const std::optional<std::int32_t>& offset) {
    bits_ |= word(offset.has_value()) << 41;
    offset_ = offset;
  }
  void operator()(Key, Instant instant) { instant_ = instant; }
  void operator()(Key key, std::string_view text) {
    text_ = text;
    if (key == Key::Sent) (*this)(key, Operation::Send);
    if (key == Key::Fetched) (*this)(key, Operation::Fetch);
  }
  void operator()(Key key, const Operand& operand, OperandKind) {
    if (const auto* number = std::get_if<std::int32_t>(&operand))
      (*this)(key == Key::Handle ? Key::Value : key, *number);
    if (const auto* text = std::get_if<std::string_view>(&operand)) (*this)(key, *text);
  }
  void operator()(Key, const Method* method) { method_ = method->name; }
  void operator()(Key, std::span<const Value> parameters) { values_ = parameters; }
  void operator()(Key, const Value* result) { values_ = {result, 1}; }

  void addTo(StreamHash& hash) const {
    hash.add(bits_);
    hash.add(word(number_) | word(handle_) << 32);
    if (instant_.second != 0) hash.add(word(instant_.second));
    if (offset_) hash.add(word(*offset_));
    if (!method_.empty()) hash.add(method_);
    if (!text_.empty()) hash.add(text_);
    for (const Value& value : values_) add(hash, value);
  }

 private:
  static void add(StreamHash& hash, const Value& value) {
    hash.add(word(value.index()));
    if (const auto* number = std::get_if<std::int16_t>(&value)) hash.add(word(*number));
    if (const auto* truth = std::get_if<bool>(&value)) hash.add(word(*truth));
    if (const auto* text = std::get_if<std::string>(&value)) hash.add(*text);
  }

  std::uint64_t bits_;
  std::uint32_t number_ = 0, handle_ = 0;
  Instant instant_;
  std::optional<std::int32_t> offset_;
  std::string_view method_, text_;
  std::span<const Value> values_;
};

// Failed reads, and the kinds behind failures, count one more than their place among the types of a line.
std::uint64_t kindOf(const Line& line) {
  const auto* failed = std::get_if<recording::FailedLine>(&line);
  const bool behind =
      failed != nullptr ? isRead(failed->operation) : line.index() > Line(recording::FailedLine{}).index();
  return line.index() + (behind ? 1 : 0);
}

}  // namespace

void HashedLines::begin(std::int32_t utcOffset) {
  hash_.add(word(utcOffset));
  for (auto& text : texts_) text.begin(utcOffset);
}

void HashedLines::take(const Line& line) {
  LineHash lineHash(kindOf(line));
  visitMembers(lineHash, line);
  lineHash.addTo(hash_);
  for (auto& text : texts_) text.take(line);
}

void HashedLines::pause() {
  if (texts_.empty()) return;
  for (auto& text : texts_) text.pause();
  std::erase_if(texts_, [](const auto& text) { return text.sink().full(); });
}

}  // namespace quarnex::simulation
