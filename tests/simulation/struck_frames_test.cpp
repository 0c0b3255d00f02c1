// Loses, doubles, damages or cuts off each single frame of a conversation, and expects the allowed effect on
// texts.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "quarnex/event_report.h"
#include "simulation/pair.h"
#include "simulation/tampers.h"

namespace quarnex::simulation {
namespace {

constexpr int kStrikes = 12;  // frames of each direction that are struck in turn
constexpr int kTexts = 12;

struct Strike {
  const char* name;
  Tamper (*make)(std::uint64_t frame);
  bool repeats;  // bytes come again
  bool old;      // and out of their time
  bool ends;     // the connection
};

enum Senders { kClient, kServer, kBoth };

// The numbers of the texts that one host took; texts that the other one did not queue are foreign.
struct Arrived {
  void take(Host& host, int queued) {
    for (const std::string& item : Pair::take(host)) {
      if (parseEventReport(item)) continue;
      int number = 0;
      while (number < queued && item != "text " + std::to_string(number)) ++number;
      if (number == queued) ++foreign;
      if (std::ranges::count(firsts, number) == 0) firsts.push_back(number);
      numbers.push_back(number);
    }
  }
  bool doubled() const { return firsts.size() < numbers.size(); }

  std::vector<int> numbers, firsts;
  int foreign = 0;
};

// Two hosts; one frame of their first connection is struck.
struct Conversation {
  Conversation(const Strike& kind, std::uint64_t frame, bool fromServer, Senders senders) : who(senders) {
    pair.world.network().onConnection = [=, this](Connection& connection) {
      if (++connections > 1) return;
      End& end = fromServer ? connection.called : connection.caller;
      end.tamper = [=, this, tamper = kind.make(frame),
                    count = std::uint64_t{0}](std::string_view sent) mutable {
        if (++count == frame) struck = sent;
        return tamper(sent);
      };
    };
    pair.add();
    pair.open();
  }
  void queueTexts(int count, Milliseconds pause) {
    for (const int end = queued + count; queued < end;) {
      const std::string text = "text " + std::to_string(queued++);
      if (who != kServer) pair.client.quarn().Invia(1, text);
      if (who != kClient) pair.server.quarn().Invia(1, text);
      pass(pause);
    }
  }
  // Takes arrived texts at once, as hosts should.
  void pass(Milliseconds duration) {
    for (Milliseconds passed = 0; passed < duration; passed += 100) {
      pair.world.runMilliseconds(100);
      atServer.take(pair.server, queued);
      atClient.take(pair.client, queued);
    }
  }

  Pair pair;
  Senders who;
  int connections = 0, queued = 0;
  std::string struck;
  Arrived atServer, atClient;
};

class StruckFrames : public testing::TestWithParam<Strike> {
 protected:
  // Unless bytes arrive again, only the sender of the struck frame may receive texts twice: the frame was an
  // acknowledgement, or its beginning swallowed the next frame. A single fault loses no text of a client, and
  // of a server one batch, for which an acknowledgement too many was taken.
  void check(const Conversation& talk, bool fromServer, bool atServer) {
    const Arrived& arrived = atServer ? talk.atServer : talk.atClient;
    const bool unanswered = GetParam().ends || talk.struck.find("9ACK") != std::string::npos;
    EXPECT_EQ(arrived.foreign, 0);
    EXPECT_TRUE(GetParam().old || std::ranges::is_sorted(arrived.firsts));
    EXPECT_TRUE(!arrived.doubled() || GetParam().repeats || (fromServer == atServer && unanswered));
    doubled = doubled || arrived.doubled();
    if (talk.who == (atServer ? kServer : kClient)) return;
    std::vector<int> lost;
    for (int number = 0; number < talk.queued; ++number)
      if (std::ranges::count(arrived.firsts, number) == 0) lost.push_back(number);
    if (lost.empty()) return;
    EXPECT_TRUE(!atServer && (GetParam().repeats || (fromServer && unanswered)));
    EXPECT_EQ(lost.back() - lost.front() + 1, static_cast<int>(lost.size()));
  }

  bool doubled = false;
};

TEST_P(StruckFrames, LoseAndDoubleOnlyTheTextsThatTheyMay) {
  for (int row = 0; row < 6 * kStrikes; ++row) {
    const auto senders = static_cast<Senders>(row % 3);
    const bool fromServer = row / 3 % 2 == 1;
    const std::uint64_t frame = 1 + static_cast<std::uint64_t>(row / 6);
    SCOPED_TRACE("frame " + std::to_string(frame) + (fromServer ? " of the server" : " of the client") +
                 ", senders " + std::to_string(senders));
    Conversation talk(GetParam(), frame, fromServer, senders);
    talk.queueTexts(3, 100);
    ASSERT_TRUE(talk.pair.connects());
    talk.queueTexts(kTexts, 700);
    talk.pass(kRecoverySeconds * 1000);
    EXPECT_NE(talk.struck, "");
    EXPECT_EQ(talk.connections, GetParam().ends ? 2 : 1);
    EXPECT_TRUE(talk.pair.connected());
    check(talk, fromServer, true);
    check(talk, fromServer, false);
    talk.atServer = talk.atClient = {};
    const std::vector<int> last{talk.queued, talk.queued + 1, talk.queued + 2};
    talk.queueTexts(3, 700);
    talk.pass(10'000);
    EXPECT_EQ(talk.atServer.numbers, senders == kServer ? std::vector<int>() : last);
    EXPECT_EQ(talk.atClient.numbers, senders == kClient ? std::vector<int>() : last);
  }
  EXPECT_TRUE(doubled);
}

INSTANTIATE_TEST_SUITE_P(
    Each, StruckFrames,
    testing::Values(
        Strike{"Lost", [](std::uint64_t frame) { return losing({frame}); }, false, false, false},
        Strike{"Doubled", [](std::uint64_t frame) { return doubling({frame}); }, true, false, false},
        Strike{"Corrupted", [](std::uint64_t frame) { return corrupting({frame}); }, false, false, false},
        Strike{"FollowedByTheFirst", [](std::uint64_t frame) { return repeatingFirst({frame}); }, true, true,
               false},
        Strike{"CutOffAndClosed",
               [](std::uint64_t frame) { return truncating(frame, 9, Piece::Ending::Orderly); }, false, false,
               true},
        Strike{"CutOffAndReset",
               [](std::uint64_t frame) { return truncating(frame, 9, Piece::Ending::Reset); }, false, false,
               true}),
    [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace quarnex::simulation
