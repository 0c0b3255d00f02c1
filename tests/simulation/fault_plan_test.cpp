// Names of faults and their kinds, and effects that a long run only counts.
#include "simulation/faults/fault_plan.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <set>
#include <string_view>

#include "simulation/pair.h"

namespace quarnex::simulation {
namespace {

const Fault& faultNamed(std::string_view name) {
  return **std::ranges::find(allFaults(), name, [](const Fault* fault) { return fault->name; });
}

TEST(Faults, HaveUniqueNames) {
  std::set<std::string_view> names;
  for (const Fault* fault : allFaults()) {
    EXPECT_TRUE(names.insert(fault->name).second) << fault->name;
    for (const std::string_view kind : fault->kinds)
      EXPECT_TRUE(kind.empty() || names.insert(kind).second) << kind;
  }
}

TEST(Faults, AreNamedAloneAndInGroups) {
  const auto has = [](std::string_view word, std::string_view fault) {
    return faultsNamed(word).value().contains(fault);
  };
  EXPECT_EQ(faultsNamed("drip"), FaultSet{"drip"});
  EXPECT_EQ(faultsNamed("none"), FaultSet());
  EXPECT_TRUE(has("all", "drip") && !has("all", "endless"));
  EXPECT_TRUE(has("large", "endless") && !has("large", "drip"));
  EXPECT_TRUE(has("generation-2", "burst") && has("generation-2", "hold"));
  EXPECT_FALSE(has("generation-1", "burst") || has("generation-1", "endless"));
  for (const char* unknown : {"", "gremlins", "generation-", "generation-0", "generation-1x"})
    EXPECT_EQ(faultsNamed(unknown), std::nullopt) << unknown;
}

class FaultsOfOneSite : public testing::Test {
 protected:
  FaultsOfOneSite() { plan.begin(); }

  World world{1};
  Site site{world, 1, 2};
  FaultPlan plan{site, world.random(), {}};
};

TEST_F(FaultsOfOneSite, DoNotHappenWithoutATarget) {
  for (const auto& place : site.places()) place->host().stop();
  for (const char* name : {"hold", "half-open", "raise", "disk", "host-calls", "burst", "add"})
    EXPECT_FALSE(faultNamed(name).times.effect(plan)) << name;
}

TEST_F(FaultsOfOneSite, RepeatTheLastSecondOfADay) {
  faultNamed("leap").times.effect(plan);
  world.run(86'400);
  EXPECT_EQ(plan.counts().at("leap"), 1U);
  const auto& places = site.places();
  const auto difference = places[0]->host().clock.now().second - places[1]->host().clock.now().second;
  EXPECT_EQ(std::abs(difference), 1);
}

TEST_F(FaultsOfOneSite, LetABusyHostTurnItsLoopBetweenStalls) {
  faultNamed("busy").times.effect(plan);
  int stalled = 0;
  for (int millisecond = 0; millisecond < 10'000; ++millisecond, world.runMilliseconds(1))
    for (const auto& place : site.places()) stalled += place->host().loop.stalled() ? 1 : 0;
  EXPECT_GT(stalled, 9'900);
  EXPECT_LT(stalled, 10'000);
}

}  // namespace
}  // namespace quarnex::simulation
