// Hashes the lines of a recording and, on request, passes them to sinks as text.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "recording/format/line_writer.h"
#include "simulation/checks/independent/stream_hash.h"

namespace quarnex::simulation {

template <class Number>
concept NumberOrName = std::is_integral_v<Number> || std::is_enum_v<Number>;

/// Adds each member of a line, with its key, to a hash.
struct MemberHash {
  void operator()(recording::Key key, NumberOrName auto number) {
    hash.add(static_cast<std::uint64_t>(key) << 56 ^ static_cast<std::uint64_t>(number));
  }
  void operator()(recording::Key key, std::string_view text) {
    (*this)(key, text.size());
    hash.add(text);
  }
  void operator()(recording::Key key, recording::True) { (*this)(key, true); }
  void operator()(recording::Key key, std::monostate) { (*this)(key, false); }
  void operator()(recording::Key key, Instant instant) { (*this)(key, instant.second); }
  template <class Number>
  void operator()(recording::Key key, const std::optional<Number>& number) {
    if (number) (*this)(key, *number);
  }
  void operator()(SocketId socket) {
    using recording::operator""_key;
    (*this)("socket"_key, socket.array);
    (*this)("index"_key, socket.index);
  }
  void operator()(recording::Key key, const Method* method) { (*this)(key, method->name); }
  void operator()(recording::Key key, const Value* result) { (*this)(key, *result); }
  void operator()(recording::Key key, std::span<const Value> parameters) {
    for (const Value& parameter : parameters) (*this)(key, parameter);
  }
  template <class... Types>
  void operator()(recording::Key key, const std::variant<Types...>& value, OperandKind = {}) {
    hash.add(value.index());
    std::visit([&](const auto& one) { (*this)(key, one); }, value);
  }

  StreamHash hash{};
};

/// Hashes the typed lines: their text follows from them, and making it costs many times as much.
class HashedLines final : public recording::LineSink {
 public:
  /// Passes all lines to `sink`, as text, until it is full. Call it before the first line.
  void alsoTo(std::shared_ptr<recording::Sink> sink) { texts_.emplace_back(std::move(sink)); }

  void begin(std::int32_t utcOffset) override {
    members_.hash.add(static_cast<std::uint64_t>(utcOffset));
    for (auto& text : texts_) text.begin(utcOffset);
  }
  void take(const recording::Line& line) override {
    // Most lines are of these kinds, and a direct call is faster than that of a visit.
    if (!hashIf<recording::TraceLine>(line) && !hashIf<recording::OperationLine>(line) &&
        !hashIf<recording::FetchedLine>(line) && !hashIf<recording::TickLine>(line))
      visitMembers(members_, line);
    for (auto& text : texts_) text.take(line);
  }
  void pause() override {
    if (texts_.empty()) return;
    for (auto& text : texts_) text.pause();
    std::erase_if(texts_, [](const auto& text) { return text.sink().full(); });
  }

  /// Hash of all lines so far.
  std::uint64_t hash() const { return members_.hash.value(); }

 private:
  template <class OneLine>
  bool hashIf(const recording::Line& line) {
    const auto* one = std::get_if<OneLine>(&line);
    if (one != nullptr) OneLine::members(members_, *one);
    return one != nullptr;
  }

  MemberHash members_;
  std::vector<recording::LineWriter> texts_;
};

}  // namespace quarnex::simulation
