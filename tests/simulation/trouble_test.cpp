// Names of faults and their kinds, and deeds of which a long run says only that they happened.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <set>
#include <string_view>

#include "simulation/faults/host_faults.h"
#include "simulation/faults/network_faults.h"
#include "simulation/faults/trouble.h"
#include "simulation/pair.h"

namespace quarnex::simulation {
namespace {

TEST(Names, AreUniqueAndFound) {
  for (std::size_t i = 0; i < kFaultCount; ++i) {
    const auto fault = static_cast<Fault>(i);
    EXPECT_EQ(faultNamed(nameOf(fault)), fault);
  }
  EXPECT_EQ(faultNamed("gremlins"), std::nullopt);
  std::set<std::string_view> kinds;
  for (std::size_t i = 0; i < kKindCount; ++i) kinds.insert(nameOf(static_cast<Kind>(i)));
  EXPECT_EQ(kinds.size(), kKindCount);
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

}  // namespace
}  // namespace quarnex::simulation
