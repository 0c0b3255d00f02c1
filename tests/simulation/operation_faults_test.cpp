// Fails each call of each service operation once, in every phase of a link, with each error number in turn,
// and delivers ticks, events and host calls inside every operation: links recover, and texts arrive once, in
// order.
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/posix/error_numbers.h"
#include "simulation/pair.h"
#include "support/failure_of.h"

namespace quarnex::simulation {
namespace {

// Performs every sequence of operations that the engine has; link 2 is the neighbour of link 1.
class Scenario {
 public:
  explicit Scenario(bool serverFails)
      : failing(serverFails ? pair.server : pair.client), other(serverFails ? pair.client : pair.server) {}

  void run() {
    pair.add();
    registrationFailed = failing.faults.failures() > 0;
    logFailed = failureOf([&] { failing.quarn().AttivaLog(); }) != 0;
    pair.open();
    talkAfter(15);
    for (const auto& connection : pair.world.network().connections()) connection->cutBoth(10054);
    talkAfter(25);
    other.quarn().Chiudi(1);
    talkAfter(15);
    failing.quarn().Chiudi(1);
    other.quarn().Apri(1);
    failing.quarn().Apri(1);
    talkAfter(25);
  }

  Pair pair{1, 2};
  Host& failing;
  Host& other;
  bool registrationFailed = false;
  bool logFailed = false;

 private:
  void talkAfter(std::int64_t seconds) {
    pair.world.run(seconds);
    for (Host* host : pair.hosts) host->quarn().Invia(1, "text");
    pair.world.run(4);
  }
};

// Each number to which an errno maps, and one of more than 16 bits.
std::vector<std::int32_t> everyNumber() {
  std::set<std::int32_t> numbers{70'000};
  for (int error = 1; error < 200; ++error) numbers.insert(socketErrorNumber(error));
  return {numbers.begin(), numbers.end()};
}

// Fails the `n`-th call; returns false if there are fewer calls.
bool recovers(Operation operation, std::uint64_t n, bool serverFails, bool tookEffect, std::int32_t number) {
  Scenario scenario(serverFails);
  std::uint64_t calls = 0;
  scenario.failing.faults.choose = [&](const ServiceCall& call) -> std::optional<OperationFault> {
    if (call.operation != operation || ++calls != n) return std::nullopt;
    return OperationFault{number, "boom", tookEffect};
  };
  scenario.run();
  if (calls < n) return false;
  EXPECT_EQ(scenario.logFailed, operation == Operation::CreateLog);
  int working = 0;
  for (std::int16_t link = 1; link <= 2; ++link)
    working += scenario.pair.connects(link) && scenario.pair.deliversBothWays(link) ? 1 : 0;
  // A link whose socket could not be created stays without it; its neighbour works.
  EXPECT_GE(working, scenario.registrationFailed ? 1 : 2);
  return !testing::Test::HasFailure();
}

class FailingOperations : public testing::TestWithParam<Operation> {};

TEST_P(FailingOperations, LeaveALinkThatRecovers) {
  const std::vector<std::int32_t> numbers = everyNumber();
  bool called = false;
  for (const bool serverFails : {false, true}) {
    for (const bool tookEffect : {false, true}) {
      std::uint64_t n = 1;
      while (recovers(GetParam(), n, serverFails, tookEffect, numbers[n % numbers.size()])) ++n;
      ASSERT_FALSE(HasFailure()) << "call " << n << " of " << (serverFails ? "the server" : "the client")
                                 << (tookEffect ? ", after it took effect" : "");
      called = called || n > 1;
    }
  }
  EXPECT_TRUE(called);
}

std::vector<Operation> operationsThatMayFail() {
  std::vector<Operation> some;
  for (std::size_t i = 0; i < kOperations.size(); ++i)
    if (kOperations[i].mayFail) some.push_back(static_cast<Operation>(i));
  return some;
}

INSTANTIATE_TEST_SUITE_P(Each, FailingOperations, testing::ValuesIn(operationsThatMayFail()),
                         [](const auto& row) { return std::string(nameOf(row.param)); });

struct Nested {
  const char* name;
  void (*deliver)(Pair& pair, Host& host, const ServiceCall& call);
  Milliseconds end = kHour;  // then links connect and carry texts
};

// Runs everything that is due in both hosts, also the outcome of a call inside the operation that started it.
void passTime(Pair& pair, Host& host, const ServiceCall&) {
  pair.world.runDue();
  host.turn();
}
void breakConnection(Pair& pair, Host& host, const ServiceCall& call) {
  if (End* end = host.sockets.end(call.socket.array, call.socket.index)) end->cut(10054);
  for (const auto& connection : pair.world.network().connections()) connection->cutBoth(10054);
  passTime(pair, host, call);
}
void raiseCloses(Pair&, Host& host, const ServiceCall& call) {
  for (const SocketArray array :
       {SocketArray::ClientSocket, SocketArray::ServerSocket, SocketArray::SrvAccept}) {
    for (const std::int16_t code : {std::int16_t{0}, std::int16_t{10053}})
      host.sockets.raise(array, call.socket.index, EventKind::Close, code);
  }
}
void callHost(Pair&, Host& host, const ServiceCall&) {
  host.quarn().Apri(1);
  host.quarn().Invia(1, "VUOTABUFFER");
  host.quarn().Chiudi(1);
  host.quarn().Apri(1);
}

class Nesting : public testing::TestWithParam<Nested> {};

TEST_P(Nesting, InsideEveryOperationDropsAndRepeatsNoText) {
  for (const int depth : {1, 3}) {
    SCOPED_TRACE(depth);
    Pair pair(1, 2);
    for (Host* host : pair.hosts) {
      host->faults.insideDepthMax = depth;
      host->faults.inside = [&pair, host](const ServiceCall& call) {
        if (pair.world.time().now() < GetParam().end) GetParam().deliver(pair, *host, call);
      };
    }
    pair.add();
    pair.open();
    pair.world.run(61);
    for (std::int16_t link = 1; link <= 2; ++link) {
      ASSERT_TRUE(pair.connects(link));
      EXPECT_TRUE(pair.deliversBothWays(link));
    }
    std::vector<std::string> texts;
    for (int i = 0; i < 100; ++i) {
      texts.push_back("text " + std::to_string(i));
      for (Host* host : pair.hosts) host->quarn().Invia(1, texts.back());
      pair.world.runMilliseconds(350);
    }
    pair.world.run(20);
    for (Host* host : pair.hosts) EXPECT_EQ(Pair::take(*host), texts);
  }
}

constexpr Milliseconds kEnd = 60 * kSecond;
INSTANTIATE_TEST_SUITE_P(
    Of, Nesting,
    testing::Values(Nested{"Ticks", [](Pair&, Host& host, const ServiceCall&) { host.timer.tick(); }},
                    Nested{"Turns", [](Pair&, Host& host, const ServiceCall&) { host.turn(); }},
                    Nested{"PassingTime", passTime, kEnd}, Nested{"BrokenConnections", breakConnection, kEnd},
                    Nested{"Closes", raiseCloses, kEnd}, Nested{"HostCalls", callHost, kEnd}),
    [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace quarnex::simulation
