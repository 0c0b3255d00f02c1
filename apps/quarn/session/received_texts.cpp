#include "quarn/session/received_texts.h"

#include <optional>

#include "quarn/session/json_lines.h"
#include "quarnex/text_rules.h"

namespace quarnex::tool {

void ReceivedTexts::take(const std::string& text) {
  if (countReached()) {
    ++surplus_;
    return;
  }
  ++count_;
  const std::optional<std::string> decoded = options_.decode ? decodeText(text) : text;
  if (!decoded) warnings_.add(count_, "decode", "not in the format of --encode, so written as it arrived");
  write(decoded.value_or(text), decoded.has_value());
}

void ReceivedTexts::write(const std::string& text, bool decoded) {
  console_.clearProgress();
  if (options_.json) {
    JsonObject line = beginLine("text");
    line.add("number", count_);
    if (!decoded) line.add("decoded", false);
    addText(line, text);
    output_.appendLine(line.text());
  } else {
    output_.appendLine(text);
  }
  waiting_.push_back(output_.linesAppended());
}

std::uint64_t ReceivedTexts::written() {
  while (!waiting_.empty() && waiting_.front() <= output_.linesWritten()) waiting_.pop_front();
  return count_ - waiting_.size();
}

std::string ReceivedTexts::lastWritten() {
  const std::uint64_t last = written();
  if (last == 0) return "none of " + counted(count_, "text") + " was written";
  return "text " + std::to_string(last) + " of " + std::to_string(count_) + " is the last one written";
}

}  // namespace quarnex::tool
