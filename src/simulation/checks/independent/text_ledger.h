// TextLedger: who sent which text to whom, and what of it arrived.
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

/// One direction of one pair of links.
struct Way {
  int machine = 0;
  int identifier = 0;
  bool fromClient = false;
  auto operator<=>(const Way&) const = default;
};

enum class Arrival : std::uint8_t {
  New,     ///< later than all before it
  Again,   ///< one of the last batch
  Old,     ///< earlier than that: no link of ours sends it again
  Foreign  ///< nobody sent it on this way
};

/// What loses texts or doubles them. The order is that in which one is chosen where several apply.
enum class Cause : std::uint8_t {
  Emptied,       ///< the host at one end said "VUOTABUFFER"
  Closed,        ///< the host closed one end of the link, or left
  Restarted,     ///< one end began anew
  Disconnected,  ///< one end reported 702, or activated its sockets, which empties its queue
  Connected,     ///< one end reported 701, perhaps of a caller who took the place of another
  Overflow,      ///< a queue of 5000 dropped its oldest
  Failed,        ///< a step of the engine failed
  Repeated,      ///< an acknowledgement was late, or came for an earlier batch
  Stranger,      ///< somebody else was connected, or fragments passed the checksum
  Damaged,       ///< the network changed, dropped or repeated frames
  Unknown
};
constexpr std::size_t kCauseCount = static_cast<std::size_t>(Cause::Unknown) + 1;
using CauseCounts = std::array<std::uint64_t, kCauseCount>;
std::string_view nameOf(Cause cause);

/// What went one way, and what of it arrived.
class Course {
 public:
  /// Whatever was sent until now and has not arrived may be lost, or come again, because of this.
  void happened(Cause cause, std::int64_t at) {
    auto& latest = latest_[static_cast<std::size_t>(cause)];
    latest = std::max(latest, at);
  }
  /// The receiver has emptied its queue and goes on with new sockets: nothing that was on its way can arrive.
  /// What the peer still has in its queue can, and it may come before a text that a torn course took for one
  /// of the peer's: so after a torn one the next arrival says anew how far the course is.
  void beginAnew(std::int64_t at) {
    begun_ = at;
    unsure_ = std::exchange(torn_, false) || unsure_;
  }
  /// Whether a frame that the network kept back or made up may still arrive.
  bool damaged() const { return latest(Cause::Damaged) >= begun_; }
  /// Whether a full queue may have dropped the first copy of a text that was sent twice.
  bool overflowed() const { return latest(Cause::Overflow) >= begun_; }
  /// True once a body has come in that the peer never sent: a stranger's, or pieces of several frames that
  /// the checksum did not tell from a whole one. Until the receiver begins anew texts may arrive that the
  /// peer did not send, in any order.
  bool torn() const { return torn_; }

 private:
  friend class TextLedger;
  static constexpr std::size_t kBodiesRemembered = 1024;

  struct Text {
    std::uint64_t number = 0;  // 0 = none of ours
    std::size_t size = 0;
    std::int64_t at = 0;
  };

  std::int64_t latest(Cause cause) const { return latest_[static_cast<std::size_t>(cause)]; }

  std::vector<std::uint64_t> bodies_;  // hashes of the latest ones sent, in a ring once it is full
  std::size_t nextBody_ = 0;
  bool torn_ = false;
  bool unsure_ = false;  // begun anew after it was torn, and nothing has arrived since
  std::int64_t begun_ = 0;
  std::vector<Text> sent_;               // ascending
  std::deque<std::uint64_t> delivered_;  // the latest, ascending
  std::array<std::int64_t, kCauseCount> latest_ = [] {
    std::array<std::int64_t, kCauseCount> never{};
    never.fill(-1);
    return never;
  }();
};

/// Understands the texts of a `Place`: "text", a number that rises with every text of the host, and dots.
class TextLedger {
 public:
  /// Stays where it is.
  Course& course(const Way& way) { return courses_[way]; }

  /// Anything but such a text is ignored. Moments never go back.
  void send(Course& course, std::string_view text, std::int64_t at = 0);
  Arrival deliver(Course& course, std::string_view text);
  /// Whether such a text was sent that way, lately.
  static bool knows(const Course& course, std::string_view text);

  /// The body of a frame that leaves, and of one that came in with a right checksum.
  static void sendBody(Course& course, std::string_view body);
  static void receiveBody(Course& course, std::string_view body);

  /// Nothing more will arrive: what has not is lost.
  void close();

  std::uint64_t sent() const { return sent_; }
  const CauseCounts& losses() const { return losses_; }
  const CauseCounts& duplicates() const { return duplicates_; }
  std::uint64_t unexplained() const { return losses_.back() + duplicates_.back(); }
  std::uint64_t arrived(Arrival kind) const { return arrived_[static_cast<std::size_t>(kind)]; }

 private:
  using Text = Course::Text;

  static Text textOf(std::string_view text);
  static const Text* find(const Course& course, const Text& text);
  static void lookAnew(Course& course, std::uint64_t number);
  Arrival judge(Course& course, const Text& text);
  static Cause causeOf(const Course& course, const Text& text);
  void lose(const Course& course, std::uint64_t after, std::uint64_t before);

  std::map<Way, Course> courses_;
  std::uint64_t sent_ = 0;
  std::uint64_t arrived_[4] = {};
  CauseCounts losses_{}, duplicates_{};
};

}  // namespace quarnex::simulation
