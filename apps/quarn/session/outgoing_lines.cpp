#include "quarn/session/outgoing_lines.h"

#include <iterator>
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
// Lines in the link's queue: so many that it never waits for this program, and so few that a reconnection
// drops few.
constexpr std::size_t kQueuedLinesMax = 2 * kTextsPerBatchMax;

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
  return InputLine{taken_ + 1, options_.messages[static_cast<std::size_t>(taken_)], false};
}

void OutgoingLines::takeLines() {
  noLineWaits_ = false;
  while (!noLineWaits_ && held_.size() < kHeldLinesMax) {
    std::optional<InputLine> line = nextLine();
    noLineWaits_ = !line;
    if (line) takeLine(std::move(*line));
  }
}

void OutgoingLines::dropRest() {
  if (options_.readsInput() && !input_.ended() && input_.isReadable()) input_.readSome();
  NumberedRange lines;
  for (; std::optional<InputLine> line = nextLine(); ++taken_) lines.add(line->number);
  dropUnsent(lines);
}

void OutgoingLines::dropUnsent(const NumberedRange& lines) {
  if (lines.count > 0) console_.print(lines.inWords("line") + ": not sent");
  dropped_ += lines.count;
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
  if (link.phase != LinkPhase::Connected || givenUp_) return;
  auto queued = static_cast<std::size_t>(link.outbound);
  while (!held_.empty() && mayFollow(held_.front(), queued)) {
    const std::uint64_t before = quarn.accepted(link.index);
    quarn.Invia(link.index, held_.front().text);
    const std::uint64_t text = quarn.accepted(link.index);
    if (text > before) sent_.push_back({text, std::move(held_.front())});
    held_.pop_front();
    ++queued;
  }
}

// The link chooses the batches, so each row of queued lines that could become one has to fit into a message.
bool OutgoingLines::mayFollow(const HeldLine& next, std::size_t queued) const {
  if (queued == 0 || sent_.empty()) return queued == 0;
  if (queued >= kQueuedLinesMax || next.alone || sent_.back().line.alone) return false;
  std::size_t texts = 1, bytes = next.text.size();
  for (auto sent = sent_.rbegin(); sent != sent_.rend() && texts < kTextsPerBatchMax && texts <= queued;
       ++sent)
    bytes += sent->line.text.size(), ++texts;
  return messageLength(texts, bytes) + kAcknowledgementBytesMax <= kMessageLengthMax;
}

NumberedRange OutgoingLines::takeReceipt(const Receipt& receipt) {
  NumberedRange lines;
  std::deque<HeldLine> repeated;
  for (auto sent = sent_.begin(); sent != sent_.end();) {
    if (sent->text < receipt.from || sent->text > receipt.to) {
      ++sent;
      continue;
    }
    lines.add(sent->line.number);
    if (isRepeated(receipt)) repeated.push_back(std::move(sent->line));
    sent = sent_.erase(sent);
  }
  if (lines.count > 0) count(receipt, lines);
  held_.insert(held_.begin(), std::move_iterator(repeated.begin()), std::move_iterator(repeated.end()));
  return lines;
}

bool OutgoingLines::isRepeated(const Receipt& receipt) const {
  if (!options_.resend || givenUp_ || receipt.outcome == Outcome::Acknowledged) return false;
  return receipt.cause != ReceiptCause::Content && receipt.cause != ReceiptCause::QueuesEmptied;
}

void OutgoingLines::count(const Receipt& receipt, const NumberedRange& lines) {
  if (receipt.outcome == Outcome::Acknowledged) {
    acknowledged_ += lines.count;
    return;
  }
  const bool unknown = receipt.outcome == Outcome::Unknown, again = isRepeated(receipt);
  (again ? sentAgain_ : unknown ? unknown_ : dropped_) += lines.count;
  std::string fate = unknown ? "may not have arrived" : "did not arrive";
  if (again) fate = unknown ? "sent again, may arrive twice" : "sent again";
  if (receipt.cause == ReceiptCause::Content) fate = "cannot arrive intact";
  std::string reason = std::string(nameOf(receipt.outcome)) + ": " + nameOf(receipt.cause);
  if (receipt.frames > 0) reason += ", in " + counted(receipt.frames, "frame");
  console_.print(lines.inWords("line") + ": " + fate + " (" + reason + ')');
}

void OutgoingLines::giveUp(QuarnSocket& quarn, std::int16_t link) {
  givenUp_ = true;
  for (const PendingTexts& texts : quarn.pending(link)) {
    const Outcome outcome = texts.inFrame ? Outcome::Unknown : Outcome::Dropped;
    takeReceipt({texts.from, texts.to, outcome, ReceiptCause::Timeout});
  }
  NumberedRange lines;
  for (const HeldLine& held : held_) lines.add(held.number);
  dropUnsent(lines);
  held_.clear();
}

}  // namespace quarnex::tool
