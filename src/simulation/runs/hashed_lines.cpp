#include "simulation/runs/hashed_lines.h"

#include <optional>
#include <span>
#include <string_view>
#include <type_traits>
#include <variant>

namespace quarnex::simulation {
namespace {

using recording::Key;

template <class Number>
concept NumberOrName = std::is_integral_v<Number> || std::is_enum_v<Number>;

/// Adds each member of a line, with its key, to a hash.
class MemberHash {
 public:
  explicit MemberHash(StreamHash& hash) : hash_(hash) {}

  void operator()(Key key, NumberOrName auto number) {
    hash_.add(static_cast<std::uint64_t>(key) << 56 ^ static_cast<std::uint64_t>(number));
  }
  void operator()(Key key, std::string_view text) {
    (*this)(key, text.size());
    hash_.add(text);
  }
  void operator()(Key key, recording::True) { (*this)(key, true); }
  void operator()(Key key, std::monostate) { (*this)(key, false); }
  void operator()(Key key, Instant instant) { (*this)(key, instant.second); }
  void operator()(Key key, const std::optional<std::int32_t>& offset) {
    if (offset) (*this)(key, *offset);
  }
  void operator()(SocketId socket) {
    (*this)(Key::Socket, socket.array);
    (*this)(Key::Index, socket.index);
  }
  void operator()(Key key, const Method* method) { (*this)(key, method->name); }
  void operator()(Key key, const Value* result) { (*this)(key, *result); }
  void operator()(Key key, std::span<const Value> parameters) {
    for (const Value& parameter : parameters) (*this)(key, parameter);
  }
  template <class... Types>
  void operator()(Key key, const std::variant<Types...>& value, OperandKind = {}) {
    hash_.add(value.index());
    std::visit([&](const auto& one) { (*this)(key, one); }, value);
  }

 private:
  StreamHash& hash_;
};

}  // namespace

void HashedLines::begin(std::int32_t utcOffset) {
  hash_.add(static_cast<std::uint64_t>(utcOffset));
  for (auto& text : texts_) text.begin(utcOffset);
}

void HashedLines::take(const recording::Line& line) {
  MemberHash members(hash_);
  visitMembers(members, line);
  for (auto& text : texts_) text.take(line);
}

void HashedLines::pause() {
  if (texts_.empty()) return;
  for (auto& text : texts_) text.pause();
  std::erase_if(texts_, [](const auto& text) { return text.sink().full(); });
}

}  // namespace quarnex::simulation
