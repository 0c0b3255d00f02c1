// Whole sites under a drawn mix of faults: afterwards every link comes back, and the same seed has the same
// story.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "platform/simulated/trouble.h"
#include "simulation/pair.h"

namespace quarnex::simulated {
namespace {

class TroubleAtASite : public testing::TestWithParam<std::uint64_t> {
 protected:
  // What happened, in numbers.
  static std::vector<std::uint64_t> live(std::uint64_t seed) {
    World world(seed);
    Site site(world, 2, 4);
    Trouble trouble(site, world.random());
    site.start();
    for (const auto& place : site.places()) place->setTraffic(3'000);
    trouble.begin();
    world.run(1200);
    trouble.end();
    world.runMilliseconds(trouble.aftermath());
    EXPECT_TRUE(world.runUntil([&] { return site.allConnected(); }, kRecoverySeconds));
    std::vector<std::uint64_t> numbers{world.time().tasksRun(), world.network().connectionsMade()};
    for (const auto& place : site.places()) {
      numbers.insert(numbers.end(),
                     {place->textsSent(), place->textsTaken(), place->host().faults.failures()});
    }
    for (std::size_t i = 0; i < kFaultCount; ++i) numbers.push_back(trouble.count(static_cast<Fault>(i)));
    return numbers;
  }
};

TEST_P(TroubleAtASite, EndsSomeTimeAfterItsLastFault) {
  const auto numbers = live(GetParam());
  if (GetParam() % 4 == 0) {
    EXPECT_EQ(live(GetParam()), numbers);
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, TroubleAtASite, testing::Range<std::uint64_t>(5, 15));

TEST(FaultNames, AreUniqueAndFound) {
  for (std::size_t i = 0; i < kFaultCount; ++i) {
    const auto fault = static_cast<Fault>(i);
    EXPECT_EQ(faultNamed(nameOf(fault)), fault);
  }
  EXPECT_EQ(faultNamed("gremlins"), std::nullopt);
  for (const Operation operation : allOperations()) EXPECT_EQ(operationNamed(nameOf(operation)), operation);
}

}  // namespace
}  // namespace quarnex::simulated
