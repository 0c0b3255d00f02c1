// Receipts against the texts that the peer's hosts received, and links that close without loss, in virtual
// time.
#include <gtest/gtest.h>

#include <iostream>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "quarnex/host_loop.h"
#include "quarnex/testing.h"

namespace quarnex::testkit {
namespace {

using namespace std::chrono_literals;

constexpr int kTexts = 10'000;

/// Sends numbered texts, as many as the link can carry, and keeps their receipts.
struct CountingSender {
  CountingSender() : link(quarn.Add("ABC", 5, true, true)) {
    quarn.enableEvents(link);
    quarn.Apri(link);
  }
  void afterTurn() {
    while (sends && quarn.accepted(link) < kTexts && quarn.accepted(link) - quarn.decidedUpTo(link) < 100)
      quarn.send(link, "number " + std::to_string(quarn.accepted(link) + 1));
    while (const auto event = quarn.nextEvent()) {
      if (event->type == EventType::Receipts) decide(event->receipt);
      if (event->link == 0) ofProcess.push_back(nameOf(event->type) + (' ' + std::to_string(event->count)));
      last = event->type;
      if (last == EventType::Drained) timedOut = event->timedOut;
    }
  }
  void decide(const Receipt& receipt) {
    for (auto number = receipt.from; number <= receipt.to; ++number) fates.emplace(number, receipt.outcome);
  }

  QuarnSocket quarn;
  std::int16_t link;
  bool sends = true, timedOut = false;
  EventType last{};
  std::map<std::uint64_t, Outcome> fates;
  std::vector<std::string> ofProcess;
};

/// Counts how often each text arrived, beyond the life of its process.
struct CountingReceiver {
  explicit CountingReceiver(std::map<std::uint64_t, int>& into) : arrivals(into) {
    quarn.Apri(quarn.Add("ABC", 5, false, true));
  }
  void afterTurn() {
    while (quarn.MessaggioArrivato(1)) {
      const bool isReport = quarn.reportWaits(1);
      const std::string item = quarn.GetMessaggioArrivato(1);
      if (!isReport) ++arrivals[std::stoull(item.substr(7))];
    }
  }

  QuarnSocket quarn;
  std::map<std::uint64_t, int>& arrivals;
};

struct Demonstration {
  explicit Demonstration(TestSite& in) : site(in) {}

  TestSite& site;
  std::map<std::uint64_t, int> arrivals;
  HostOf<CountingReceiver>& receiver = site.add(
      "receiver", [this] { return CountingReceiver(arrivals); }, &CountingReceiver::afterTurn);
  HostOf<CountingSender>& sender = site.add(
      "sender", [] { return CountingSender(); }, &CountingSender::afterTurn);
};

// Ten kills at random moments while 10,000 texts are under way.
void killTenTimes(TestSite& site) {
  Demonstration on(site);
  std::mt19937_64 random(site.seed());
  for (int kill = 0; kill < 10; ++kill) {
    site.run(20s + Duration(random() % 20'000));
    on.receiver.kill();
    site.run(Duration(random() % 15'000));
    on.receiver.start();
  }
  site.runUntil([&] { return on.sender->fates.size() == kTexts; }, 2h);
  int counts[kOutcomeCount] = {}, arrived[kOutcomeCount] = {};
  for (const auto& [number, fate] : on.sender->fates) {
    const bool there = on.arrivals[number] > 0;
    ++counts[static_cast<std::size_t>(fate)];
    arrived[static_cast<std::size_t>(fate)] += there;
    EXPECT_TRUE(fate != Outcome::Acknowledged || there) << "text " << number;
    EXPECT_TRUE(fate != Outcome::Dropped || !there) << "text " << number;
  }
  for (const Outcome outcome : {Outcome::Acknowledged, Outcome::Dropped, Outcome::Unknown}) {
    const auto i = static_cast<std::size_t>(outcome);
    std::cout << nameOf(outcome) << ' ' << counts[i] << ", of them arrived " << arrived[i] << '\n';
  }
}

TEST(ReceiptsDemonstration, AgreeWithTheTextsThatThePeersHostsReceived) {
  simulate(killTenTimes);
}

struct DrainCase {
  const char* name;
  std::function<Fault(Demonstration&)> fault;
  bool timesOut;
};

class ClosingWithoutLoss : public testing::TestWithParam<DrainCase> {};

TEST_P(ClosingWithoutLoss, TakesABoundedTime) {
  simulate([](TestSite& site) {
    Demonstration on(site);
    on.sender->sends = false;
    site.runUntil([&] { return on.sender->quarn.Connesso(1); }, 30s);
    site.run(3s);
    const Fault fault = GetParam().fault(on);
    on.sender->quarn.send(1, "number 1");
    on.sender->quarn.drainAndClose(1, 5s);
    site.runUntil([&] { return on.sender->last == EventType::Closed; }, 15s);
    EXPECT_EQ(on.sender->timedOut, GetParam().timesOut);
    EXPECT_EQ(on.sender->fates.at(1) == Outcome::Acknowledged, !GetParam().timesOut);
    EXPECT_EQ(on.arrivals.contains(1), !GetParam().timesOut);
    EXPECT_EQ(on.sender->quarn.send(1, "number 2").refusal, Refusal::NotOpen);
    site.never([&] { return on.sender->quarn.Connesso(1); }, 2min);
  });
}

const DrainCase kDrainCases[] = {
    {"healthy", [](Demonstration&) { return Fault([] {}); }, false},
    {"frozen", [](Demonstration& on) { return on.site.stall(on.receiver); }, true},
    {"silent", [](Demonstration& on) { return on.site.silence(on.sender, on.receiver); }, true},
    {"dead",
     [](Demonstration& on) {
       on.receiver.kill();
       return Fault([] {});
     },
     true},
};

INSTANTIATE_TEST_SUITE_P(Peers, ClosingWithoutLoss, testing::ValuesIn(kDrainCases),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(LeavingWithoutLoss, ClosesEveryLinkAndLeaves) {
  simulate([](TestSite& site) {
    Demonstration on(site);
    on.sender->sends = false;
    site.runUntil([&] { return on.sender->quarn.Connesso(1); }, 30s);
    on.sender->quarn.send(1, "number 1");
    on.sender->quarn.drainAndLeave(10s);
    EXPECT_EQ(on.sender->quarn.send(1, "number 2").refusal, Refusal::Draining);
    site.runUntil([&] { return on.sender->quarn.ProntoPerUscire() == -1; }, 20s);
    site.run(1s);
    EXPECT_EQ(on.arrivals[1], 1);
    EXPECT_EQ(on.sender->quarn.send(1, "number 2").refusal, Refusal::Leaving);
  });
}

TEST(LeavingWithoutLoss, NoLinkHangsUpBeforeAllHaveTheirOutcomes) {
  std::uint64_t acknowledged = 0;
  simulate([&](TestSite& site) {
    const TestProgram& both = site.addProgram("both ends", [&] {
      QuarnSocket quarn;
      HostLoop loop;
      for (const bool client : {false, true}) quarn.Apri(quarn.Add("MIRTAN", 5, client, true));
      while (!quarn.Connesso(2)) loop.turn(1s);
      for (int text = 0; text < 400; ++text) quarn.send(2, "last");
      quarn.drainAndLeave(60s);
      while (quarn.ProntoPerUscire() == 0) loop.turn(1s);
      acknowledged = quarn.snapshot(2).outcomes.acknowledged;
      return 0;
    });
    site.runUntil([&] { return !both.running(); }, 5min);
  });
  EXPECT_EQ(acknowledged, 400U);
}

TEST(EventsOfTheProcess, TellThatTheClockWasSet) {
  simulate([](TestSite& site) {
    Demonstration on(site);
    site.run(15s);
    const Fault changed = site.clock(on.sender, -1h);
    site.run(1s);
    const std::vector<std::string> expected{"clock-stepped -3600"};
    EXPECT_EQ(on.sender->ofProcess, expected);
  });
}

}  // namespace
}  // namespace quarnex::testkit
