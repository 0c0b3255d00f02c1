// One frame of a conversation is lost, doubled, damaged or cut off, at every place: what becomes of the
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

constexpr int kStrikes = 12;  // the first so many frames of each direction
constexpr int kTexts = 12;

struct Kind {
  const char* name;
  Tamper (*make)(std::uint64_t frame);
  bool repeats;  // bytes come again
  bool old;      // and out of their time
  bool ends;     // the connection
};

enum Senders { kClient, kServer, kBoth };

// What one host took, by the numbers of the texts; anything that the other one did not queue is foreign.
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

// Two hosts; on their first connection one frame meets its fate.
struct Life {
  Life(const Kind& kind, std::uint64_t frame, bool fromServer, Senders senders) : who(senders) {
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
  // Takes what arrives at once, as hosts should.
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

class StruckFrames : public testing::TestWithParam<Kind> {
 protected:
  // Unless bytes come again, what comes twice comes to the sender of the struck frame, which acknowledged it
  // or left the other side with the beginning of a frame that swallowed the next one. One fault loses nothing
  // of a client, and of a server one batch that an acknowledgement too many has met.
  void judge(const Life& life, bool fromServer, bool atServer) {
    const Arrived& arrived = atServer ? life.atServer : life.atClient;
    const bool unanswered = GetParam().ends || life.struck.find("9ACK") != std::string::npos;
    EXPECT_EQ(arrived.foreign, 0);
    EXPECT_TRUE(GetParam().old || std::ranges::is_sorted(arrived.firsts));
    EXPECT_TRUE(!arrived.doubled() || GetParam().repeats || (fromServer == atServer && unanswered));
    doubled = doubled || arrived.doubled();
    if (life.who == (atServer ? kServer : kClient)) return;
    std::vector<int> lost;
    for (int number = 0; number < life.queued; ++number)
      if (std::ranges::count(arrived.firsts, number) == 0) lost.push_back(number);
    if (lost.empty()) return;
    EXPECT_TRUE(!atServer && (GetParam().repeats || (fromServer && unanswered)));
    EXPECT_EQ(lost.back() - lost.front() + 1, static_cast<int>(lost.size()));
  }

  bool doubled = false;
};

TEST_P(StruckFrames, LoseAndDoubleWhatTheyMayAndNothingElse) {
  for (int row = 0; row < 6 * kStrikes; ++row) {
    const auto senders = static_cast<Senders>(row % 3);
    const bool fromServer = row / 3 % 2 == 1;
    const std::uint64_t frame = 1 + static_cast<std::uint64_t>(row / 6);
    SCOPED_TRACE("frame " + std::to_string(frame) + (fromServer ? " of the server" : " of the client") +
                 ", senders " + std::to_string(senders));
    Life life(GetParam(), frame, fromServer, senders);
    life.queueTexts(3, 100);
    ASSERT_TRUE(life.pair.connects());
    life.queueTexts(kTexts, 700);
    life.pass(kRecoverySeconds * 1000);
    EXPECT_NE(life.struck, "");
    EXPECT_EQ(life.connections, GetParam().ends ? 2 : 1);
    EXPECT_TRUE(life.pair.connected());
    judge(life, fromServer, true);
    judge(life, fromServer, false);
    life.atServer = life.atClient = {};
    const std::vector<int> last{life.queued, life.queued + 1, life.queued + 2};
    life.queueTexts(3, 700);
    life.pass(10'000);
    EXPECT_EQ(life.atServer.numbers, senders == kServer ? std::vector<int>() : last);
    EXPECT_EQ(life.atClient.numbers, senders == kClient ? std::vector<int>() : last);
  }
  EXPECT_TRUE(doubled);
}

INSTANTIATE_TEST_SUITE_P(
    Each, StruckFrames,
    testing::Values(
        Kind{"Lost", [](std::uint64_t frame) { return losing({frame}); }, false, false, false},
        Kind{"Doubled", [](std::uint64_t frame) { return doubling({frame}); }, true, false, false},
        Kind{"Corrupted", [](std::uint64_t frame) { return corrupting({frame}); }, false, false, false},
        Kind{"FollowedByTheFirst", [](std::uint64_t frame) { return repeatingFirst({frame}); }, true, true,
             false},
        Kind{"CutOffAndClosed",
             [](std::uint64_t frame) { return truncating(frame, 9, Piece::Ending::Orderly); }, false, false,
             true},
        Kind{"CutOffAndReset", [](std::uint64_t frame) { return truncating(frame, 9, Piece::Ending::Reset); },
             false, false, true}),
    [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace quarnex::simulation
