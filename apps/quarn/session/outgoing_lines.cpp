#include "quarn/session/outgoing_lines.h"

#include <string>
#include <utility>

#include "quarnex/text_rules.h"
#include "quarnex/times_and_limits.h"

namespace quarnex::tool {
namespace {

// Reserved for acknowledgements, "9ACK|": each repetition of a batch may carry one more.
constexpr std::size_t kAcknowledgementBytesMax = 200;

std::string nameOfLines(std::uint64_t first, std::uint64_t last) {
  if (first == last) return "line " + std::to_string(first);
  return "lines " + std::to_string(first) + " to " + std::to_string(last);
}

}  // namespace

void OutgoingLines::takeLines() {
  noLineWaits_ = false;
  while (!noLineWaits_ && held_.size() < kHeldLinesMax) {
    std::optional<InputLine> line = input_.next();
    noLineWaits_ = !line;
    if (line) takeLine(std::move(*line));
  }
}

void OutgoingLines::takeLine(InputLine line) {
  if (line.tooLong) return lose(line.number, line.number, 1, "not sent: far too long for one message");
  const TextCheck check = checkText(line.text);
  if (check.never) return lose(line.number, line.number, 1, "not sent: " + check.warning);
  if (!check.warning.empty()) console_.print(nameOfLines(line.number, line.number) + ": " + check.warning);
  if (!line.text.empty()) held_.push_back({line.number, std::move(line.text), check.alone});
}

void OutgoingLines::advance(QuarnSocket& quarn, const LinkSnapshot& link) {
  settle(link);
  if (outstanding_.empty() && link.phase == LinkPhase::Connected) sendBatch(quarn, link);
}

void OutgoingLines::settle(const LinkSnapshot& link) {
  if (outstanding_.empty()) return;
  if (link.reconnections != reconnections_) {
    lose(outstanding_.front(), outstanding_.back(), outstanding_.size(),
         "may not have arrived: the link was reconnected before the acknowledgement");
    outstanding_.clear();
  } else if (link.outbound == 0 && !link.batchInFlight) {
    acknowledged_ += outstanding_.size();
    outstanding_.clear();
  }
}

void OutgoingLines::sendBatch(QuarnSocket& quarn, const LinkSnapshot& link) {
  reconnections_ = link.reconnections;
  std::size_t bytes = 0;
  bool alone = false;
  while (!held_.empty() && outstanding_.size() < kTextsPerBatchMax && !alone) {
    const HeldLine& line = held_.front();
    bytes += line.text.size();
    alone = line.alone;
    const bool fits =
        messageLength(outstanding_.size() + 1, bytes) + kAcknowledgementBytesMax <= kMessageLengthMax;
    if (!outstanding_.empty() && (alone || !fits)) return;
    quarn.Invia(link.index, line.text);
    if (line.text != kEmptyQueuesCommand) outstanding_.push_back(line.number);
    held_.pop_front();
  }
}

void OutgoingLines::giveUp() {
  if (!outstanding_.empty()) {
    lose(outstanding_.front(), outstanding_.back(), outstanding_.size(),
         "may not have arrived: not acknowledged");
  }
  if (!held_.empty()) lose(held_.front().number, held_.back().number, held_.size(), "not sent");
  outstanding_.clear();
  held_.clear();
}

void OutgoingLines::lose(std::uint64_t first, std::uint64_t last, std::size_t count,
                         const std::string& fate) {
  lost_ += count;
  console_.print(nameOfLines(first, last) + ": " + fate);
}

}  // namespace quarnex::tool
