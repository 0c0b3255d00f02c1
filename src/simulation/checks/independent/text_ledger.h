// TextLedger: records which text was sent on which link and which arrived; names a cause for each loss.
#pragma once

#include <algorithm>
#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

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
std::string_view nameOf(Cause cause);

/// Numbers of texts.
struct TextCounts {
  std::uint64_t sent = 0;
  std::array<std::uint64_t, 4> arrived{};  ///< by `Arrival`
  CauseCounts lost{}, doubled{};           ///< by cause

  std::uint64_t of(Arrival kind) const { return arrived[static_cast<std::size_t>(kind)]; }
  void add(const TextCounts& other);
};

/// The texts of one direction: those that were sent, and those that arrived.
class TextFlow {
 public:
  TextFlow() { latest_.fill(-1); }

  /// Record the bodies of frames: of each frame sent, and of each frame received with the right checksum.
  void sendBody(std::string_view body);
  void receiveBody(std::string_view body);
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

 private:
  friend class TextLedger;
  static constexpr std::size_t kBodiesRemembered = 1024;

  struct Text {
    std::uint64_t number = 0;  // 0 = not a text of a simulated host
    std::size_t size = 0;
    std::int64_t at = 0;
  };

  std::int64_t latest(Cause cause) const { return latest_[static_cast<std::size_t>(cause)]; }

  std::deque<std::uint64_t> bodies_;  // hashes of the latest ones sent
  bool foreignBody_ = false;
  bool uncertain_ = false;  // restarted after a foreign body, and nothing has arrived since
  std::int64_t restarted_ = 0;
  std::vector<Text> sent_;                        // ascending
  std::deque<std::uint64_t> delivered_;           // numbers of the latest, ascending
  std::array<std::int64_t, kCauseCount> latest_;  // times; -1 = never
};

/// Understands the texts of a `Place`: "text", a number that rises with every text of the host, and dots.
class TextLedger {
 public:
  /// The reference stays valid.
  TextFlow& flow(const FlowId& id) { return flows_[id]; }

  /// Records a text in the sender's queue; other texts than those of a `Place` are ignored. Times never
  /// decrease.
  void send(TextFlow& flow, std::string_view text, std::int64_t at = 0);
  Arrival deliver(TextFlow& flow, std::string_view text);
  /// True if such a text was sent that way lately.
  static bool knows(const TextFlow& flow, std::string_view text) {
    return find(flow, textOf(text)) != nullptr;
  }

  /// Counts texts that have not arrived as lost: no more will arrive.
  void close();

  const TextCounts& counts() const { return counts_; }
  /// Losses and repetitions without a cause.
  std::uint64_t unexplained() const { return counts_.lost.back() + counts_.doubled.back(); }

 private:
  using Text = TextFlow::Text;

  static Text textOf(std::string_view text);
  static const Text* find(const TextFlow& flow, const Text& text);
  static void settlePosition(TextFlow& flow, std::uint64_t number);
  Arrival classify(TextFlow& flow, const Text& text);
  static Cause causeOf(const TextFlow& flow, const Text& text);
  void lose(const TextFlow& flow, std::uint64_t after, std::uint64_t before);

  std::map<FlowId, TextFlow> flows_;
  TextCounts counts_;
};

}  // namespace quarnex::simulation
