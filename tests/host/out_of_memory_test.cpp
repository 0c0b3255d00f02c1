// Fails the n-th allocation of the engine, or all from the n-th on, for every n: a failing step breaks
// nothing but itself. A separate program, since it replaces the heap.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <new>
#include <span>
#include <string>
#include <vector>

#include "bench/process.h"
#include "engine/exchange/frame.h"
#include "quarnex/event_report.h"
#include "simulation/checks/invariants.h"
#include "support/stub_host.h"

namespace quarnex::test {
namespace {

using Texts = std::vector<std::string>;

/// While it lives the `first`-th piece (from 1) that the engine asks for is refused, and with `further` every
/// later one, too. What stubs ask for is given. One at a time.
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

struct Deed {
  const char* name;
  bool client;
  bool fromHost;  // a host's call, which may fail, not an event or a tick
  void (*prepare)(StubHost& host);
  void (*act)(StubHost& host);
  bool empties = false;  // the queues
};

void nothing(StubHost&) {}
void tick(StubHost& host) {
  host.tickAfter(0);
}
void pause(StubHost& host) {
  host.tickAfter(11);
}
StubSocket& carrier(StubHost& host) {
  return host.socket(host.record(1).ConnessioneClient ? "ClientSocket" : "SrvAccept");
}
void arrive(StubHost& host, const std::string& message) {
  std::string frame;
  makeFrame(frame, message);
  carrier(host).incoming.push_back(frame);
}
void breakOff(StubHost& host) {
  host.events().onClose(host.record(1).ConnessioneClient ? SocketArray::ClientSocket : SocketArray::SrvAccept,
                        1, 10054);
}

void callAgain(StubHost& host) {
  breakOff(host);
  host.tickAfter(21);
}

const Deed kDeeds[] = {
    {"AddAClient", true, true, nothing, [](StubHost& host) { host.quarn.Add(kLong, 6, true, true); }},
    {"AddAServer", false, true, nothing, [](StubHost& host) { host.quarn.Add(kLong, 6, false, true); }},
    {"AddLink257", true, true,
     [](StubHost& host) {
       while (host.library.ConnectionCount < 256) host.quarn.Add("A", 1, true, false);
     },
     [](StubHost& host) { host.quarn.Add("A", 1, false, true); }},
    {"Send", true, true, nothing, [](StubHost& host) { host.quarn.Invia(1, kLong); }},
    {"SendAVeryLongText", true, true, nothing, [](StubHost& host) { host.quarn.Invia(1, kVeryLong); }},
    {"Take", true, true, nothing, [](StubHost& host) { host.quarn.GetMessaggioArrivato(1); }},
    {"Close", true, true, nothing, [](StubHost& host) { host.quarn.Chiudi(1); }},
    {"CloseForGood", false, true, breakOff, [](StubHost& host) { host.quarn.Chiudi(1); }},
    {"OpenAgain", true, true, breakOff, [](StubHost& host) { host.quarn.Apri(1); }, true},
    {"LookAtIt", false, true, nothing, [](StubHost& host) { host.quarn.snapshot(1); }},
    {"LogAndTrace", true, true, nothing,
     [](StubHost& host) {
       host.quarn.AttivaLog();
       host.quarn.AttivaDebug(1);
       host.quarn.Invia(1, kLong);
     }},
    {"ReceiveAText", false, false, [](StubHost& host) { arrive(host, "0000053|" + kLong + "|9CMD|9.|"); },
     tick},
    {"ReceiveATextAsClient", true, false,
     [](StubHost& host) { arrive(host, "0000053|" + kLong + "|9CMD|9.|"); }, tick},
    {"ReceiveAnUnknownWord", false, false, [](StubHost& host) { arrive(host, "0000052|9" + kLong + "|9.|"); },
     tick},
    {"ReceiveAProbe", false, false, [](StubHost& host) { arrive(host, "0000052|9!|9.|"); }, tick},
    {"ReceiveACloseRequest", false, false, [](StubHost& host) { arrive(host, "0000052|9K|9.|"); }, tick},
    {"ReceiveTheEndOfAFrame", false, false,
     [](StubHost& host) {
       std::string frame;
       makeFrame(frame, "0000053|" + kLong + "|9CMD|9.|");
       carrier(host).incoming.push_back('\3' + frame);
       host.tickAfter(0);
     },
     tick},
    {"ReceiveTheRestOfAFrame", false, false,
     [](StubHost& host) {
       carrier(host).incoming.push_back("\2zzzz");
       host.tickAfter(0);
       carrier(host).incoming.push_back("0000053|" + kLong + "|9CMD|9.|@@\3");
     },
     tick},
    {"ReceiveMoreOfAFrame", false, false,
     [](StubHost& host) {
       carrier(host).incoming.push_back('\2' + kVeryLong.substr(0, 50'000));
       host.tickAfter(0);
       carrier(host).incoming.push_back(kVeryLong.substr(0, 50'000));
     },
     tick},
    {"SendABatch", true, false, nothing, tick},
    {"SendAQuery", true, false, [](StubHost& host) { host.quarn.Invia(1, "VUOTABUFFER"); }, tick, true},
    {"FailToSend", true, false,
     [](StubHost& host) {
       host.failing.insert({"send ClientSocket", Failure(10055, kLong)});
     },
     tick},
    {"LoseTheConnection", true, false, nothing, breakOff},
    {"LoseTheCaller", false, false, nothing, breakOff},
    {"FallSilent", true, false, pause, pause},
    {"CallInVain", true, false, callAgain, [](StubHost& host) { host.tickAfter(61); }},
    {"ListenInVain", false, false,
     [](StubHost& host) {
       breakOff(host);
       host.tickAfter(11);
     },
     [](StubHost& host) { host.tickAfter(61); }},
    {"Call", true, false, breakOff, [](StubHost& host) { host.tickAfter(21); }},
    {"FailToCall", true, false,
     [](StubHost& host) {
       breakOff(host);
       host.failing.insert({"connect ClientSocket", Failure(10055, kLong)});
     },
     [](StubHost& host) { host.tickAfter(21); }},
    {"Listen", false, false, breakOff, pause},
    {"GetConnected", true, false, callAgain,
     [](StubHost& host) { host.events().onConnect(SocketArray::ClientSocket, 1, 0); }},
    {"BeRefused", true, false, callAgain,
     [](StubHost& host) { host.events().onConnect(SocketArray::ClientSocket, 1, 10061); }},
    {"AcceptACall", false, false, nothing,
     [](StubHost& host) { host.events().onAccept(SocketArray::ServerSocket, 1, 9, 0); }},
    {"FailToAccept", false, false, nothing,
     [](StubHost& host) { host.events().onAccept(SocketArray::ServerSocket, 1, 0, 10024); }},
};

class WantOfMemory : public testing::TestWithParam<Deed> {
 protected:
  bool onlyFailures = true;  // left the engine, and none left an event or a tick

  // False if the deed needs less than `n` pieces.
  bool survives(long n, bool all) {
    StubHost host;
    host.addConnected(GetParam().client);
    for (const std::string& text : kEarlier) host.receive(1, "0000052|" + text + "|9.|");
    host.receive(1, "0000052|9ACK|9.|");  // a client sends on the next tick
    for (const std::string& text : kEarlier) host.quarn.Invia(1, text);
    GetParam().prepare(host);
    const ConnectionRecord& record = host.record(1);
    const std::uint32_t reconnections = record.history.reconnections;
    act(host, n, all);
    EXPECT_TRUE(onlyFailures);
    if (!ScarceHeap::refused) return false;
    EXPECT_EQ(&host.record(1), &record);
    expectOrder(host);
    if (record.history.reconnections == reconnections && !GetParam().empties) expectEarlierTexts(record);
    expectWork(host);
    return !HasFailure();
  }

  void act(StubHost& host, long n, bool all) {
    for (std::string* kept :
         {&host.library.frameStorage, &host.library.traceStorage, &host.library.lineStorage})
      std::string().swap(*kept);
    const ScarceHeap heap(n, all);
    try {
      GetParam().act(host);
    } catch (const Failure&) {
      onlyFailures = GetParam().fromHost;
    } catch (const std::exception&) {
      onlyFailures = false;
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
      EXPECT_EQ(simulation::brokenInvariant(record), "");
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

TEST_P(WantOfMemory, BreaksNothing) {
  for (const bool all : {false, true}) {
    long n = 1;
    while (survives(n, all)) ++n;
    ASSERT_FALSE(HasFailure()) << "piece " << n << (all ? " and all further ones" : "");
    EXPECT_GT(n, 1);
  }
}

INSTANTIATE_TEST_SUITE_P(To, WantOfMemory, testing::ValuesIn(kDeeds),
                         [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace quarnex::test
