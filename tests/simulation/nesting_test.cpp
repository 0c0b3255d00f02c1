// Delivers ticks, events and host calls inside every operation: links connect and texts arrive once, in
// order.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "simulation/pair.h"

namespace quarnex::simulation {
namespace {

struct Nested {
  const char* name;
  void (*deliver)(Pair& pair, Host& host, const ServiceCall& call);
};

void tick(Pair&, Host& host, const ServiceCall&) {
  host.timer.tick();
}
void turn(Pair&, Host& host, const ServiceCall&) {
  host.turn();
}
// Runs everything that is due in both hosts, also the outcome of a call inside that call, which therefore
// never connects.
void passTime(Pair& pair, Host& host, const ServiceCall&) {
  if (pair.world.time().now() > 60'000) return;
  pair.world.runDue();
  host.turn();
}
void breakConnection(Pair& pair, Host& host, const ServiceCall& call) {
  if (pair.world.time().now() > 60'000) return;
  if (End* end = host.sockets.end(call.socket.array, call.socket.index)) end->cut(10054);
  for (const auto& connection : pair.world.network().connections()) connection->cutBoth(10054);
  passTime(pair, host, call);
}
void raiseCloses(Pair& pair, Host& host, const ServiceCall& call) {
  if (pair.world.time().now() > 60'000) return;
  for (const SocketArray array :
       {SocketArray::ClientSocket, SocketArray::ServerSocket, SocketArray::SrvAccept}) {
    for (const std::int16_t code : {std::int16_t{0}, std::int16_t{10053}}) {
      host.sockets.raise(array, call.socket.index, EventKind::Close, code);
    }
  }
}
void callHost(Pair& pair, Host& host, const ServiceCall&) {
  if (pair.world.time().now() > 60'000) return;
  host.quarn().Apri(1);
  host.quarn().Invia(1, "VUOTABUFFER");
  host.quarn().Chiudi(1);
  host.quarn().Apri(1);
}

class Nesting : public testing::TestWithParam<Nested> {};

TEST_P(Nesting, InsideEveryOperationLosesAndRepeatsNoText) {
  for (const int depth : {1, 3}) {
    SCOPED_TRACE(depth);
    Pair pair(1, 2);
    for (Host* host : {&pair.server, &pair.client}) {
      host->faults.insideDepthMax = depth;
      host->faults.inside = [&pair, host](const ServiceCall& call) { GetParam().deliver(pair, *host, call); };
    }
    pair.add();
    pair.open();
    pair.world.run(61);
    for (std::int16_t link = 1; link <= 2; ++link) {
      ASSERT_TRUE(pair.connects(link));
      EXPECT_TRUE(pair.talks(link));
    }
    for (int i = 0; i < 100; ++i) {
      for (Host* host : {&pair.server, &pair.client}) host->quarn().Invia(1, "text " + std::to_string(i));
      pair.world.runMilliseconds(350);
    }
    pair.world.run(20);
    for (Host* host : {&pair.server, &pair.client}) {
      const auto items = Pair::take(*host);
      ASSERT_EQ(items.size(), 100U);
      for (std::size_t i = 0; i < items.size(); ++i) EXPECT_EQ(items[i], "text " + std::to_string(i));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Of, Nesting,
                         testing::Values(Nested{"Ticks", tick}, Nested{"Turns", turn},
                                         Nested{"PassingTime", passTime},
                                         Nested{"BrokenConnections", breakConnection},
                                         Nested{"Closes", raiseCloses}, Nested{"HostCalls", callHost}),
                         [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace quarnex::simulation
