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

/// Understands the texts of a `Place`: "text", a number that rises with every text of the host, and dots.
class TextLedger {
 public:
  /// Anything but such a text is ignored.
  void send(const Way& way, std::string_view text);
  Arrival deliver(const Way& way, std::string_view text);

  /// The body of a frame that leaves, and of one that came in with a right checksum.
  void sendBody(const Way& way, std::string_view body);
  void receiveBody(const Way& way, std::string_view body);
  /// True once a body has come in that the peer never sent: a stranger's, or pieces of several frames that
  /// the checksum did not tell from a whole one. From then on any text may arrive.
  bool torn(const Way& way) { return courses_[way].torn; }

  std::uint64_t sent() const { return sent_; }
  std::uint64_t arrived(Arrival kind) const { return arrived_[static_cast<std::size_t>(kind)]; }

 private:
  struct Text {
    std::uint64_t number = 0;  // 0 = none of ours
    std::size_t size = 0;
  };
  struct Course {
    std::deque<std::size_t> bodies;  // hashes of the latest ones sent
    bool torn = false;
    std::vector<Text> sent;               // ascending
    std::deque<std::uint64_t> delivered;  // the latest, ascending
  };

  static Text textOf(std::string_view text);
  Arrival judge(Course& course, const Text& text);

  std::map<Way, Course> courses_;
  std::uint64_t sent_ = 0;
  std::uint64_t arrived_[4] = {};
};

}  // namespace quarnex::simulation
