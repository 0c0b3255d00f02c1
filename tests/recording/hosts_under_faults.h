// Records two hosts under a random plan of all faults; returns one recording per engine.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "recording/recorder/recorder.h"
#include "simulation/faults/fault_plan.h"

namespace quarnex::simulation {

inline std::vector<std::string> recordingsOf(std::uint64_t seed) {
  std::vector<std::shared_ptr<recording::MemorySink>> sinks;
  World world(seed);
  Site site(world, 1, 2);
  FaultPlan faults(site, world.random(), *faultsNamed("generation-4"));
  for (const auto& place : site.places()) {
    place->host().makeWrapper = [&] {
      sinks.push_back(std::make_shared<recording::MemorySink>());
      return std::make_unique<recording::ServicesRecorder>(sinks.back());
    };
    place->setTraffic(3'000);
  }
  site.start();
  Host& first = site.places().front()->host();
  first.faults.choose = [](const ServiceCall&) { return OperationFault(); };
  EXPECT_THROW(first.quarn().AttivaLog(), Failure);
  first.faults.choose = nullptr;
  faults.begin();
  world.run(1'200);
  faults.end();
  std::vector<std::string> texts;
  texts.reserve(sinks.size());
  for (const auto& sink : sinks) texts.push_back(sink->text());
  return texts;
}

}  // namespace quarnex::simulation
