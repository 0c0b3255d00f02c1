#include "simulation/checks/independent/text_ledger.h"

#include <charconv>
#include <iterator>

#include "simulation/checks/independent/stream_hash.h"

namespace quarnex::simulation {
namespace {

constexpr std::string_view kBeginning = "text ";
constexpr std::size_t kBatchMax = 20;
// More texts than a host sends, bursts included, while its peer stands still for days with one in its queue.
constexpr std::ptrdiff_t kRemembered = 200'000;

std::uint64_t hashOf(std::string_view body) {
  StreamHash hash;
  hash.add(body);
  return hash.value();
}

}  // namespace

std::string_view nameOf(Cause cause) {
  constexpr std::string_view names[] = {"emptied",   "closed",   "restarted", "disconnected",
                                        "connected", "overflow", "failed",    "repeated",
                                        "stranger",  "damaged",  "unknown"};
  static_assert(std::size(names) == kCauseCount);
  return names[static_cast<std::size_t>(cause)];
}

void TextCounts::add(const TextCounts& other) {
  const auto addEach = [](auto& sums, const auto& others) {
    for (std::size_t i = 0; i < sums.size(); ++i) sums[i] += others[i];
  };
  sent += other.sent;
  addEach(arrived, other.arrived);
  addEach(lost, other.lost);
  addEach(doubled, other.doubled);
}

void TextLedger::send(TextFlow& flow, std::string_view text, std::int64_t at) {
  Text sent = textOf(text);
  if (sent.number == 0) return;
  sent.at = at;
  ++counts_.sent;
  auto& texts = flow.sent_;
  if (std::ssize(texts) >= 2 * kRemembered) texts.erase(texts.begin(), texts.begin() + kRemembered);
  texts.push_back(sent);
}

Arrival TextLedger::deliver(TextFlow& flow, std::string_view text) {
  const Arrival kind = classify(flow, textOf(text));
  ++counts_.arrived[static_cast<std::size_t>(kind)];
  return kind;
}

// One body at most leaves on a tick, and it arrives at most two minutes later.
void TextFlow::sendBody(std::string_view body) {
  bodies_.push_back(hashOf(body));
  if (bodies_.size() > kBodiesRemembered) bodies_.pop_front();
}

// Searches from the latest back: it is nearly always the latest.
void TextFlow::receiveBody(std::string_view body) {
  if (foreignBody_) return;
  foreignBody_ = std::find(bodies_.rbegin(), bodies_.rend(), hashOf(body)) == bodies_.rend();
}

TextLedger::Text TextLedger::textOf(std::string_view text) {
  if (!text.starts_with(kBeginning)) return {};
  const char* const end = text.data() + text.size();
  std::uint64_t number = 0;
  const auto [rest, error] = std::from_chars(text.data() + kBeginning.size(), end, number);
  if (error != std::errc() || std::any_of(rest, end, [](char byte) { return byte != '.'; })) return {};
  return {number, text.size(), 0};
}

const TextLedger::Text* TextLedger::find(const TextFlow& flow, const Text& text) {
  const auto sent =
      std::lower_bound(flow.sent_.begin(), flow.sent_.end(), text.number,
                       [](const Text& one, std::uint64_t number) { return one.number < number; });
  const bool found = sent != flow.sent_.end() && sent->number == text.number && sent->size == text.size;
  return found ? &*sent : nullptr;
}

// After a restart with foreign bodies: forgets arrivals later than this one.
void TextLedger::settlePosition(TextFlow& flow, std::uint64_t number) {
  auto& delivered = flow.delivered_;
  if (!std::exchange(flow.uncertain_, false) || delivered.empty()) return;
  while (!delivered.empty() && delivered.back() > number) delivered.pop_back();
  if (delivered.empty()) delivered.push_back(number - 1);
}

Arrival TextLedger::classify(TextFlow& flow, const Text& text) {
  const Text* const sent = find(flow, text);
  if (sent == nullptr) return Arrival::Foreign;
  settlePosition(flow, text.number);
  auto& delivered = flow.delivered_;
  if (!delivered.empty() && text.number <= delivered.back()) {
    if (!std::binary_search(delivered.begin(), delivered.end(), text.number)) return Arrival::Old;
    ++counts_.doubled[static_cast<std::size_t>(causeOf(flow, *sent))];
    return Arrival::Again;
  }
  lose(flow, delivered.empty() ? 0 : delivered.back(), text.number);
  delivered.push_back(text.number);
  if (delivered.size() > kBatchMax) delivered.pop_front();
  return Arrival::New;
}

// Some causes leave one acknowledgement too many, which stays in the exchange until the connection ends.
Cause TextLedger::causeOf(const TextFlow& flow, const Text& text) {
  for (std::size_t cause = 0; cause < kCauseCount; ++cause) {
    if (flow.latest_[cause] >= text.at) return static_cast<Cause>(cause);
  }
  for (const Cause cause : {Cause::Failed, Cause::Repeated, Cause::Stranger, Cause::Damaged}) {
    if (flow.latest(cause) > flow.latest(Cause::Disconnected)) return cause;
  }
  return flow.foreignBody_ ? Cause::Stranger : Cause::Unknown;
}

// Counts the texts between two numbers as lost.
void TextLedger::lose(const TextFlow& flow, std::uint64_t after, std::uint64_t before) {
  const auto later = [](std::uint64_t number, const Text& one) { return number < one.number; };
  auto lost = std::upper_bound(flow.sent_.begin(), flow.sent_.end(), after, later);
  for (; lost != flow.sent_.end() && lost->number < before; ++lost)
    ++counts_.lost[static_cast<std::size_t>(causeOf(flow, *lost))];
}

void TextLedger::close() {
  for (const auto& [id, flow] : flows_)
    lose(flow, flow.delivered_.empty() ? 0 : flow.delivered_.back(), UINT64_MAX);
}

}  // namespace quarnex::simulation
