// Tests the interface in English, and the list of links in which items wait.
#include "quarnex/host.h"

#include <gmock/gmock.h>

#include "simulation/sites/world.h"
#include "support/stub_host.h"

namespace quarnex::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(HostInEnglish, ReceivesTextsAndDiscardsReports) {
  StubHost stub;
  stub.addConnected(kServer);
  Host host(stub.quarn);
  Link link = host.link(1);
  EXPECT_TRUE(link.connected());
  EXPECT_EQ(link.receive(), std::nullopt);
  stub.receive(1, "0000055|FIRST|X000E0702[#I5#$TABC$]09300518112026|SECOND|9CMD|9.|");
  stub.events().onClose(SocketArray::SrvAccept, 1, 0);
  EXPECT_THAT(host.linksWithNews(), ElementsAre(link));
  EXPECT_EQ(link.receive(), "FIRST");
  EXPECT_EQ(link.receive(), "X000E0702[#I5#$TABC$]09300518112026");
  EXPECT_EQ(link.receive(), "SECOND");
  EXPECT_THAT(host.linksWithNews(), ElementsAre(link));
  EXPECT_EQ(link.receive(), std::nullopt);
  EXPECT_THAT(host.linksWithNews(), IsEmpty());
  EXPECT_EQ(Link(stub.quarn, 2).receive(), std::nullopt);
}

TEST(HostInEnglish, SendsReportsAndClosesWithoutLoss) {
  StubHost stub;
  stub.addConnected(kServer);
  Host host(stub.quarn);
  Link link = host.link(1);
  link.enableEvents();
  EXPECT_EQ(link.send("FIRST").number, 1U);
  EXPECT_EQ(link.send("A|B").check.rule, TextRule::Separator);
  host.leave(std::chrono::seconds(9));
  EXPECT_EQ(link.send("LATE").refusal, Refusal::Draining);
  stub.receive(1, "0000051|9QRY|9.|");
  stub.receive(1, "0000051|9ACK|9.|");
  const auto events = [&] {
    std::vector<std::string> types;
    while (const auto event = host.nextEvent()) types.push_back(nameOf(event->type));
    return types;
  };
  EXPECT_THAT(events(), ElementsAre("heard", "receipts"));
  stub.tickAfter(1);
  EXPECT_THAT(events(), ElementsAre("closing"));
  EXPECT_EQ(link.snapshot().outcomes.acknowledged, 1U);
}

TEST(HostInEnglish, LeavesWhenTheTextsOfBothEndsHaveTheirOutcome) {
  simulation::World world{1};
  Host host(QuarnSocket(world.addHost().library()));
  Link server = host.listen("A", 1), client = host.call("A", 1);
  server.open();
  client.open();
  ASSERT_TRUE(world.runUntil([&] { return server.connected() && client.connected(); }, 60));
  for (int i = 0; i < 50; ++i) client.send("text");
  host.leave(std::chrono::minutes(1));
  int received = 0;
  EXPECT_TRUE(world.runUntil(
      [&] {
        host.nextEvent();
        while (server.receive()) ++received;
        return host.readyToExit();
      },
      20));
  EXPECT_EQ(received, 50);
}

TEST(HostInEnglish, AddsLinksOfEachKind) {
  StubHost stub;
  Host host(stub.quarn);
  const LinkSnapshot server = host.listen("METEO", 7).snapshot(), client = host.call("METEO", 7).snapshot(),
                     local = host.local("METEO", 7).snapshot();
  EXPECT_TRUE(server.tcp && !server.client && client.tcp && client.client && !local.tcp);
  EXPECT_TRUE(host.readyToExit());
  host.link(1).open();
  EXPECT_FALSE(host.readyToExit());
  host.link(1).close();
  EXPECT_TRUE(host.readyToExit());
}

TEST(LinksWithNews, AreThoseInWhichItemsWaitInOrderOfArrival) {
  StubHost stub;
  Host host(stub.quarn);
  for (const int id : {1, 2, 3}) {
    host.local("A", id);
    host.local("A", id);
  }
  const auto send = [&](int to) { stub.quarn.Invia(to - 1, "text"); };
  for (const int to : {6, 2, 4, 2}) send(to);
  EXPECT_THAT(stub.quarn.linksWithNews(), ElementsAre(6, 2, 4));
  stub.quarn.GetMessaggioArrivato(4);
  EXPECT_THAT(stub.quarn.linksWithNews(), ElementsAre(6, 2));
  stub.quarn.Invia(6, "VUOTABUFFER");
  send(4);
  EXPECT_THAT(stub.quarn.linksWithNews(), ElementsAre(2, 4));
  stub.quarn.GetMessaggioArrivato(2);
  send(6);
  EXPECT_THAT(stub.quarn.linksWithNews(), ElementsAre(2, 4, 6));
}

}  // namespace
}  // namespace quarnex::test
