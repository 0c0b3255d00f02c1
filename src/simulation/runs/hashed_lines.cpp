#include "simulation/runs/hashed_lines.h"

#include <string>
#include <variant>

namespace quarnex::simulation {
namespace {

template <class Part>
std::uint64_t word(Part part) {
  return static_cast<std::uint64_t>(part);
}

// A line is about a command or about a read; each kind has a place of its own and counts from 0.
std::uint64_t operationWord(Operation operation) {
  const bool read = isRead(operation);
  return read ? (word(operation) - word(Operation::State)) << 24 : word(operation) << 16;
}

std::uint64_t shapeOf(const recording::LineParts& line) {
  return word(line.kind) | word(line.event) << 8 | operationWord(line.operation) |
         word(line.socket.array) << 32 | word(line.nested) << 40 | word(line.utcOffset.has_value()) << 41 |
         word(static_cast<std::uint16_t>(line.socket.index)) << 48;
}

void add(StreamHash& hash, const Value& value) {
  hash.add(word(value.index()));
  if (const auto* number = std::get_if<std::int16_t>(&value)) hash.add(word(*number));
  if (const auto* truth = std::get_if<bool>(&value)) hash.add(word(*truth));
  if (const auto* text = std::get_if<std::string>(&value)) hash.add(*text);
}

void add(StreamHash& hash, const recording::LineParts& line) {
  hash.add(shapeOf(line));
  hash.add(word(static_cast<std::uint32_t>(line.number)) | word(line.handle) << 32);
  if (line.at.second != 0) hash.add(word(line.at.second));
  if (line.utcOffset) hash.add(word(*line.utcOffset));
  if (line.method != nullptr) hash.add(line.method->name);
  if (!line.text.empty()) hash.add(line.text);
  for (const Value& value : line.values) add(hash, value);
}

}  // namespace

void HashedLines::begin(std::int32_t utcOffset) {
  hash_.add(word(utcOffset));
  for (auto& text : texts_) text.begin(utcOffset);
}

void HashedLines::take(const recording::LineParts& line) {
  add(hash_, line);
  for (auto& text : texts_) text.take(line);
}

void HashedLines::pause() {
  if (texts_.empty()) return;
  for (auto& text : texts_) text.pause();
  std::erase_if(texts_, [](const auto& text) { return text.sink().full(); });
}

}  // namespace quarnex::simulation
