// Whole sites under a drawn mix of faults: afterwards every link comes back, and the same seed has the same
// story.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string_view>
#include <vector>

#include "platform/simulated/host_faults.h"
#include "platform/simulated/network_faults.h"
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

TEST(KindNames, AreUnique) {
  std::set<std::string_view> names;
  for (std::size_t i = 0; i < kKindCount; ++i) {
    EXPECT_TRUE(names.insert(nameOf(static_cast<Kind>(i))).second) << i;
  }
}

class ASceneOfOneSite : public testing::Test {
 protected:
  ASceneOfOneSite() { scene.running = true; }
  std::uint64_t count(Fault fault) const { return scene.counts[static_cast<std::size_t>(fault)]; }

  World world{1};
  Site site{world, 1, 2};
  Scene scene{site, world.random()};
};

TEST_F(ASceneOfOneSite, CountsNoDeedThatFindsNobody) {
  for (const auto& place : site.places()) place->host().stop();
  for (void (*deed)(Scene&) : {holdOne, halfOpenOne, raiseEvent, spoilDisk, callHost, burst, addLink})
    deed(scene);
  for (std::size_t i = 0; i < kFaultCount; ++i) EXPECT_EQ(scene.counts[i], 0U) << i;
}

TEST_F(ASceneOfOneSite, RepeatsTheLastSecondOfADay) {
  leap(scene);
  world.run(86'400);
  EXPECT_EQ(count(Fault::Leap), 1U);
  const auto& places = site.places();
  const auto difference = places[0]->host().clock.now().second - places[1]->host().clock.now().second;
  EXPECT_EQ(std::abs(difference), 1);
}

TEST_F(ASceneOfOneSite, QueuesABurstAndAddsALink) {
  site.start();
  burst(scene);
  addLink(scene);
  int most = 0, links = 0;
  for (const auto& place : site.places()) {
    Library& library = place->host().library();
    links += library.ConnectionCount - static_cast<int>(place->plan().size());
    for (std::int16_t i = 1; i <= library.ConnectionCount; ++i)
      most = std::max<int>(
          {most, library.ConnectionTable[i].CodaInvio.Count, library.ConnectionTable[i].CodaArrivo.Count});
  }
  EXPECT_EQ(most, 5000);
  EXPECT_EQ(links, 1);
}

}  // namespace
}  // namespace quarnex::simulated
