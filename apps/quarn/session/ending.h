// Lists the exit statuses of quarn listen and quarn call, one for each cause, and chooses the one of a
// session.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "quarn/command.h"

namespace quarnex::tool {

enum class EndCause : std::uint8_t {
  Done,
  Failed,
  NotStarted,
  Output,
  LinkNeverUp,
  CallRefused,
  LinkLost,
  TextRefused,
  Dropped,
  Unknown,
  Timeout,
  NothingReceived,
  CountNotReached,
  NotClosed,
  Input,
  Files
};

/// The exit status of the cause. The numbers have gaps for later causes and are never used again. Those from
/// 126 to 165 belong to shells and signals.
int statusOf(EndCause cause);
/// A name for programs, which no later version changes: "done", "link-never-up".
const char* nameOf(EndCause cause);

/// All statuses of a session in ascending order, each with its name and meaning, for the help.
std::vector<ExitStatus> sessionStatuses();

/// The facts of a finished session that determine its exit status.
struct SessionResult {
  bool outputFailed = false, inputFailed = false;
  bool filesIncomplete = false;   ///< lines are missing in the log or the recording
  bool wasConnected = false;      ///< at least once
  bool callRefused = false;       ///< the last call was refused by the peer's machine
  bool failedOnce = false;        ///< ended by `SessionOptions::once`
  bool timedOut = false;          ///< ended by `SessionOptions::timeoutSeconds`
  bool closed = false;            ///< the peer has closed the link
  std::uint64_t refused = 0;      ///< lines that no link takes
  std::uint64_t dropped = 0;      ///< lines that certainly did not arrive
  std::uint64_t unknown = 0;      ///< lines that may have arrived
  std::uint64_t received = 0;     ///< texts
  std::uint64_t countWanted = 0;  ///< 0 = any number

  bool countReached() const { return received >= countWanted; }
};

/// The first cause that applies, from the most to the least specific.
EndCause causeOf(const SessionResult& result);

}  // namespace quarnex::tool
