#include "quarn/session/ending.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace quarnex::tool {
namespace {

struct CauseRow {
  EndCause cause;
  int status;
  const char* name;
  const char* meaning;
};

constexpr CauseRow kCauses[] = {
    {EndCause::Done, 0, "done", "the peer acknowledged every line, --count was reached and the link closed"},
    {EndCause::Failed, 1, "failed", "an error that has no status of its own"},
    {EndCause::NotStarted, kNotStarted, "not-started", "wrong usage, or the session could not begin"},
    {EndCause::Output, kOutputNotWritten, "output", "standard output is closed, full or not read"},
    {EndCause::LinkNeverUp, 10, "link-never-up", "the link was never connected"},
    {EndCause::CallRefused, 12, "call-refused",
     "the link was never connected: the last call was refused, because nobody listens on the port"},
    {EndCause::LinkLost, 14, "link-lost", "--once: the link failed after it was connected"},
    {EndCause::TextRefused, 20, "text-refused", "lines were not sent, because no peer takes them"},
    {EndCause::Dropped, 22, "dropped", "lines were dropped; they did not arrive"},
    {EndCause::Unknown, 24, "unknown", "lines were sent and not acknowledged; they may have arrived"},
    {EndCause::Timeout, 30, "timeout", "--timeout passed before everything was done"},
    {EndCause::NothingReceived, 32, "nothing-received", "--count or --timeout was given, and no text came"},
    {EndCause::CountNotReached, 34, "count-not-reached", "fewer texts than --count came"},
    {EndCause::NotClosed, 36, "not-closed", "the peer did not close the link in time"},
    {EndCause::Input, 40, "input", "standard input could not be read"},
    {EndCause::Files, 42, "files", "lines of the log or of the recording could not be written"},
};

constexpr std::pair<int, const char*> kSignals[] = {
    {129, "a second signal, SIGHUP, ended the command at once"},
    {130, "a second signal, SIGINT (Ctrl-C), ended the command at once"},
    {143, "a second signal, SIGTERM, ended the command at once"}};

const CauseRow& rowOf(EndCause cause) {
  return *std::ranges::find(kCauses, cause, &CauseRow::cause);
}

}  // namespace

int statusOf(EndCause cause) {
  return rowOf(cause).status;
}

const char* nameOf(EndCause cause) {
  return rowOf(cause).name;
}

std::vector<ExitStatus> sessionStatuses() {
  std::vector<ExitStatus> statuses;
  for (const CauseRow& row : kCauses)
    statuses.push_back({row.status, std::string(row.name) + ": " + row.meaning});
  for (const auto& [status, meaning] : kSignals) statuses.push_back({status, meaning});
  return statuses;
}

EndCause causeOf(const SessionResult& result) {
  const bool pending = result.dropped + result.unknown > 0;
  const bool silent = result.received == 0 && (result.timedOut || result.countWanted > 0);
  const bool missing = pending || !result.countReached() || result.failedOnce;
  const bool neverUp = (missing || silent) && !result.wasConnected;
  const std::pair<bool, EndCause> causes[] = {{result.outputFailed, EndCause::Output},
                                              {result.inputFailed, EndCause::Input},
                                              {neverUp && result.callRefused, EndCause::CallRefused},
                                              {neverUp, EndCause::LinkNeverUp},
                                              {result.failedOnce, EndCause::LinkLost},
                                              {silent && !pending, EndCause::NothingReceived},
                                              {result.timedOut && missing, EndCause::Timeout},
                                              {result.unknown > 0, EndCause::Unknown},
                                              {result.dropped > 0, EndCause::Dropped},
                                              {result.refused > 0, EndCause::TextRefused},
                                              {!result.countReached(), EndCause::CountNotReached},
                                              {!result.closed, EndCause::NotClosed},
                                              {result.filesIncomplete, EndCause::Files}};
  for (const auto& [applies, cause] : causes) {
    if (applies) return cause;
  }
  return EndCause::Done;
}

}  // namespace quarnex::tool
