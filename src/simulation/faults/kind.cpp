#include "simulation/faults/kind.h"

#include <iterator>

namespace quarnex::simulation {
namespace {

struct Row {
  std::string_view name;
  Fault fault;
};

constexpr Row kRows[] = {
    {"break-all", Fault::Break},        {"caller-storm", Fault::Callers},
    {"rubbish", Fault::Hostile},        {"flood", Fault::Hostile},
    {"tiny-frame", Fault::Hostile},     {"empty-frame", Fault::Hostile},
    {"any-count", Fault::Hostile},      {"limit-message", Fault::Hostile},
    {"word-mix", Fault::Hostile},       {"probes", Fault::Hostile},
    {"forged-report", Fault::Hostile},  {"unfinished", Fault::Hostile},
    {"log-anew", Fault::Disk},          {"log-renamed", Fault::Disk},
    {"log-removed", Fault::Disk},       {"disk-slow", Fault::Disk},
    {"disk-full", Fault::Disk},         {"disk-refuses", Fault::Disk},
    {"years-end", Fault::ClockForward}, {"summers-end", Fault::ClockForward},
    {"year-2038", Fault::ClockForward}, {"days-forward", Fault::ClockForward},
    {"day-back", Fault::ClockBack},     {"clock-stands", Fault::ClockSpeed},
    {"stall-over-day", Fault::Stall},   {"host-closes", Fault::HostCalls},
    {"host-empties", Fault::HostCalls}, {"host-leaves", Fault::HostCalls},
    {"restart-both", Fault::Restart},   {"restart-shuffled", Fault::Restart},
    {"endless-taken", Fault::Endless},  {"backlog-taken", Fault::Backlog},
};
static_assert(std::size(kRows) == kKindCount);

}  // namespace

std::string_view nameOf(Kind kind) {
  return kRows[static_cast<std::size_t>(kind)].name;
}

Fault faultOf(Kind kind) {
  return kRows[static_cast<std::size_t>(kind)].fault;
}

}  // namespace quarnex::simulation
