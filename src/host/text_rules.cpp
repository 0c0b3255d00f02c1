#include "quarnex/text_rules.h"

#include <string>
#include <string_view>
#include <vector>

#include "engine/exchange/frame.h"
#include "engine/message/service_words.h"
#include "quarnex/event_report.h"

namespace quarnex {
namespace {

constexpr std::string_view kNeverTaken =
    "the peer never accepts it, and it blocks all texts behind it until the link is reconnected";
constexpr std::size_t kFieldsOfLoneBatch = 3;  // the text, "9CMD" and "9."; further ones are not read

bool contains(std::string_view text, char c) {
  return text.find(c) != std::string_view::npos;
}

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
         std::to_string(kMessageLengthMax - messageLength(1, 0)) + "): " + std::string(kNeverTaken);
}

}  // namespace

TextCheck checkText(std::string_view text) {
  if (text.empty()) return {"an empty text is not sent", true};
  if (text == kEmptyQueuesCommand) return {"this text is not sent; it empties the link's queues", true};
  if (messageLength(1, text.size()) > kMessageLengthMax) return {tooLongWarning(text), true, true};
  if (contains(text, kEtx)) {
    return {"ETX (code 3) ends the frame early: " + std::string(kNeverTaken), true, true};
  }
  if (contains(text, '|')) return {splitWarning(text), true};
  if (text.size() < kTextLengthMin) return {"the peer drops a text of one character", false};
  if (isServiceWord(text)) {
    return {"this is a word of the protocol: the peer acts on it and does not pass it to its host", true};
  }
  if (contains(text, kStx)) {
    return {"STX (code 2) begins frames: a peer that restarts at each STX drops the text", true};
  }
  if (text.starts_with('9'))
    return {"\"9\" begins the words of the protocol: other peers may not pass it on", false};
  if (parseEventReport(text))
    return {"the peer's host may mistake it for a report of its own library", false};
  return {};
}

}  // namespace quarnex
