// Fails each call of each service operation once, in every phase of a link, with every number in turn: the
// link recovers.
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/posix/error_numbers.h"
#include "simulation/pair.h"

namespace quarnex::simulation {
namespace {

// Goes through every sequence of operations that the engine knows; link 2 is the neighbour of link 1.
class Scenario {
 public:
  explicit Scenario(bool serverFails)
      : failing(serverFails ? pair.server : pair.client), other(serverFails ? pair.client : pair.server) {}

  void run() {
    pair.add();
    registrationFailed = failing.faults.failures() > 0;
    openLog();
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
  void openLog() {
    try {
      failing.quarn().AttivaLog();
    } catch (const Failure&) {
      logFailed = true;
    }
  }
  void talkAfter(std::int64_t seconds) {
    pair.world.run(seconds);
    for (Host* host : {&failing, &other}) host->quarn().Invia(1, "text");
    pair.world.run(4);
  }
};

// Every number to which an error of the system maps, and one of more than 16 bits.
std::vector<std::int32_t> everyNumber() {
  std::set<std::int32_t> numbers{70'000};
  for (int error = 1; error < 200; ++error) numbers.insert(socketErrorNumber(error));
  return {numbers.begin(), numbers.end()};
}

// False if the operation is called less than `n` times.
bool survives(Operation operation, std::uint64_t n, bool serverFails, bool tookEffect, std::int32_t number) {
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
    working += scenario.pair.connects(link) && scenario.pair.talks(link) ? 1 : 0;
  // A link whose socket could not be made or set up stays without it; its neighbour works.
  EXPECT_GE(working, scenario.registrationFailed ? 1 : 2);
  return !testing::Test::HasFailure();
}

class FailingOperations : public testing::TestWithParam<Operation> {};

TEST_P(FailingOperations, LeaveALinkThatRecovers) {
  const std::vector<std::int32_t> numbers = everyNumber();
  bool met = false;
  for (const bool serverFails : {false, true}) {
    for (const bool tookEffect : {false, true}) {
      std::uint64_t n = 1;
      while (survives(GetParam(), n, serverFails, tookEffect, numbers[n % numbers.size()])) ++n;
      ASSERT_FALSE(HasFailure()) << "call " << n << " of " << (serverFails ? "the server" : "the client")
                                 << (tookEffect ? ", after it took effect" : "");
      met = met || n > 1;
    }
  }
  EXPECT_TRUE(met);
}

std::vector<Operation> operationsThatMayFail() {
  std::vector<Operation> some;
  for (std::size_t i = 0; i < kOperations.size(); ++i)
    if (kOperations[i].mayFail) some.push_back(static_cast<Operation>(i));
  return some;
}

INSTANTIATE_TEST_SUITE_P(Each, FailingOperations, testing::ValuesIn(operationsThatMayFail()),
                         [](const auto& row) { return std::string(nameOf(row.param)); });

}  // namespace
}  // namespace quarnex::simulation
