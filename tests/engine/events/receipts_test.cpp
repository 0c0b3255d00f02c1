// The fate of texts, cause by cause, and the events around them.
#include "quarnex/receipts.h"
#include "engine/events/telling.h"
#include "engine/link/failure_handling.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/stub_host.h"

namespace quarnex::test {
namespace {

const std::string kAck = "0000052|9ACK|9.|", kNoData = "0000052|9NODATA|9.|", kQuery = "0000052|9QRY|9.|";
const std::string kData = "0000053|c1|9CMD|9.|", kDataAndAck = "0000054|c1|9CMD|9.|9ACK|";

Action given(std::string text) {
  return [text = std::move(text)](StubHost& host) { host.quarn.Invia(1, text); };
}
Action many(int texts) {
  return [=](StubHost& host) {
    for (int i = 0; i < texts; ++i) host.quarn.Invia(1, "text");
  };
}
void reopened(StubHost& host) {
  host.quarn.Apri(1);
}
void closedByHost(StubHost& host) {
  host.quarn.Chiudi(1);
}

std::string inWords(const Receipt& receipt) {
  return std::to_string(receipt.from) + "-" + std::to_string(receipt.to) + " " + nameOf(receipt.outcome) +
         " " + nameOf(receipt.cause) + " " + std::to_string(receipt.frames);
}

std::vector<std::string> eventsOf(StubHost& host, bool receiptsOnly) {
  std::vector<std::string> events;
  while (const auto event = host.quarn.nextEvent()) {
    const bool isReceipt = event->type == EventType::Receipts;
    if (isReceipt) events.push_back(inWords(event->receipt));
    if (!isReceipt && !receiptsOnly)
      events.push_back(nameOf(event->type) + (' ' + std::to_string(event->count)));
  }
  return events;
}

struct ReceiptCase {
  const char* name;
  bool client;
  std::vector<Action> actions;
  std::vector<std::string> receipts;
};

class ReceiptsTest : public testing::TestWithParam<ReceiptCase> {};

TEST_P(ReceiptsTest, TellTheFateOfEachTextOnce) {
  StubHost host;
  host.addConnected(GetParam().client);
  host.quarn.enableEvents(1);
  for (const Action& action : GetParam().actions) action(host);
  EXPECT_EQ(eventsOf(host, true), GetParam().receipts);
  const LinkSnapshot snapshot = host.quarn.snapshot(1);
  std::uint64_t counted = snapshot.undecided;
  for (const Outcome outcome : {Outcome::Acknowledged, Outcome::Dropped, Outcome::Unknown})
    counted += snapshot.outcomes.of(outcome);
  EXPECT_EQ(counted, host.quarn.accepted(1));
}

const ReceiptCase kReceiptCases[] = {
    {"acknowledged", kClient, {given("t1"), after(0), received(kAck)}, {"1-1 acknowledged  1"}},
    {"joined",
     kClient,
     {given("t1"), after(0), received(kAck), given("t2"), after(0), received(kAck)},
     {"1-2 acknowledged  1"}},
    {"repeated",
     kClient,
     {given("t1"), after(0), after(6), after(0), received(kAck)},
     {"1-1 acknowledged  2"}},
    {"late, all answered",
     kClient,
     {given("t1"), after(0), after(6), after(0), received(kAck), given("t2"), after(0), received(kAck),
      received(kAck)},
     {"1-2 acknowledged  2"}},
    {"late, then no data",
     kClient,
     {given("t1"), after(0), after(6), after(0), received(kAck), given("t2"), after(0), received(kAck),
      after(0), received(kNoData)},
     {"1-1 acknowledged  2", "2-2 unknown stray-acknowledgement 1"}},
    {"late, then the end",
     kClient,
     {given("t1"), after(0), after(6), after(0), received(kAck), given("t2"), after(0), received(kAck),
      connectionEnds(0)},
     {"1-1 acknowledged  2", "2-2 unknown stray-acknowledgement 1"}},
    {"stray acknowledgement",
     kServer,
     {received(kData), given("t1"), after(0), received(kDataAndAck)},
     {"1-1 dropped stray-acknowledgement 0"}},
    {"answer of a server",
     kServer,
     {given("t1"), received(kQuery), received("0000053|9ACK|9QRY|9.|")},
     {"1-1 acknowledged  1"}},
    {"in data after a query",
     kServer,
     {given("t1"), received(kQuery), received(kDataAndAck)},
     {"1-1 acknowledged  1"}},
    {"acknowledged before it is repeated",
     kServer,
     {given("t1"), received(kQuery), connectionEnds(0), after(0), callerArrives(0), received(kDataAndAck)},
     {"1-1 unknown stray-acknowledgement 1"}},
    {"reconnection",
     kClient,
     {given("t1"), after(0), given("t2"), after(11), after(11)},
     {"1-1 unknown reconnection 1", "2-2 dropped reconnection 0"}},
    {"reopened", kClient, {connectionEnds(0), given("t1"), reopened}, {"1-1 dropped reopened 0"}},
    {"closed",
     kClient,
     {connectionEnds(0), given("t1"), closedByHost, given("t2")},
     {"1-1 dropped closed 0", "2-2 dropped closed 0"}},
    {"emptied",
     kClient,
     {given("t1"), after(0), given("t2"), given("VUOTABUFFER")},
     {"1-1 unknown queues-emptied 1", "2-2 dropped queues-emptied 0"}},
    {"full queue", kClient, {many(5002)}, {"1-2 dropped queue-full 0"}},
    {"separator", kClient, {given("t1"), given("a|b"), after(0), received(kAck)}, {"1-2 unknown content 1"}},
    {"too short",
     kClient,
     {given("t1"), given("x"), given("9ACK"), given("t4"), after(0), received(kAck)},
     {"1-1 acknowledged  1", "2-3 unknown content 1", "4-4 acknowledged  1"}},
    {"blocked",
     kClient,
     {given(std::string(40000, 't')), after(0), given("t2"), after(11), after(11)},
     {"1-1 unknown content 1", "2-2 dropped reconnection 0"}},
};

INSTANTIATE_TEST_SUITE_P(Each, ReceiptsTest, testing::ValuesIn(kReceiptCases), [](const auto& each) {
  std::string name = each.param.name;
  std::erase_if(name, [](char c) { return c == ' ' || c == ','; });
  return name;
});

TEST(ReceiptTest, TextsInsideTheProcessArriveAtOnceOrFindNoPeer) {
  StubHost host;
  host.quarn.Add("LOCAL", 1, true, false);
  EXPECT_EQ(host.quarn.send(1, "t1").number, 1U);
  host.quarn.Add("LOCAL", 1, true, false);
  EXPECT_EQ(host.quarn.send(1, "t2").number, 2U);
  const OutcomeCounts counts = host.quarn.snapshot(1).outcomes;
  EXPECT_EQ(counts.acknowledged, 1U);
  EXPECT_EQ(counts.dropped[static_cast<std::size_t>(ReceiptCause::NoPeer)], 1U);
  EXPECT_EQ(host.quarn.decidedUpTo(1), 2U);
}

TEST(ReceiptTest, PendingTextsAreInAFrameOrNot) {
  StubHost host;
  host.addConnected(kClient);
  EXPECT_TRUE(host.quarn.send(1, "t1"));
  host.tickAfter(0);
  EXPECT_TRUE(host.quarn.send(1, "t2"));
  const auto pending = host.quarn.pending(1);
  ASSERT_EQ(pending.size(), 2U);
  EXPECT_TRUE(pending[0].inFrame && pending[0].to == 1);
  EXPECT_TRUE(!pending[1].inFrame && pending[1].from == 2);
  EXPECT_EQ(host.quarn.accepted(1), 2U);
  EXPECT_EQ(host.quarn.decidedUpTo(1), 0U);
}

TEST(ReceiptTest, ARepetitionOnRequestIsCounted) {
  StubHost host;
  host.addConnected(kServer);
  EXPECT_TRUE(host.quarn.send(1, "t1"));
  host.receive(1, kQuery);
  host.receive(1, kQuery);
  EXPECT_EQ(host.quarn.snapshot(1).repetitions, 1U);
}

TEST(ReceiptTest, AClosedLinkWhoseSocketIsStillOpenDecidesNothing) {
  for (const bool called : {true, false}) {
    StubHost host;
    host.quarn.enableEvents(host.addOpen(kServer));
    host.failing.insert({"close ServerSocket", Failure(10065, "no route")});
    host.quarn.Chiudi(1);
    host.failing.clear();
    host.quarn.Invia(1, "t1");
    EXPECT_EQ(host.quarn.decidedUpTo(1), 0U);
    if (called) callerArrives(0)(host);
    host.quarn.Apri(1);
    if (called) host.receive(1, kQuery);
    if (called) host.receive(1, "0000052|9ACK|9.|");
    EXPECT_THAT(eventsOf(host, true),
                testing::ElementsAre(called ? "1-1 acknowledged  1" : "1-1 dropped reopened 0"));
  }
}

TEST(ReceiptTest, SendRefusesWithAReason) {
  StubHost host;
  host.addOpen(kClient);
  EXPECT_EQ(host.quarn.send(2, "t").refusal, Refusal::UnknownLink);
  const SendResult split = host.quarn.send(1, "a|b");
  EXPECT_TRUE(split.refusal == Refusal::Text && split.check.rule == TextRule::Separator);
  EXPECT_TRUE(host.quarn.send(1, "9XYZ"));
  host.quarn.drainAndClose(1, std::chrono::seconds(60));
  EXPECT_EQ(host.quarn.send(1, "t1").refusal, Refusal::Draining);
  host.quarn.drainAndClose(1, std::chrono::seconds(0));
  EXPECT_EQ(host.quarn.send(1, "t1").refusal, Refusal::NotOpen);
  host.quarn.Uscita();
  EXPECT_EQ(host.quarn.send(1, "t1").refusal, Refusal::Leaving);
  EXPECT_THROW(host.quarn.drainAndClose(7, std::chrono::seconds(0)), Failure);
  EXPECT_THROW(host.quarn.enableEvents(7), Failure);
}

TEST(EventTest, AnOutageFromItsBeginningToItsEnd) {
  StubHost host;
  host.quarn.Init("");
  host.addConnected(kClient);
  host.quarn.enableEvents(1);
  host.receive(1, "0000053|hello|9CMD|9.|");
  host.quarn.send(1, "t1");
  connectionEnds(0)(host);
  host.tickAfter(21);
  callEnds(10061)(host);
  host.connect(1);
  host.receive(1, kNoData);
  EXPECT_THAT(
      eventsOf(host, false),
      testing::ElementsAre("heard 1", "texts-received 1", "disconnected 1", "host-stood-still 21",
                           "attempt-failed 1", "1-1 dropped reconnection 0", "received-dropped 1",
                           "failure 1", "host-stood-still 11", "connected 1", "heard 1", "failure-over 1"));
  EXPECT_EQ(host.quarn.snapshot(1).framesReceived, 2U);
  const auto outages = host.quarn.outages(1);
  ASSERT_EQ(outages.size(), 1U);
  EXPECT_THAT(outages[0].why, testing::StartsWith("outage 1, "));
  EXPECT_THAT(outages[0].why,
              testing::HasSubstr("the peer closed the connection; 1 failed attempt, 1 text dropped"));
}

TEST(EventTest, OnlyReceiptsOfTheSameFateAndConnectionJoin) {
  StubHost host;
  host.addConnected(kClient);
  host.quarn.enableEvents(1);
  const auto drop = [&](ReceiptCause cause) {
    host.quarn.Invia(1, "text");
    noteAbandoned(host.library, host.record(1), cause);
  };
  for (const auto cause : {ReceiptCause::Closed, ReceiptCause::Closed, ReceiptCause::Timeout}) drop(cause);
  host.record(1).history.acks.begin();
  drop(ReceiptCause::Timeout);
  LinkEvent taken[5];
  ASSERT_EQ(host.quarn.nextEvents(taken, 5), 3U);
  EXPECT_EQ(taken[0].receipt.to, 2U);
  EXPECT_EQ(taken[1].receipt.from, 3U);
  EXPECT_EQ(taken[2].receipt.from, 4U);
  for (const int frames : {1, 2}) {
    host.quarn.Invia(1, "text");
    notePrepared(host.record(1), 1, 0);
    for (int frame = 0; frame < frames; ++frame) noteDataSent(host.record(1), frame == 0);
    noteAbandoned(host.library, host.record(1), ReceiptCause::Closed);
  }
  EXPECT_EQ(host.quarn.nextEvent()->receipt.frames, 2U);
}

TEST(EventTest, DrainingWaitsOnlyForLinksThatCanBeDrained) {
  StubHost host;
  for (int link = 1; link <= 2; ++link) host.addConnected(kClient);
  host.quarn.Add("LOCAL", 9, true, false);
  host.quarn.Add("A", 9, true, true);
  EXPECT_TRUE(host.quarn.outages(4).empty());
  EXPECT_EQ(host.quarn.accepted(4), 0U);
  EXPECT_THROW(host.quarn.drainAndClose(3, std::chrono::seconds(1)), Failure);
  for (const std::int16_t link : {std::int16_t{4}, host.addOpen(kServer)})
    host.quarn.drainAndClose(link, std::chrono::seconds(1));
  host.quarn.drainAndClose(2, std::chrono::seconds(1));
  for (const auto cause : {ReceiptCause::Closed, ReceiptCause::Timeout}) {
    host.quarn.Invia(2, "dropped");
    noteAbandoned(host.library, host.record(2), cause);
  }
  host.quarn.Invia(2, "never acknowledged");
  host.quarn.drainAndLeave(std::chrono::seconds(1));
  for (const std::int64_t seconds : {2, 2}) {
    host.time.second += seconds;
    host.quarn.nextEvent();
  }
  for (const std::int16_t link : {std::int16_t{1}, std::int16_t{2}}) {
    host.quarn.drainAndClose(link, std::chrono::seconds(1));
    EXPECT_TRUE(host.quarn.snapshot(link).closing) << link;
  }
}

TEST(EventTest, TheLatestOutagesAreKept) {
  StubHost host;
  host.addConnected(kClient);
  for (int outage = 1; outage <= 40; ++outage) sequence(connectionEnds(0), connected())(host);
  const auto outages = host.quarn.outages(1);
  ASSERT_EQ(outages.size(), 32U);
  EXPECT_EQ(outages.front().number, 9U);
  EXPECT_EQ(outages.back().number, 40U);
}

TEST(EventTest, AFullQueueSaysWhatIsMissing) {
  StubHost host;
  host.addConnected(kClient);
  host.quarn.enableEvents(1);
  const std::int64_t begin = host.time.second;
  for (std::size_t i = 0; i < kEventsMax + 5; ++i) (i % 2 == 0 ? connectionEnds(0) : connected())(host);
  EXPECT_EQ(host.quarn.eventsWaiting(), kEventsMax + 1);
  const auto lost = host.quarn.nextEvent();
  ASSERT_TRUE(lost && lost->type == EventType::Lost);
  const std::uint64_t disconnections = lost->lost.events[static_cast<std::size_t>(EventType::Disconnected)];
  EXPECT_GT(disconnections, 1U);
  EXPECT_LT(disconnections, kEventsMax);
  EXPECT_GE(lost->lost.from, begin);
  EXPECT_LE(lost->lost.from, lost->lost.to);
  EXPECT_EQ(host.quarn.eventsWaiting(), kEventsMax);
  LinkEvent taken[3];
  taken[2].link = 77;
  EXPECT_EQ(host.quarn.nextEvents(taken, 2), 2U);
  EXPECT_EQ(taken[2].link, 77);
  EXPECT_EQ(host.quarn.eventsWaiting(), kEventsMax - 2);
}

TEST(EventTest, LostReceiptsCountTheirTexts) {
  EventQueue queue;
  queue.setLimit(1);
  LinkEvent dropped;
  dropped.type = EventType::Receipts;
  dropped.receipt = {.from = 3, .to = 5, .outcome = Outcome::Dropped};
  queue.add(std::move(dropped));
  const std::uint64_t last = queue.add({});
  EXPECT_NE(queue.find(last), nullptr);
  EXPECT_EQ(queue.find(last + 1), nullptr);
  EXPECT_EQ(queue.take()->lost.texts[static_cast<std::size_t>(Outcome::Dropped)], 3U);
}

TEST(EventTest, AReconnectionEndsTheConnectionBeforeItDropsTheTexts) {
  StubHost host;
  host.addConnected(kClient);
  host.quarn.enableEvents(1);
  host.quarn.enableEvents(1);
  host.quarn.Invia(1, "t1");
  NonRisponde(host.library, host.record(1), {FailureKind::ReplyTimeout});
  const auto events = eventsOf(host, false);
  ASSERT_GE(events.size(), 2U);
  EXPECT_EQ(events[0], "disconnected 1");
  EXPECT_EQ(events[1], "1-1 dropped reconnection 0");
  host.quarn.Invia(1, "t2");
  host.quarn.Invia(1, "VUOTABUFFER");
  host.quarn.enableEvents(host.addOpen(kServer));
  EXPECT_EQ(host.quarn.eventsWaiting(), 1U);
}

TEST(EventTest, OccurrencesDoNotJoinTheFirstEventOfAnotherType) {
  for (const bool before : {false, true}) {
    StubHost host;
    host.addConnected(kClient);
    const auto receiveAndDrop = [&] {
      host.receive(1, "0000053|unread|9CMD|9.|");
      host.quarn.Invia(1, "VUOTABUFFER");
    };
    if (before) receiveAndDrop();
    host.quarn.enableEvents(1);
    sequence(connectionEnds(0), connected())(host);
    receiveAndDrop();
    EXPECT_THAT(eventsOf(host, false), testing::ElementsAre("disconnected 0", "connected 1", "heard 1",
                                                            "texts-received 1", "received-dropped 1"));
  }
}

TEST(EventTest, ReceivedTextsThatWereDroppedForAnotherCauseAreAnotherEvent) {
  StubHost host;
  host.addConnected(kClient);
  host.quarn.enableEvents(1);
  const auto dropOne = [&](ReceiptCause cause) {
    tellReceivedDropped(host.library, host.record(1), 1, cause);
  };
  for (const auto cause : {ReceiptCause::QueueFull, ReceiptCause::QueueFull, ReceiptCause::Closed})
    dropOne(cause);
  EXPECT_THAT(eventsOf(host, false), testing::ElementsAre("received-dropped 2", "received-dropped 1"));
}

TEST(EventTest, NoTextOfAPeerMakesAnotherEvent) {
  StubHost host;
  host.addConnected(kClient);
  host.receive(1, kNoData);
  host.quarn.enableEvents(1);
  for (const char* code : {"0109", "0112", "0701", "0702", "0991", "0992", "0993"})
    host.receive(1, std::string("0000053|X000E") + code + "[#I5#$TMIRTAN$]09300519112026|9CMD|9.|");
  EXPECT_THAT(eventsOf(host, false), testing::ElementsAre("texts-received 7"));
}

}  // namespace
}  // namespace quarnex::test
