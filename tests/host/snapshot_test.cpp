// Tests LinkSnapshot: the sentence about a link, and each failure as a value, in words and in the reports.
#include "quarnex/link_snapshot.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <set>
#include <string>

#include "quarnex/times_and_limits.h"
#include "support/stub_host.h"

namespace quarnex::test {
namespace {

const Action kMessage = received("0000052|9NODATA|9.|");

const Action kShutDown = [](StubHost& host) { host.quarn.Uscita(); };

struct Sentence {
  bool client;
  Action action;  // after the link was opened at 08:39:21
  const char* phase;
  const char* why;
};

const Sentence kSentences[] = {
    {kServer, nothing, "waiting", "down since 08:39:21: not connected yet; listens again at 08:39:32"},
    {kClient, [](StubHost& host) { host.carrier(1).inner->settings.state = 1; }, "waiting",
     "down since 08:39:21: not connected yet; next call at 08:39:32"},
    {kClient, after(11), "calling",
     "down since 08:39:21: not connected yet; calling 127.0.0.1:20308 until 08:40:33"},
    {kServer, after(11), "listening",
     "down since 08:39:21: not connected yet; listening on port 20308 until 08:40:33"},
    {kServer, sequence(after(11), failing("localPort ServerSocket", 5, "boom")), "listening",
     "down since 08:39:21: not connected yet; listening until 08:40:33"},
    {kServer, sequence(after(11), callerArrives(0)), "connected",
     "connected to 127.0.0.1:20308 since 08:39:32; no message from the peer yet"},
    {kClient, sequence(connected(), after(0), after(6)), "connected",
     "connected to 127.0.0.1:20308 since 08:39:32; no message from the peer yet"},
    {kClient, sequence(connected(), kMessage), "connected", "connected to 127.0.0.1:20308 since 08:39:32"},
    {kClient, sequence(connected(), kMessage, after(1), after(0), after(6)), "connected",
     "connected to 127.0.0.1:20308 since 08:39:32; the peer does not answer"},
    {kServer, sequence(connected(), kMessage, after(16)), "connected",
     "connected to 127.0.0.1:20308 since 08:39:32; the peer does not answer"},
    {kClient, sequence(connected(), after(0), after(6), connectionEnds(0), after(21), callEnds(0)),
     "connected", "connected to 127.0.0.1:20308 since 08:39:59; no message from the peer yet"},
    {kServer, sequence(connected(), kMessage, after(16), callerArrives(0)), "connected",
     "connected to 127.0.0.1:20308 since 08:39:48; no message from the peer yet"},
    {kServer, sequence(after(11), callerArrives(0), connectionEnds(10054)), "waiting",
     "down since 08:39:32: error 10054, Connection reset by peer (while connected, at "
     "08:39:32); listens again at 08:39:43"},
    {kClient, sequence(after(11), callEnds(0), [](StubHost& host) { host.quarn.Chiudi(1); }), "connected",
     "connected to 127.0.0.1:20308 since 08:39:32; no message from the peer yet; the peer has been asked to "
     "close"},
    {kClient, sequence(connected(), kShutDown, failing("send ClientSocket", 10057, "boom"), after(1)),
     "closed", "closed during shutdown: sending failed: error 10057, boom (while connected, at 08:39:33)"},
    {kClient, kShutDown, "closed", "closed by the host since 08:39:21"},
};

TEST(Snapshot, DescribesTheStateInOneSentenceWithoutAnEffect) {
  for (const Sentence& row : kSentences) {
    SCOPED_TRACE(row.why);
    StubHost host;
    host.addOpen(row.client);
    row.action(host);
    host.happened();
    const LinkSnapshot link = host.quarn.snapshot(1);
    EXPECT_EQ(link.why, row.why);
    EXPECT_STREQ(nameOf(link.phase), row.phase);
    EXPECT_THAT(host.happened(), testing::IsEmpty());
  }
}

TEST(Snapshot, ShowsExchangeDeadlinesAndQueues) {
  StubHost host;
  host.addConnected(kClient);
  host.quarn.Invia(1, "one");
  received("0000053|AB|9CMD|9.|")(host);
  host.quarn.Invia(1, "two");
  const LinkSnapshot link = host.quarn.snapshot(1);
  EXPECT_EQ(link.subState, kExchangeWaiting);
  EXPECT_EQ(link.replyDeadline, host.time.second + kReplySeconds);
  EXPECT_EQ(link.keepAliveDeadline, host.time.second + kClientAliveSeconds);
  EXPECT_EQ(link.deadline, std::nullopt);
  EXPECT_EQ(std::vector({link.outbound, link.inbound, link.captured}), std::vector({1, 1, 0}));
  EXPECT_TRUE(link.batchInFlight);
  EXPECT_EQ(host.inbound(1), std::vector<std::string>{"AB"});
}

TEST(Snapshot, DescribesLinksThatCannotConnect) {
  StubHost host;
  const LinkSnapshot local = host.quarn.snapshot(host.quarn.Add("A", 1, true, false));
  EXPECT_EQ(local.endpoint + ": " + local.why, "Buffer: works inside the process, without TCP");
  const std::int16_t unopened = host.quarn.Add("A", 2, true, true);
  EXPECT_EQ(host.quarn.snapshot(unopened).why, "not opened");
  host.quarn.Uscita();
  EXPECT_EQ(host.quarn.snapshot(unopened).why, "not opened");
  const std::int16_t portless = host.quarn.Add("A", 12668, true, true);
  const std::int16_t ofPortOne = host.quarn.Add("A", -20099, true, true);
  for (const std::int16_t link : {portless, ofPortOne}) host.quarn.Apri(link);
  EXPECT_THAT(host.quarn.snapshot(ofPortOne).why, testing::Not(testing::HasSubstr("has no port")));
  EXPECT_THAT(host.quarn.snapshot(portless).why, testing::HasSubstr("identifier 12668 has no port"));
}

// The keep-alive is postponed, because silence would end the link before the sixth overdue answer.
void waitForSixAnswers(StubHost& host) {
  for (int overdue = 0; overdue < 6; ++overdue) {
    host.record(1).ScadenzaAlive.second = host.time.second + 60;
    sequence(after(0), after(6))(host);
  }
}

void receiveFrameWithoutEnd(StubHost& host) {
  host.library.limits.frame = 10;
  host.carrier(1).incoming.emplace_back("\2 12345678 ");
  host.tickAfter(0);
}

struct FailureRow {
  bool client;
  Action action;
  FailureKind kind;
  std::int32_t number;
  const char* text;
  LinkPhase phase;
  const char* name;
  const char* words;
  const char* reported;  // the reason in the report 991, nullptr if there is no report
};

const FailureRow kFailures[] = {
    {kServer, sequence(failing("listen ServerSocket", 10048, "Address already in use"), after(11)),
     FailureKind::ListenFailed, 10048, "Address already in use", LinkPhase::Listening, "listen-failed",
     "listening failed: error 10048, Address already in use", "Listen 10048 Address already in use"},
    {kClient, sequence(failing("connect ClientSocket", 70'000, "boom"), after(11)),
     FailureKind::CallNotStarted, 70'000, "boom", LinkPhase::Calling, "call-not-started",
     "the call could not be started: error 70000, boom", "Connect 70000 boom"},
    {kClient, sequence(connected(), failing("send ClientSocket", -7, "minus"), after(11)),
     FailureKind::SendFailed, -7, "minus", LinkPhase::Connected, "send-failed",
     "sending failed: error -7, minus", "Send -7 minus"},
    {kClient, sequence(after(11), callEnds(10061)), FailureKind::CallFailed, 10061, "", LinkPhase::Calling,
     "call-failed", "error 10061, The requested connection has been refused by the remote host",
     "10061  The requested connection has been refused by the remote host."},
    {kServer, sequence(after(11), callerArrives(10024)), FailureKind::AcceptFailed, 10024, "",
     LinkPhase::Listening, "accept-failed", "error 10024, Too many open files", "10024 ErrorCode:10024"},
    {kServer, sequence(after(11), after(61)), FailureKind::ListenTimeout, 0, "", LinkPhase::Listening,
     "listen-timeout", "nobody called within 60 seconds", "Listen Timeout"},
    {kClient, sequence(after(11), after(61)), FailureKind::ConnectTimeout, 0, "", LinkPhase::Calling,
     "connect-timeout", "the call was not answered within 60 seconds", "Connect Timeout"},
    {kServer, sequence(connected(), after(16), after(16)), FailureKind::KeepAliveTimeout, 0, "",
     LinkPhase::Connected, "keep-alive-timeout", "no message came from the peer for 2 keep-alive periods",
     "Alive Timeout"},
    {kClient, sequence(connected(), waitForSixAnswers), FailureKind::ReplyTimeout, 0, "",
     LinkPhase::Connected, "reply-timeout", "6 answers in a row were overdue", "Timeout HandleStato_B"},
    {kClient, sequence(connected(), connectionEnds(0)), FailureKind::ClosedByPeer, 0, "",
     LinkPhase::Connected, "closed-by-peer", "the peer closed the connection", nullptr},
    {kServer, sequence(connected(), connectionEnds(10099)), FailureKind::ConnectionBroken, 10099, "",
     LinkPhase::Connected, "connection-broken", "error 10099", nullptr},
    {kServer, sequence(connected(), received("0000053|9K|9CMD|9.|")), FailureKind::PeerAskedToClose, 0, "",
     LinkPhase::Connected, "peer-asked-to-close", "the peer asked to close", nullptr},
    {kServer, sequence(connected(), receiveFrameWithoutEnd), FailureKind::FrameTooLong, 0, "",
     LinkPhase::Connected, "frame-too-long", "a frame of the peer did not end within the limit",
     "Frame Too Long"},
};

TEST(LinkFailures, AreKeptAsValuesAndPutIntoWordsAndReports) {
  std::set<FailureKind> kinds;
  for (const FailureRow& row : kFailures) {
    SCOPED_TRACE(row.name);
    kinds.insert(row.kind);
    StubHost host;
    host.addOpen(row.client);
    EXPECT_FALSE(host.quarn.snapshot(1).lastFailure);
    row.action(host);
    const LinkSnapshot link = host.quarn.snapshot(1);
    ASSERT_TRUE(link.lastFailure);
    EXPECT_EQ(link.lastFailure->kind, row.kind);
    EXPECT_EQ(link.lastFailure->number, row.number);
    EXPECT_EQ(link.lastFailure->text, row.text);
    EXPECT_EQ(link.lastFailure->phase, row.phase);
    EXPECT_EQ(link.lastFailure->at, host.time.second);
    EXPECT_STREQ(nameOf(link.lastFailure->kind), row.name);
    EXPECT_EQ(inWords(*link.lastFailure), row.words);
    EXPECT_THAT(link.why, testing::HasSubstr(std::string(": ") + row.words + " (while "));
    const auto items = host.inbound(1);
    const auto report = std::ranges::find_if(items, [](const auto& item) { return item.starts_with("991"); });
    ASSERT_EQ(report != items.end(), row.reported != nullptr);
    if (row.reported == nullptr) continue;
    EXPECT_THAT(*report, testing::EndsWith(std::string(":20308 ") + row.reported));
  }
  EXPECT_EQ(kinds.size(), static_cast<std::size_t>(FailureKind::FrameTooLong) + 1);
}

}  // namespace
}  // namespace quarnex::test
