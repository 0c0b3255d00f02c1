// TextLedger: records which text was sent on which link and which arrived; names a cause for each loss.
#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <iterator>
#include <map>
#include <set>
#include <string_view>
#include <utility>

#include "simulation/checks/independent/stream_hash.h"

namespace quarnex::simulation {

/// One direction of a pair of links.
struct FlowId {
  int machine = 0;
  int identifier = 0;
  bool fromClient = false;
  auto operator<=>(const FlowId&) const = default;
};

enum class Arrival : std::uint8_t {
  New,     ///< later than all before it
  Again,   ///< one of the last batch
  Old,     ///< earlier than that: no link sends it again
  Foreign  ///< the peer never sent it
};

/// A reason for texts that are lost or arrive twice. Where several apply, the first counts.
enum class Cause : std::uint8_t {
  Emptied,       ///< the host at one end sent "VUOTABUFFER"
  Closed,        ///< the host closed one end of the link, or left
  Restarted,     ///< one end registered the link anew
  Disconnected,  ///< one end reported 702, or activated its sockets, which empties its queue
  Connected,     ///< one end reported 701, perhaps of a caller that replaced another
  Overflow,      ///< a queue of 5000 dropped its oldest text
  Failed,        ///< a step of the engine failed
  Repeated,      ///< an acknowledgement was late, or came for an earlier batch
  Stranger,      ///< a stranger was connected, or a checksum fitted pieces of several frames
  Damaged,       ///< the network changed, dropped or repeated frames
  Unknown
};
constexpr std::size_t kCauseCount = static_cast<std::size_t>(Cause::Unknown) + 1;
using CauseCounts = std::array<std::uint64_t, kCauseCount>;
inline std::string_view nameOf(Cause cause) {
  constexpr std::string_view names[] = {"emptied",   "closed",   "restarted", "disconnected",
                                        "connected", "overflow", "failed",    "repeated",
                                        "stranger",  "damaged",  "unknown"};
  static_assert(std::size(names) == kCauseCount);
  return names[static_cast<std::size_t>(cause)];
}

/// Numbers of texts.
struct TextCounts {
  std::uint64_t sent = 0;
  std::array<std::uint64_t, 4> arrived{};  ///< by `Arrival`
  CauseCounts lost{}, doubled{};           ///< by cause

  std::uint64_t of(Arrival kind) const { return arrived[static_cast<std::size_t>(kind)]; }
  void add(const TextCounts& other) {
    const auto addEach = [](auto& sums, const auto& others) {
      for (std::size_t i = 0; i < sums.size(); ++i) sums[i] += others[i];
    };
    sent += other.sent;
    addEach(arrived, other.arrived);
    addEach(lost, other.lost);
    addEach(doubled, other.doubled);
  }
};

/// The texts of one direction: those that were sent, and those that arrived. Understands the texts of a
/// `Place`: "text", a number that rises with every text of the host, and dots.
class TextFlow {
 public:
  /// Counts in `counts`, which outlives it.
  explicit TextFlow(TextCounts& counts) : counts_(counts) { latest_.fill(-1); }

  /// Records a text in the sender's queue; ignores texts that are not of a `Place`. Times never decrease.
  void send(std::string_view text, std::int64_t at) {
    Text sent = textOf(text);
    if (sent.number == 0) return;
    sent.at = at;
    ++counts_.sent;
    sent_.push_back(sent);
    if (sent_.size() > kTextsRemembered) sent_.pop_front();
  }
  Arrival deliver(std::string_view text) {
    const Arrival kind = classify(textOf(text));
    ++counts_.arrived[static_cast<std::size_t>(kind)];
    return kind;
  }
  /// True if such a text was sent lately.
  bool knows(std::string_view text) const { return find(textOf(text)) != nullptr; }
  /// Counts the texts before that number that have not arrived as lost: no more of them will.
  void loseUpTo(std::uint64_t before) {
    auto lost = std::ranges::upper_bound(sent_, latestDelivered(), {}, &Text::number);
    for (; lost != sent_.end() && lost->number < before; ++lost)
      ++counts_.lost[static_cast<std::size_t>(causeOf(*lost))];
  }

  /// Records the body of a sent frame. One at most leaves on a tick, and it arrives within two minutes.
  void sendBody(std::string_view body) {
    bodies_.push_back(hashOf(body));
    if (bodies_.size() <= kBodiesRemembered) return;
    bodies_.pop_front();
    if (nextBody_ > 0) --nextBody_;
  }
  /// Records the body of a frame received with the right checksum: nearly always the latest that was sent.
  void receiveBody(std::string_view body, std::int64_t at) {
    const std::uint64_t hash = hashOf(body);
    foreignBody_ = foreignBody_ || std::find(bodies_.rbegin(), bodies_.rend(), hash) == bodies_.rend();
    while (nextBody_ < bodies_.size() && bodies_[nextBody_] != hash) ++nextBody_;
    const bool repeated = nextBody_ == bodies_.size();
    if (!repeated) ++nextBody_;
    if (!repeated && !foreignBody_) return;
    confused_ = true;
    confusedAt_ = at;
  }
  /// Texts sent until `at` that have not arrived may be lost or arrive again because of this.
  void excuse(Cause cause, std::int64_t at) {
    auto& latest = latest_[static_cast<std::size_t>(cause)];
    latest = std::max(latest, at);
  }
  /// The receiver has emptied its queue and has new sockets. Nothing that was on its way can arrive, but
  /// texts in the peer's queue can. After foreign bodies the next arrival therefore decides anew how far the
  /// flow has come: the receiver may have taken a foreign text for a later one of the peer's.
  void restart(std::int64_t at) {
    restarted_ = at;
    uncertain_ = std::exchange(foreignBody_, false) || uncertain_;
  }
  /// True if a frame that the network kept back or made up may still arrive.
  bool damaged() const { return latest(Cause::Damaged) >= restarted_; }
  /// True if a full queue may have dropped the first copy of a text that was sent twice.
  bool overflowed() const { return latest(Cause::Overflow) >= restarted_; }
  /// True once a body has arrived that the peer never sent: a stranger's, or pieces of several frames with a
  /// fitting checksum. Until the flow restarts, texts may arrive that the peer did not send, in any order.
  bool hasForeignBody() const { return foreignBody_; }
  /// True from a frame that the peer never sent, or not so often, until some minutes after its connection: a
  /// busy link keeps one acknowledgement too many as long as the connection lasts.
  bool isConfused(std::int64_t now) const {
    return confused_ || (confusedAt_ >= 0 && now <= confusedAt_ + kConfusionMax);
  }

  /// The receiver has a new connection, which brings none of the frames sent before.
  void reconnect(std::int64_t at) {
    nextBody_ = bodies_.size();
    if (std::exchange(confused_, false)) confusedAt_ = at;
  }

  /// The number of such a text, 0 for any other.
  static std::uint64_t numberOf(std::string_view text) { return textOf(text).number; }
  /// The receiver has put a text into its queue. False if its sender counts it as dropped.
  bool queue(std::uint64_t number) {
    remember(foreignBody_ ? doubtful_ : queued_, number);
    return !dropped_.contains(number);
  }
  bool queued(std::uint64_t number) const { return queued_.contains(number) || doubtful_.contains(number); }
  /// The sender counts a text as dropped. False if the receiver has had it in its queue.
  bool drop(std::uint64_t number) {
    remember(dropped_, number);
    return !queued_.contains(number);
  }

 private:
  static constexpr std::size_t kBatchMax = 20;
  static constexpr std::int64_t kConfusionMax = 180'000;  // longer than a receipt waits for certainty
  static constexpr std::size_t kBodiesRemembered = 1024;
  // More than a host sends, bursts included, while its peer stands still for days with one in its queue.
  static constexpr std::size_t kTextsRemembered = 200'000;

  struct Text {
    std::uint64_t number = 0;  // 0 = not a text of a simulated host
    std::size_t size = 0;
    std::int64_t at = 0;
  };

  static Text textOf(std::string_view text) {
    constexpr std::string_view beginning = "text ";
    if (!text.starts_with(beginning)) return {};
    const char* const end = text.data() + text.size();
    std::uint64_t number = 0;
    const auto [rest, error] = std::from_chars(text.data() + beginning.size(), end, number);
    if (error != std::errc() || std::any_of(rest, end, [](char byte) { return byte != '.'; })) return {};
    return {number, text.size(), 0};
  }
  static std::uint64_t hashOf(std::string_view body) {
    StreamHash hash;
    hash.add(body);
    return hash.value();
  }

  std::int64_t latest(Cause cause) const { return latest_[static_cast<std::size_t>(cause)]; }
  std::uint64_t latestDelivered() const { return delivered_.empty() ? 0 : delivered_.back(); }
  // nullptr if no such text was sent.
  const Text* find(const Text& text) const {
    const auto sent = std::ranges::lower_bound(sent_, text.number, {}, &Text::number);
    const bool found = sent != sent_.end() && sent->number == text.number && sent->size == text.size;
    return found ? &*sent : nullptr;
  }

  Arrival classify(const Text& text) {
    const Text* const sent = find(text);
    if (sent == nullptr) return Arrival::Foreign;
    settlePosition(text.number);
    if (text.number <= latestDelivered()) {
      if (!std::ranges::binary_search(delivered_, text.number)) return Arrival::Old;
      ++counts_.doubled[static_cast<std::size_t>(causeOf(*sent))];
      return Arrival::Again;
    }
    loseUpTo(text.number);
    delivered_.push_back(text.number);
    if (delivered_.size() > kBatchMax) delivered_.pop_front();
    return Arrival::New;
  }
  // After a restart with foreign bodies: forgets arrivals later than this one.
  void settlePosition(std::uint64_t number) {
    if (!std::exchange(uncertain_, false) || delivered_.empty()) return;
    while (latestDelivered() > number) delivered_.pop_back();
    if (delivered_.empty()) delivered_.push_back(number - 1);
  }
  // Some causes leave one acknowledgement too many, which stays in the exchange until the connection ends.
  static void remember(std::set<std::uint64_t>& numbers, std::uint64_t number) {
    numbers.insert(number);
    if (numbers.size() > kTextsRemembered) numbers.erase(numbers.begin());
  }
  Cause causeOf(const Text& text) const {
    for (std::size_t cause = 0; cause < kCauseCount; ++cause) {
      if (latest_[cause] >= text.at) return static_cast<Cause>(cause);
    }
    for (const Cause cause : {Cause::Failed, Cause::Repeated, Cause::Stranger, Cause::Damaged}) {
      if (latest(cause) > latest(Cause::Disconnected)) return cause;
    }
    return foreignBody_ ? Cause::Stranger : Cause::Unknown;
  }

  TextCounts& counts_;
  std::deque<std::uint64_t> bodies_;  // hashes of the latest ones sent
  std::size_t nextBody_ = 0;          // behind the one that was received last
  bool foreignBody_ = false;
  bool confused_ = false;  // on this connection
  std::int64_t confusedAt_ = -1;
  std::set<std::uint64_t> queued_, dropped_;  // numbers of texts
  std::set<std::uint64_t> doubtful_;          // queued, perhaps as an echo of a stranger
  bool uncertain_ = false;                    // restarted after a foreign body, and nothing has arrived since
  std::int64_t restarted_ = 0;
  std::deque<Text> sent_;                         // the latest, ascending
  std::deque<std::uint64_t> delivered_;           // numbers of the latest, ascending
  std::array<std::int64_t, kCauseCount> latest_;  // times; -1 = never
};

/// All flows of a site, and the sums of their texts.
class TextLedger {
 public:
  TextLedger() = default;
  TextLedger(const TextLedger&) = delete;
  TextLedger& operator=(const TextLedger&) = delete;

  /// The reference stays valid.
  TextFlow& flow(const FlowId& id) { return flows_.try_emplace(id, counts_).first->second; }
  /// Counts texts that have not arrived as lost: no more will arrive.
  void close() {
    for (auto& [id, flow] : flows_) flow.loseUpTo(UINT64_MAX);
  }

  const TextCounts& counts() const { return counts_; }
  /// Losses and repetitions without a cause.
  std::uint64_t unexplained() const { return counts_.lost.back() + counts_.doubled.back(); }

 private:
  TextCounts counts_;
  std::map<FlowId, TextFlow> flows_;
};

}  // namespace quarnex::simulation
