#include "recording/format/stored_lines.h"

namespace quarnex::recording {

/// Lets the members of a copied line refer to copies.
class StoredLines::Copier {
 public:
  explicit Copier(StoredLines& store) : store_(store) {}

  void operator()(Key, std::string_view& text) { text = store_.texts_.emplace_front(text); }
  void operator()(Key key, Operand& operand, OperandKind) {
    if (auto* text = std::get_if<std::string_view>(&operand)) (*this)(key, *text);
  }
  void operator()(Key, std::span<const Value>& values) {
    values = store_.values_.emplace_front(values.begin(), values.end());
  }
  void operator()(Key, const Value*& value) { value = &store_.values_.emplace_front(1, *value).front(); }
  // The other members refer to nothing.
  void operator()(auto&&...) {}

 private:
  StoredLines& store_;
};

void StoredLines::add(const Line& line) {
  Copier copier(*this);
  visitMembers(copier, lines_.emplace_back(line));
}

}  // namespace quarnex::recording
