#include "simulation/checks/independent/text_ledger.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <iterator>

#include "simulation/checks/independent/stream_hash.h"

namespace quarnex::simulation {
namespace {

constexpr std::string_view kBeginning = "text ";
constexpr std::size_t kBatchMax = 20;
// More than a host sends while its peer stands still for days with one of the texts in its queue, bursts
// included.
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

void TextLedger::send(Course& course, std::string_view text, std::int64_t at) {
  Text sent = textOf(text);
  if (sent.number == 0) return;
  sent.at = at;
  ++sent_;
  auto& texts = course.sent_;
  if (std::ssize(texts) >= 2 * kRemembered) texts.erase(texts.begin(), texts.begin() + kRemembered);
  texts.push_back(sent);
}

Arrival TextLedger::deliver(Course& course, std::string_view text) {
  const Arrival kind = judge(course, textOf(text));
  ++arrived_[static_cast<std::size_t>(kind)];
  return kind;
}

// At most one leaves on a tick, and none arrives more than two minutes later.
void TextLedger::sendBody(Course& course, std::string_view body) {
  const std::uint64_t hash = hashOf(body);
  if (course.bodies_.size() < Course::kBodiesRemembered) {
    course.bodies_.push_back(hash);
  } else {
    course.bodies_[course.nextBody_] = hash;
    course.nextBody_ = (course.nextBody_ + 1) % Course::kBodiesRemembered;
  }
}

// The latest first: that is nearly always the one.
void TextLedger::receiveBody(Course& course, std::string_view body) {
  if (course.torn_) return;
  const std::uint64_t hash = hashOf(body);
  const auto oldest = course.bodies_.begin() + static_cast<std::ptrdiff_t>(course.nextBody_);
  const auto backFrom = [&](auto from, auto to) {
    return std::find(std::make_reverse_iterator(from), std::make_reverse_iterator(to), hash) !=
           std::make_reverse_iterator(to);
  };
  course.torn_ = !backFrom(oldest, course.bodies_.begin()) && !backFrom(course.bodies_.end(), oldest);
}

TextLedger::Text TextLedger::textOf(std::string_view text) {
  if (!text.starts_with(kBeginning)) return {};
  const char* const end = text.data() + text.size();
  std::uint64_t number = 0;
  const auto [rest, error] = std::from_chars(text.data() + kBeginning.size(), end, number);
  if (error != std::errc() || std::any_of(rest, end, [](char byte) { return byte != '.'; })) return {};
  return {number, text.size(), 0};
}

bool TextLedger::knows(const Course& course, std::string_view text) {
  return find(course, textOf(text)) != nullptr;
}

const TextLedger::Text* TextLedger::find(const Course& course, const Text& text) {
  const auto sent =
      std::lower_bound(course.sent_.begin(), course.sent_.end(), text.number,
                       [](const Text& one, std::uint64_t number) { return one.number < number; });
  const bool found = sent != course.sent_.end() && sent->number == text.number && sent->size == text.size;
  return found ? &*sent : nullptr;
}

// Forgets what is said to have arrived after it.
void TextLedger::lookAnew(Course& course, std::uint64_t number) {
  auto& delivered = course.delivered_;
  if (!std::exchange(course.unsure_, false) || delivered.empty()) return;
  while (!delivered.empty() && delivered.back() > number) delivered.pop_back();
  if (delivered.empty()) delivered.push_back(number - 1);
}

Arrival TextLedger::judge(Course& course, const Text& text) {
  const Text* const sent = find(course, text);
  if (sent == nullptr) return Arrival::Foreign;
  lookAnew(course, text.number);
  auto& delivered = course.delivered_;
  if (!delivered.empty() && text.number <= delivered.back()) {
    if (!std::binary_search(delivered.begin(), delivered.end(), text.number)) return Arrival::Old;
    ++duplicates_[static_cast<std::size_t>(causeOf(course, *sent))];
    return Arrival::Again;
  }
  lose(course, delivered.empty() ? 0 : delivered.back(), text.number);
  delivered.push_back(text.number);
  if (delivered.size() > kBatchMax) delivered.pop_front();
  return Arrival::New;
}

// After some causes there may be an acknowledgement too many, which stays in the exchange until the
// connection ends.
Cause TextLedger::causeOf(const Course& course, const Text& text) {
  for (std::size_t cause = 0; cause < kCauseCount; ++cause) {
    if (course.latest_[cause] >= text.at) return static_cast<Cause>(cause);
  }
  for (const Cause cause : {Cause::Failed, Cause::Repeated, Cause::Stranger, Cause::Damaged}) {
    if (course.latest(cause) > course.latest(Cause::Disconnected)) return cause;
  }
  return course.torn_ ? Cause::Stranger : Cause::Unknown;
}

// The texts between two numbers.
void TextLedger::lose(const Course& course, std::uint64_t after, std::uint64_t before) {
  const auto later = [](std::uint64_t number, const Text& one) { return number < one.number; };
  auto lost = std::upper_bound(course.sent_.begin(), course.sent_.end(), after, later);
  for (; lost != course.sent_.end() && lost->number < before; ++lost)
    ++losses_[static_cast<std::size_t>(causeOf(course, *lost))];
}

void TextLedger::close() {
  for (const auto& [way, course] : courses_)
    lose(course, course.delivered_.empty() ? 0 : course.delivered_.back(), UINT64_MAX);
}

}  // namespace quarnex::simulation
