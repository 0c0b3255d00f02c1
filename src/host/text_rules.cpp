#include "quarnex/text_rules.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/exchange/frame.h"
#include "engine/message/service_words.h"
#include "quarnex/event_report.h"

namespace quarnex {
namespace {

constexpr std::string_view kNeverTaken =
    ": the peer never accepts it, and it blocks all texts behind it until the link is reconnected";
constexpr std::size_t kFieldsOfLoneBatch = 3;  // the text, "9CMD" and "9."; further ones are not read

constexpr std::size_t kTextLengthMax = kMessageLengthMax - messageLength(1, 0);

std::vector<std::string_view> split(std::string_view text) {
  std::vector<std::string_view> pieces;
  for (;;) {
    const std::size_t end = text.find('|');
    pieces.push_back(text.substr(0, end));
    if (end == std::string_view::npos) return pieces;
    text.remove_prefix(end + 1);
  }
}

std::string splitWarning(std::string_view text) {
  const std::vector<std::string_view> pieces = split(text);
  std::size_t arriving = 0;
  for (std::size_t i = 0; i < pieces.size() && i < kFieldsOfLoneBatch; ++i) {
    arriving += pieces[i].size() >= kTextLengthMin && !isServiceWord(pieces[i]);
  }
  return "\"|\" separates texts: " + (arriving == 0 ? "none" : std::to_string(arriving)) + " of its " +
         std::to_string(pieces.size()) + " pieces arrive" + (arriving > 1 ? ", as separate texts" : "");
}

std::string tooLongWarning(std::string_view text) {
  return std::to_string(text.size()) + " characters do not fit into one message (at most " +
         std::to_string(kTextLengthMax) + ")";
}

struct Finding {
  TextRule rule = TextRule::None;
  std::size_t position = 0;
};

Finding firstBrokenRule(std::string_view text) {
  if (text.empty()) return {TextRule::Empty};
  if (text == kEmptyQueuesCommand) return {TextRule::EmptiesQueues};
  if (text.size() > kTextLengthMax) return {TextRule::TooLong, kTextLengthMax};
  if (const auto at = text.find(kEtx); at != text.npos) return {TextRule::EndCharacter, at};
  if (const auto at = text.find('|'); at != text.npos) return {TextRule::Separator, at};
  if (text.size() < kTextLengthMin) return {TextRule::TooShort};
  if (isServiceWord(text)) return {TextRule::ProtocolWord};
  if (const auto at = text.find(kStx); at != text.npos) return {TextRule::StartCharacter, at};
  if (text.front() == '9') return {TextRule::LeadingNine};
  if (parseEventReport(text)) return {TextRule::LooksLikeReport};
  return {};
}

struct Effect {
  const char* name;
  const char* warning;  // "": depends on the text
  bool alone, never;
};

// In the order of the rules.
constexpr Effect kEffects[] = {
    {"", "", false, false},
    {"empty", "an empty text is not sent", true, false},
    {"empties-queues", "this text is not sent; it empties the link's queues", true, false},
    {"too-long", "", true, true},
    {"end-character", "ETX (code 3) ends the frame early", true, true},
    {"separator", "", true, false},
    {"too-short", "the peer drops a text of one character", false, false},
    {"protocol-word", "this is a word of the protocol: the peer acts on it and does not pass it to its host",
     true, false},
    {"start-character", "STX (code 2) begins frames: a peer that restarts at each STX drops the text", true,
     false},
    {"leading-nine", "\"9\" begins the words of the protocol: other peers may not pass it on", false, false},
    {"looks-like-report", "the peer's host may mistake it for a report of its own library", false, false}};

const Effect& effectOf(TextRule rule) {
  return kEffects[static_cast<std::size_t>(rule)];
}

std::string warningOf(TextRule rule, std::string_view text) {
  if (rule == TextRule::TooLong) return tooLongWarning(text);
  if (rule == TextRule::Separator) return splitWarning(text);
  return effectOf(rule).warning;
}

}  // namespace

const char* nameOf(TextRule rule) {
  return effectOf(rule).name;
}

TextCheck checkText(std::string_view text) {
  const Finding found = firstBrokenRule(text);
  const Effect& effect = effectOf(found.rule);
  std::string warning = warningOf(found.rule, text);
  if (effect.never) warning += kNeverTaken;
  return {std::move(warning), effect.alone, effect.never, found.rule, found.position};
}

}  // namespace quarnex
