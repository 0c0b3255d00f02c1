// Watches an engine: records it and checks every rule of a simulation after each of its steps.
#pragma once

#include <memory>
#include <optional>

#include "recording/format/line_writer.h"
#include "recording/shrinker/checker.h"
#include "services/services.h"
#include "simulation/checks/independent/check.h"

namespace quarnex::simulation {

/// Watches an engine of host number `host` on `machine`, whose descriptors are those of `sockets`. Sets
/// `first` to the first finding, unless it has one: later ones may be consequences of it. `site`, `first` and
/// `sockets` outlive the watch.
std::unique_ptr<ServicesWrapper> watchEngine(SiteObservations& site, std::optional<recording::Finding>& first,
                                             int host, int machine,
                                             std::shared_ptr<recording::LineSink> lines,
                                             const SimulatedSockets& sockets);

/// Watches a replayed engine. Its peers are unknown, so faults of theirs may excuse a breach of a rule.
std::unique_ptr<recording::Checker> checkEngine(std::shared_ptr<recording::Sink> sink);

}  // namespace quarnex::simulation
