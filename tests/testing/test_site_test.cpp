// The test kit for hosts: life of a host, waiting, wrong use, and the report of a failed test.
#include "quarnex/testing.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "quarnex/event_report.h"
#include "quarnex/flight_recorder.h"
#include "quarnex/host_loop.h"
#include "support/test_files.h"

namespace quarnex::testkit {
namespace {

using namespace std::chrono_literals;

/// A host with one end of a link.
struct EndHost {
  explicit EndHost(bool client) : link(quarn.Add("ABC", 5, client, true)) { quarn.Apri(link); }
  // Waits in its destructor, as many programs do.
  ~EndHost() {
    quarn.Uscita();
    while (quarn.ProntoPerUscire() == 0) loop.turn(200ms);
  }
  void send(const std::string& text) { quarn.Invia(link, text); }
  bool connected() { return quarn.Connesso(link); }
  void afterTurn() {
    loop.turn(200ms);
    takeAll();
  }
  void takeAll() {
    while (quarn.nextEvent()) ++events;
    while (quarn.MessaggioArrivato(link)) {
      auto& items = quarn.reportWaits(link) ? reports : texts;
      items.push_back(quarn.GetMessaggioArrivato(link));
    }
  }

  QuarnSocket quarn;
  HostLoop loop;
  std::int16_t link;
  std::vector<std::string> texts, reports;
  int events = 0;
};

struct TestPair {
  explicit TestPair(TestSite& in) : site(in) {}
  static std::optional<FailureKind> failureOf(const TestHost& host) {
    const auto failure = host.quarn().snapshot(1).lastFailure;
    return failure ? std::optional(failure->kind) : std::nullopt;
  }

  TestSite& site;
  HostOf<EndHost>& server = site.add(
      "server", [] { return EndHost(false); }, &EndHost::afterTurn);
  HostOf<EndHost>& client = site.add(
      "client", [] { return EndHost(true); }, &EndHost::afterTurn);
};

/// The text of the exception that `test` ends with.
template <class Thrown>
std::string thrownBy(const std::function<void(TestSite&)>& test, const TestSettings& settings) {
  try {
    simulate(test, settings);
  } catch (const Thrown& thrown) {
    return thrown.what();
  }
  return "nothing was thrown";
}

class TestKit : public testing::Test {
 protected:
  TemporaryFolder folder;
  TestSettings settings{.recordings = folder.path()};
};

TEST_F(TestKit, APeerThatIsKilledReturnsAfterAMinute) {
  simulate([](TestSite& site) {
    TestPair pair(site);
    EXPECT_EQ(site.now().time_since_epoch(), std::chrono::seconds(1'893'456'000));
    site.settle();
    pair.client->send("before");
    site.settle();
    EXPECT_EQ(pair.server->texts, std::vector<std::string>{"before"});
    pair.server.kill();
    site.runUntil([&] { return !pair.client->connected(); }, 1s);
    site.never([&] { return pair.client->connected(); }, 1min);
    pair.server.start();
    site.settle();
    pair.client->send("after");
    site.settle();
    EXPECT_EQ(pair.server->texts, std::vector<std::string>{"after"});
    site.nothingMoreHappens();
  });
}

TEST_F(TestKit, AHostMayLetTimePassWhileItsMembersRun) {
  simulate([](TestSite& site) {
    TestPair pair(site);
    site.settle();
    const auto start = site.now();
    pair.client->loop.turn(200ms);
    EXPECT_EQ(site.now() - start, 200ms);
    EXPECT_EQ(pair.client.quarn().snapshot(1).phase, LinkPhase::Connected);
  });
}

TEST_F(TestKit, AHostWritesItsLogIntoASimulatedFile) {
  simulate([](TestSite& site) {
    TestPair pair(site);
    pair.client.makeFolder("/var/log");
    pair.client->quarn.Init("/var/log/");
    pair.client->quarn.AttivaLog();
    site.settle();
    EXPECT_NE(pair.client.file("/var/log/LOGQUARNNET01012030000000.txt"), "");
    EXPECT_EQ(pair.client.file("/var/log/other"), "");
  });
}

TEST_F(TestKit, ProgramsWithALoopOfTheirOwnRunTogether) {
  simulate([](TestSite& site) {
    auto& client = site.addProgram("client", [] {
      EndHost host(true);
      while (!host.connected()) host.loop.turn(1s);
      host.send("question");
      for (; host.texts.empty(); host.takeAll()) host.loop.turn(1s);
      return 3;
    });
    const auto server = [] {
      EndHost host(false);
      for (;; host.takeAll()) {
        host.loop.turn(0ms);
        if (!host.texts.empty()) host.send("answer to " + host.texts.front());
        host.texts.clear();
      }
      return 0;
    };
    auto& peer = site.addProgram("server", server);
    site.runUntil([&] { return !client.running(); }, 1min);
    EXPECT_EQ(client.exitStatus(), 3);
    peer.kill();
    EXPECT_EQ(peer.exitStatus(), std::nullopt);
    peer.start();
    EXPECT_TRUE(peer.running());
  });
  EXPECT_EQ(thrownBy<std::runtime_error>(
                [](TestSite& site) {
                  site.addProgram("broken", []() -> int { throw std::runtime_error("no configuration"); });
                },
                settings),
            "no configuration");
}

TEST_F(TestKit, EachFaultShowsAndEndsWithItsScope) {
  using Shows = bool (*)(TestPair & pair);
  const Shows clientTimedOut = [](TestPair& pair) {
    return pair.failureOf(pair.client) == FailureKind::KeepAliveTimeout;
  };
  const struct {
    const char* name;
    bool arrives;  // what the client sends meanwhile
    Fault (*begin)(TestPair& pair);
    Shows shows;
  } rows[] = {
      {"silence", false, [](TestPair& pair) { return pair.site.silence(pair.server, pair.client); },
       clientTimedOut},
      {"one way", true, [](TestPair& pair) { return pair.site.oneWay(pair.client, pair.server); },
       clientTimedOut},
      {"hold", false, [](TestPair& pair) { return pair.site.hold(pair.server, pair.client); },
       clientTimedOut},
      {"refusal", false,
       [](TestPair& pair) {
         pair.site.reset(pair.client, pair.server).end();
         return pair.site.refusal(pair.server);
       },
       [](TestPair& pair) { return pair.failureOf(pair.client) == FailureKind::CallFailed; }},
      {"reset", false, [](TestPair& pair) { return pair.site.reset(pair.server, pair.client); },
       [](TestPair& pair) { return pair.failureOf(pair.client) == FailureKind::ConnectionBroken; }},
      {"damage", true, [](TestPair& pair) { return pair.site.damage(pair.server, pair.client); },
       [](TestPair& pair) { return pair.client.quarn().snapshot(1).badChecksums > 0; }},
      {"stall", false, [](TestPair& pair) { return pair.site.stall(pair.server); },
       [](TestPair& pair) { return pair.client.quarn().snapshot(1).repetitions > 0; }},
      {"clock", false, [](TestPair& pair) { return pair.site.clock(pair.client, 1h); },
       [](TestPair& pair) {
         const std::chrono::seconds deadline(pair.client.quarn().snapshot(1).keepAliveDeadline.value_or(0));
         return deadline - pair.site.now().time_since_epoch() > 59min;
       }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    simulate([&](TestSite& site) {
      TestPair pair(site);
      site.settle();
      {
        const Fault fault = row.begin(pair);
        pair.client->send("during");
        site.runUntil([&] { return row.shows(pair); }, 2min, "the fault shows");
        EXPECT_EQ(!pair.server->texts.empty(), row.arrives);
      }
      site.settle();
      pair.server->texts.clear();
      pair.client->send("after");
      site.settle();
      EXPECT_EQ(pair.server->texts, std::vector<std::string>{"after"});
    });
  }
}

TEST_F(TestKit, HeldFramesArriveInOrderWhenTheFaultEnds) {
  simulate([](TestSite& site) {
    TestPair pair(site);
    site.settle();
    Fault held = site.hold(pair.server, pair.client);
    pair.client->send("first");
    site.run(2s);
    pair.client->send("second");
    site.never([&] { return !pair.server->texts.empty(); }, 2s);
    held.end();
    site.settle();
    EXPECT_EQ(pair.server->texts, (std::vector<std::string>{"first", "second"}));
  });
}

TEST_F(TestKit, FailuresStateTimeAndReason) {
  const struct {
    const char* text;
    void (*fail)(TestPair&);
  } rows[] = {
      {"after 1.000 s: \"up\" did not become true within 1000 ms; link 1 of server: down",
       [](TestPair& pair) { pair.site.runUntil([&] { return pair.client->connected(); }, 1s, "up"); }},
      {"after 20.000 s: wanted",
       [](TestPair& pair) { pair.site.run(20s), pair.site.require(false, "wanted"); }},
      {": the condition became true",
       [](TestPair& pair) { pair.site.never([&] { return pair.client->connected(); }, 1min); }},
      {"after 180.000 s: not at rest after 3 minutes: link 1 of client: down since",
       [](TestPair& pair) { pair.server.kill(), pair.site.settle(); }},
      {"after 11.000 s: an item waits at link 1 of client",
       [](TestPair& pair) { pair.site.nothingMoreHappens(); }},
  };
  for (const auto& row : rows) {
    const std::string text = thrownBy<TestFailed>(
        [&](TestSite& site) {
          TestPair pair(site);
          row.fail(pair);
        },
        settings);
    EXPECT_NE(text.find(row.text), std::string::npos) << row.text << " is not in " << text;
  }
}

TEST_F(TestKit, WrongUseIsExplained) {
  const struct {
    const char* text;
    void (*use)(TestPair&);
  } rows[] = {
      {"a QuarnSocket was created outside the simulated hosts", [](TestPair&) { QuarnSocket(); }},
      {"HostLoop::turn was called outside the simulated hosts", [](TestPair&) { HostLoop().turn(1s); }},
      {"the host client is already running", [](TestPair& pair) { pair.client.start(); }},
      {"the host client does not run", [](TestPair& pair) { pair.client.kill(), pair.client->send("lost"); }},
      {"simulate was called inside a simulated test", [](TestPair&) { simulate([](TestSite&) {}); }},
      {"the code of a host cannot let time pass",
       [](TestPair& pair) { pair.site.add("third", [&] { return pair.site.run(1s), 0; }); }},
  };
  for (const auto& row : rows) {
    const std::string text = thrownBy<WrongUse>(
        [&](TestSite& site) {
          TestPair pair(site);
          row.use(pair);
        },
        settings);
    EXPECT_NE(text.find(row.text), std::string::npos) << row.text << " is not in " << text;
  }
  EXPECT_EQ(thrownBy<WrongUse>([](TestSite& site) { site.settle(); }, settings),
            "the test has no host: add one with TestSite::add");
}

TEST_F(TestKit, AFailedTestPrintsItsSeedAndKeepsTheRecordings) {
  settings.seed = 7;
  settings.rareRuns = 1;
  settings.failed = [] { return true; };
  testing::internal::CaptureStderr();
  simulate([](TestSite& site) { TestPair(site).site.run(20s); }, settings);
  const std::string printed = testing::internal::GetCapturedStderr();
  EXPECT_NE(printed.find("the test failed with seed 7; repeat it with QUARNEX_TEST_SEED=7"),
            std::string::npos);
  for (const char* name : {"server-1.jsonl", "client-1.jsonl"}) {
    const std::string text = contentOf(folder.path() / "quarnex-test-7" / name);
    EXPECT_NE(text.find("ADD 1 : 5 ABC ABC"), std::string::npos) << name;
  }
}

TEST_F(TestKit, RareModeCausesRareOutcomesFromItsSeed) {
  const auto exchanging = [](TestSite& site) {
    TestPair pair(site);
    pair.client->quarn.enableEvents(1);
    for (int i = 0; i < 30; ++i) {
      pair.client->send("question" + std::to_string(i));
      pair.server->send("answer" + std::to_string(i));
      site.run(3s);
    }
    site.calm();
    site.settle();
    pair.client->send("last");
    site.nothingMoreHappens();
    EXPECT_EQ(pair.server->texts.back(), "last");
  };
  settings.rareRuns = 30;
  testing::internal::CaptureStderr();
  const std::vector<RareOutcome> missing = simulate(exchanging, settings);
  const std::string printed = testing::internal::GetCapturedStderr();
  // The host itself would have to cause these.
  const std::set<std::string_view> expected{"failed-method",   "receipt-reopened", "receipt-queues-emptied",
                                            "receipt-closed",  "receipt-content",  "receipt-queue-full",
                                            "receipt-timeout", "receipt-no-peer",  "received-dropped"};
  for (const RareOutcome& outcome : missing) {
    EXPECT_TRUE(expected.contains(outcome.name)) << outcome.name << " did not happen";
    EXPECT_NE(printed.find(std::string(outcome.name) + ": "), std::string::npos);
  }
  settings.rareRuns = 3;
  settings.twice = true;
  EXPECT_EQ(thrownBy<TestFailed>(exchanging, settings), "nothing was thrown");
}

TEST_F(TestKit, TheEnvironmentOverridesTheSettings) {
  ::setenv("QUARNEX_TEST_SEED", "12", 1);
  simulate([](TestSite& site) { EXPECT_EQ(site.seed(), 12U); }, settings);
  ::setenv("QUARNEX_TEST_SEED", "12x", 1);
  EXPECT_EQ(thrownBy<WrongUse>([](TestSite&) {}, settings), "QUARNEX_TEST_SEED is not a number: 12x");
  ::unsetenv("QUARNEX_TEST_SEED");
}

TEST_F(TestKit, TwoRunsOfASeedAreCompared) {
  settings.twice = true;
  int runs = 0;
  const auto sending = [&](const char* text) {
    return [&runs, text](TestSite& site) {
      TestPair pair(site);
      site.settle();
      pair.client->send(text + std::to_string(++runs > 1 ? site.seed() : 0));
      site.settle();
    };
  };
  const std::string difference = thrownBy<TestFailed>(sending("text"), settings);
  EXPECT_NE(difference.find("two runs with seed 1 differ: after 11.600 s, client-1.jsonl"), std::string::npos)
      << difference;
  EXPECT_NE(difference.find("text1"), std::string::npos) << difference;
  settings.seed = 0;
  EXPECT_EQ(thrownBy<TestFailed>(sending("text"), settings), "nothing was thrown");
}

TEST(Site, RecordsNoProcessOfItsOwn) {
  const TemporaryFolder folder;
  const auto path = folder.path() / "links.jsonl";
  simulate([&](TestSite& site) {
    const TestProgram& host = site.addProgram("host", [&] {
      recordFlight(path);
      return 0;
    });
    site.runUntil([&] { return !host.running(); }, 1min);
  });
  EXPECT_FALSE(std::filesystem::exists(path));
}

}  // namespace
}  // namespace quarnex::testkit
