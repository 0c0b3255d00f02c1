// Kind: the kinds of faults that are so different, or so rare, that each is counted by its name.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "simulation/faults/fault.h"

namespace quarnex::simulation {

enum class Kind : std::uint8_t {
  BreakAll,
  CallerStorm,
  Rubbish,
  Flood,
  TinyFrame,
  EmptyFrame,
  AnyCount,
  LimitMessage,
  WordMix,
  Probes,
  ForgedReport,
  Unfinished,
  LogAnew,
  LogRenamed,
  LogRemoved,
  DiskSlow,
  DiskFull,
  DiskRefuses,
  YearsEnd,
  SummersEnd,
  Year2038,
  DaysForward,
  DayBack,
  ClockStands,
  StallOverDay,
  HostCloses,
  HostEmpties,
  HostLeaves,
  RestartBoth,
  RestartShuffled,
  EndlessTaken,
  BacklogTaken
};
constexpr std::size_t kKindCount = static_cast<std::size_t>(Kind::BacklogTaken) + 1;

/// "restart-both".
std::string_view nameOf(Kind kind);
/// The fault of which it is one.
Fault faultOf(Kind kind);

}  // namespace quarnex::simulation
