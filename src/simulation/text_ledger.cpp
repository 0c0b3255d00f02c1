#include "simulation/text_ledger.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <functional>
#include <iterator>

namespace quarnex::simulation {
namespace {

constexpr std::string_view kBeginning = "text ";
constexpr std::size_t kBatchMax = 20;
// More than the queues of both sides can hold on to.
constexpr std::ptrdiff_t kRemembered = 12'000;

// At most one leaves on a tick, and none arrives more than two minutes later.
constexpr std::size_t kBodiesRemembered = 1000;

}  // namespace

void TextLedger::send(const Way& way, std::string_view text) {
  const Text sent = textOf(text);
  if (sent.number == 0) return;
  ++sent_;
  auto& course = courses_[way].sent;
  if (std::ssize(course) >= 2 * kRemembered) course.erase(course.begin(), course.begin() + kRemembered);
  course.push_back(sent);
}

Arrival TextLedger::deliver(const Way& way, std::string_view text) {
  const Arrival kind = judge(courses_[way], textOf(text));
  ++arrived_[static_cast<std::size_t>(kind)];
  return kind;
}

void TextLedger::sendBody(const Way& way, std::string_view body) {
  auto& bodies = courses_[way].bodies;
  bodies.push_back(std::hash<std::string_view>()(body));
  if (bodies.size() > kBodiesRemembered) bodies.pop_front();
}

void TextLedger::receiveBody(const Way& way, std::string_view body) {
  Course& course = courses_[way];
  if (course.torn) return;
  const std::size_t hash = std::hash<std::string_view>()(body);
  course.torn = std::find(course.bodies.rbegin(), course.bodies.rend(), hash) == course.bodies.rend();
}

TextLedger::Text TextLedger::textOf(std::string_view text) {
  if (!text.starts_with(kBeginning)) return {};
  const char* const end = text.data() + text.size();
  std::uint64_t number = 0;
  const auto [rest, error] = std::from_chars(text.data() + kBeginning.size(), end, number);
  if (error != std::errc() || std::any_of(rest, end, [](char byte) { return byte != '.'; })) return {};
  return {number, text.size()};
}

Arrival TextLedger::judge(Course& course, const Text& text) {
  const auto sent =
      std::lower_bound(course.sent.begin(), course.sent.end(), text.number,
                       [](const Text& one, std::uint64_t number) { return one.number < number; });
  if (sent == course.sent.end() || sent->number != text.number || sent->size != text.size)
    return Arrival::Foreign;
  auto& delivered = course.delivered;
  if (!delivered.empty() && text.number <= delivered.back()) {
    const bool latest = std::binary_search(delivered.begin(), delivered.end(), text.number);
    return latest ? Arrival::Again : Arrival::Old;
  }
  delivered.push_back(text.number);
  if (delivered.size() > kBatchMax) delivered.pop_front();
  return Arrival::New;
}

}  // namespace quarnex::simulation
