#include "quarn/session/outgoing_lines.h"

#include <optional>
#include <sstream>
#include <string>
#include <utility>

#include "quarnex/text_rules.h"
#include "quarnex/times_and_limits.h"

namespace quarnex::tool {
namespace {

// Reserved for acknowledgements, "9ACK|": each repetition of a batch may carry one more.
constexpr std::size_t kAcknowledgementBytesMax = 200;

// A word of the protocol, as a whole line or between two separators: a library acts on it.
bool makesLibrariesAct(const std::string& text, TextRule rule) {
  if (rule != TextRule::Separator) return rule == TextRule::ProtocolWord || rule == TextRule::EmptiesQueues;
  std::istringstream pieces(text);
  for (std::string piece; std::getline(pieces, piece, '|');) {
    if (checkText(piece).rule == TextRule::ProtocolWord) return true;
  }
  return false;
}

}  // namespace

std::optional<InputLine> OutgoingLines::nextLine() {
  if (options_.messages.empty()) return input_.next();
  if (taken_ == options_.messages.size()) return std::nullopt;
  return InputLine{taken_ + 1, options_.messages[taken_], false};
}

void OutgoingLines::takeLines() {
  noLineWaits_ = false;
  while (!noLineWaits_ && held_.size() < kHeldLinesMax) {
    std::optional<InputLine> line = nextLine();
    noLineWaits_ = !line;
    if (line) takeLine(std::move(*line));
  }
}

void OutgoingLines::takeLine(InputLine line) {
  ++taken_;
  std::optional<std::string> text = line.tooLong ? std::nullopt : std::optional(std::move(line.text));
  if (text && options_.encode) text = encodeText(*text);
  if (!text) return refuse(line.number, "too-long", "not sent: far too long for one message");
  const TextCheck check = checkText(*text);
  const std::string kind = nameOf(check.rule);
  if (check.rule == TextRule::Empty) return refuse(line.number, kind, check.warning);
  if (check.never) return refuse(line.number, kind, "not sent: " + check.warning);
  if (!options_.allowWords && makesLibrariesAct(*text, check.rule))
    return refuse(line.number, kind + " word", "not sent, unless --allow-words is given: " + check.warning);
  if (!check.warning.empty()) warnings_.add(line.number, kind, check.warning);
  held_.push_back({line.number, std::move(*text), check.alone});
}

void OutgoingLines::refuse(std::uint64_t number, const std::string& kind, const std::string& words) {
  ++refused_;
  warnings_.add(number, kind, words);
}

void OutgoingLines::advance(QuarnSocket& quarn, const LinkSnapshot& link) {
  settle(link);
  if (outstanding_.empty() && link.phase == LinkPhase::Connected) sendBatch(quarn, link);
}

void OutgoingLines::settle(const LinkSnapshot& link) {
  if (outstanding_.empty()) return;
  if (link.reconnections != reconnections_) {
    loseBatch("may not have arrived: the link was reconnected before the acknowledgement");
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
  if (!outstanding_.empty()) loseBatch("may not have arrived: not acknowledged");
  if (!held_.empty())
    console_.print(nameOfRange("line", held_.front().number, held_.back().number) + ": not sent");
  dropped_ += held_.size();
  held_.clear();
}

void OutgoingLines::loseBatch(const std::string& fate) {
  unknown_ += outstanding_.size();
  console_.print(nameOfRange("line", outstanding_.front(), outstanding_.back()) + ": " + fate);
  outstanding_.clear();
}

}  // namespace quarnex::tool
