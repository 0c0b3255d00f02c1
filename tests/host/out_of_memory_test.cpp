// Fails the n-th allocation of the engine, or all from the n-th on, for every n: only the step that needed
// the memory fails. A separate program, since it replaces the heap.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <new>
#include <span>
#include <string>
#include <vector>

#include "bench/process.h"
#include "c/c_boundary.h"
#include "engine/exchange/frame.h"
#include "quarnex/event_report.h"
#include "quarnex/times_and_limits.h"
#include "simulation/checks/invariants.h"
#include "support/stub_host.h"

namespace quarnex::test {
namespace {

using Texts = std::vector<std::string>;

/// While it exists, the engine's `first`-th allocation (from 1) fails, and with `further` all later ones.
/// Allocations of stubs succeed. One object at a time.
class ScarceHeap {
 public:
  ScarceHeap(long first, bool further) {
    left_ = first;
    further_ = further;
    refused = false;
    bench::setAllocationHook([] {
      if (StubAtWork::depth > 0 || --left_ > 0 || (left_ < 0 && !further_)) return;
      refused = true;
      throw std::bad_alloc();
    });
  }
  ~ScarceHeap() { bench::setAllocationHook(nullptr); }
  ScarceHeap(const ScarceHeap&) = delete;
  ScarceHeap& operator=(const ScarceHeap&) = delete;

  static inline bool refused = false;

 private:
  static inline long left_ = 0;
  static inline bool further_ = false;
};

const std::string kLong(300, 'q');
const std::string kVeryLong(70'000, 'q');
const Texts kEarlier{"one " + kLong, "two " + kLong};

Action arriving(const std::string& bytes) {
  return [=](StubHost& host) { host.carrier(1).incoming.push_back(bytes); };
}
std::string frameOf(const std::string& message) {
  std::string frame;
  makeFrame(frame, message);
  return frame;
}
const Action kBreak = connectionEnds(10054);
const Action kCallAgain = sequence(kBreak, after(21));
const Action kListenAgain = sequence(kBreak, after(11));
const std::string kText = "0000053|" + kLong + "|9CMD|9.|";
const std::string kHalfFrame = '\2' + kVeryLong.substr(0, 50'000);

void fillTheFirstBlockOfRecords(StubHost& host) {
  while (host.library.ConnectionCount < 256) host.quarn.Add("A", 1, true, false);
}
void logAndTrace(StubHost& host) {
  host.quarn.AttivaLog();
  host.quarn.AttivaDebug(1);
  host.quarn.Invia(1, kLong);
}

struct Work {
  std::string name;
  bool client;
  Action prepare;
  Action run;
  bool empties = false;  // the queues
};

// These may fail.
const Work kHostCalls[] = {
    {"AddAClient", kClient, nothing, [](StubHost& host) { host.quarn.Add(kLong, 6, true, true); }},
    {"AddAServer", kServer, nothing, [](StubHost& host) { host.quarn.Add(kLong, 6, false, true); }},
    {"AddLink257", kClient, fillTheFirstBlockOfRecords,
     [](StubHost& host) { host.quarn.Add("A", 1, false, true); }},
    {"Send", kClient, nothing, [](StubHost& host) { host.quarn.Invia(1, kLong); }},
    {"SendAVeryLongText", kClient, nothing, [](StubHost& host) { host.quarn.Invia(1, kVeryLong); }},
    {"Take", kClient, nothing, [](StubHost& host) { host.quarn.GetMessaggioArrivato(1); }},
    {"Close", kClient, nothing, [](StubHost& host) { host.quarn.Chiudi(1); }},
    {"CloseForGood", kServer, kBreak, [](StubHost& host) { host.quarn.Chiudi(1); }},
    {"OpenAgain", kClient, kBreak, [](StubHost& host) { host.quarn.Apri(1); }, true},
    {"TakeASnapshot", kServer, nothing, [](StubHost& host) { host.quarn.snapshot(1); }},
    {"LogAndTrace", kClient, nothing, logAndTrace},
};

// No failure leaves these.
const Work kEventsAndTicks[] = {
    {"ReceiveAText", kServer, arriving(frameOf(kText)), after(0)},
    {"ReceiveATextAsClient", kClient, arriving(frameOf(kText)), after(0)},
    {"ReceiveAnUnknownWord", kServer, arriving(frameOf("0000052|9" + kLong + "|9.|")), after(0)},
    {"ReceiveAProbe", kServer, arriving(frameOf("0000052|9!|9.|")), after(0)},
    {"ReceiveACloseRequest", kServer, arriving(frameOf("0000052|9K|9.|")), after(0)},
    {"ReceiveTheEndOfAFrame", kServer, sequence(arriving('\3' + frameOf(kText)), after(0)), after(0)},
    {"ReceiveTheRestOfAFrame", kServer, sequence(arriving("\2zzzz"), after(0), arriving(kText + "@@\3")),
     after(0)},
    {"ReceiveMoreOfAFrame", kServer, sequence(arriving(kHalfFrame), after(0), arriving(kHalfFrame)),
     after(0)},
    {"SendABatch", kClient, nothing, after(0)},
    {"SendAQuery", kClient, [](StubHost& host) { host.quarn.Invia(1, "VUOTABUFFER"); }, after(0), true},
    {"FailToSend", kClient, failing("send ClientSocket", 10055, kLong), after(0)},
    {"LoseTheConnection", kClient, nothing, kBreak},
    {"LoseTheCaller", kServer, nothing, kBreak},
    {"DeclareTheTimeOut", kClient, after(11), after(11)},
    {"GiveUpACall", kClient, kCallAgain, after(61)},
    {"GiveUpListening", kServer, kListenAgain, after(61)},
    {"Call", kClient, kBreak, after(21)},
    {"FailToCall", kClient, sequence(kBreak, failing("connect ClientSocket", 10055, kLong)), after(21)},
    {"Listen", kServer, kBreak, after(11)},
    {"Connect", kClient, kCallAgain, callEnds(0)},
    {"BeRefused", kClient, kCallAgain, callEnds(10061)},
    {"AcceptACall", kServer, nothing, callerArrives(0)},
    {"FailToAccept", kServer, nothing, callerArrives(10024)},
};

class OutOfMemory : public testing::TestWithParam<Work> {
 protected:
  // Returns false if the work needs fewer than `n` allocations.
  bool survives(long n, bool all) {
    StubHost host;
    host.addConnected(GetParam().client);
    for (const std::string& text : kEarlier) host.receive(1, "0000052|" + text + "|9.|");
    host.receive(1, "0000052|9ACK|9.|");  // a client sends on the next tick
    for (const std::string& text : kEarlier) host.quarn.Invia(1, text);
    GetParam().prepare(host);
    const ConnectionRecord& record = host.record(1);
    const std::uint32_t reconnections = record.history.reconnections;
    run(host, n, all);
    if (!ScarceHeap::refused) return false;
    EXPECT_EQ(&host.record(1), &record);
    for (const std::string& message : host.sent()) EXPECT_GE(message.size(), std::size_t{kMessageLengthMin});
    expectOrder(host);
    if (record.history.reconnections == reconnections && !GetParam().empties) expectEarlierTexts(record);
    expectWork(host);
    return !HasFailure();
  }

  void run(StubHost& host, long n, bool all) {
    for (std::string* kept :
         {&host.library.frameStorage, &host.library.traceStorage, &host.library.lineStorage})
      std::string().swap(*kept);
    const ScarceHeap heap(n, all);
    try {
      GetParam().run(host);
    } catch (const Failure&) {
      EXPECT_TRUE(std::ranges::count(kHostCalls, GetParam().name, &Work::name));
    }
  }

  static bool names(const std::vector<std::int16_t>& links, std::int16_t socket, std::int16_t link) {
    return socket == 0 || links.at(static_cast<std::size_t>(socket - 1)) == link;
  }

  static void expectOrder(StubHost& host) {
    const Library& library = host.library;
    ASSERT_EQ(library.ClientLinks.size(), static_cast<std::size_t>(library.ClientCount));
    ASSERT_EQ(library.ServerLinks.size(), static_cast<std::size_t>(library.ServerCount));
    for (std::int16_t link = 1; link <= library.ConnectionCount; ++link) {
      const ConnectionRecord& record = host.record(link);
      EXPECT_EQ(record.IdxQuarn, link);
      EXPECT_EQ(simulation::RecordInvariants::brokenInvariant(record), "");
      EXPECT_TRUE(names(library.ClientLinks, record.IdxClient, link));
      EXPECT_TRUE(names(library.ServerLinks, record.IdxServer, link));
    }
  }

  static void expectEarlierTexts(const ConnectionRecord& record) {
    const auto inbound = BufferTexts(record.CodaArrivo, 100);
    EXPECT_TRUE(inbound.size() >= 2 && std::ranges::equal(kEarlier, std::span(inbound).first(2)));
    const auto outbound = BufferTexts(record.CodaInvio, 100);
    const bool inFlight = record.AttesaRitrasmissione > 0 &&
                          record.UltimoLotto.find(kEarlier[0] + '|' + kEarlier[1] + '|') != std::string::npos;
    EXPECT_TRUE(inFlight ||
                (outbound.size() >= 2 && std::ranges::equal(kEarlier, std::span(outbound).first(2))));
  }

  static void expectWork(StubHost& host) {
    host.failing.clear();
    host.quarn.Apri(1);
    for (int i = 0; i < 2 && !host.quarn.Connesso(1); ++i) host.connect(1);
    ASSERT_TRUE(host.quarn.Connesso(1));
    for (int i = 0; i < 4; ++i) host.receive(1, "0000053|9ACK|9QRY|9.|");
    for (int i = 0; i < 4; ++i) host.tickAfter(0);
    host.inbound(1);
    host.happened();
    host.quarn.Invia(1, "after");
    for (int i = 0; i < 3; ++i) host.receive(1, "0000053|9ACK|9QRY|9.|");
    EXPECT_NE(testing::PrintToString(host.happened()).find("|after|"), std::string::npos);
    host.receive(1, "0000053|after|9CMD|9.|");
    EXPECT_EQ(host.inbound(1), Texts{"after"});
    const std::int16_t next = host.quarn.Add("NEXT", 7, false, true);
    EXPECT_EQ(next, host.library.ConnectionCount);
    host.quarn.Apri(next);
    EXPECT_TRUE(host.record(next).Attivo && host.record(next).Tipo == "NEXT");
    expectOrder(host);
  }
};

TEST_P(OutOfMemory, FailsOnlyTheStepThatNeededTheMemory) {
  for (const bool all : {false, true}) {
    long n = 1;
    while (survives(n, all)) ++n;
    ASSERT_FALSE(HasFailure()) << "allocation " << n << (all ? " and all later ones" : "");
    EXPECT_GT(n, 1);
  }
}

const auto kName = [](const auto& row) { return row.param.name; };
INSTANTIATE_TEST_SUITE_P(HostCalls, OutOfMemory, testing::ValuesIn(kHostCalls), kName);
INSTANTIATE_TEST_SUITE_P(EventsAndTicks, OutOfMemory, testing::ValuesIn(kEventsAndTicks), kName);

// The types of all events of a drained link, each with its number of receipts. The n-th allocation fails.
Texts eventsInC(long n) {
  StubHost host;
  host.addOpen(kClient);
  host.quarn.enableEvents(1);
  host.quarn.send(1, kLong);
  host.quarn.drainAndClose(1, std::chrono::seconds(0));
  quarnex_instance instance{host.quarn};
  quarnex_event event{};
  event.size = sizeof event;
  Texts events;
  const ScarceHeap heap(n, false);
  for (std::int32_t taken = 1; taken != 0;) {
    if (const std::int32_t number = quarnex_next_event(&instance, &event, &taken, nullptr)) {
      EXPECT_EQ(number, 7);
    } else if (taken != 0) {
      const StubAtWork succeeding;
      events.push_back(quarnex_event_name(event.type) + std::to_string(event.receipts_count));
    }
  }
  return events;
}

TEST(OutOfMemoryInC, LosesNoEvent) {
  const Texts all = eventsInC(1'000'000);
  EXPECT_EQ(std::ranges::count(all, "drained1"), 1) << testing::PrintToString(all);
  long n = 1;
  do EXPECT_EQ(eventsInC(n), all);
  while (ScarceHeap::refused && ++n < 100);
  EXPECT_GT(n, 1);
}

}  // namespace
}  // namespace quarnex::test
