// TextLedger: who sent which text to whom, and what of it arrived.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string_view>
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

/// What went one way, and what of it arrived.
class Course {
 public:
  /// True once a body has come in that the peer never sent: a stranger's, or pieces of several frames that
  /// the checksum did not tell from a whole one. From then on any text may arrive.
  bool torn() const { return torn_; }

 private:
  friend class TextLedger;
  static constexpr std::size_t kBodiesRemembered = 1024;

  struct Text {
    std::uint64_t number = 0;  // 0 = none of ours
    std::size_t size = 0;
  };

  std::vector<std::size_t> bodies_;  // hashes of the latest ones sent, in a ring once it is full
  std::size_t nextBody_ = 0;
  bool torn_ = false;
  std::vector<Text> sent_;               // ascending
  std::deque<std::uint64_t> delivered_;  // the latest, ascending
};

/// Understands the texts of a `Place`: "text", a number that rises with every text of the host, and dots.
class TextLedger {
 public:
  /// Stays where it is.
  Course& course(const Way& way) { return courses_[way]; }

  /// Anything but such a text is ignored.
  void send(Course& course, std::string_view text);
  Arrival deliver(Course& course, std::string_view text);

  /// The body of a frame that leaves, and of one that came in with a right checksum.
  static void sendBody(Course& course, std::string_view body);
  static void receiveBody(Course& course, std::string_view body);

  std::uint64_t sent() const { return sent_; }
  std::uint64_t arrived(Arrival kind) const { return arrived_[static_cast<std::size_t>(kind)]; }

 private:
  using Text = Course::Text;

  static Text textOf(std::string_view text);
  static Arrival judge(Course& course, const Text& text);

  std::map<Way, Course> courses_;
  std::uint64_t sent_ = 0;
  std::uint64_t arrived_[4] = {};
};

}  // namespace quarnex::simulation
