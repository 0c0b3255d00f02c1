#include "host/snapshot.h"

#include <iterator>
#include <string_view>

#include "engine/records/text_pieces.h"
#include "engine/records/trap.h"
#include "quarnex/ports.h"
#include "quarnex/times_and_limits.h"
#include "services/socket_errors.h"

namespace quarnex {
namespace {

constexpr const char* kKindNames[] = {
    "listen-failed",     "call-not-started",    "send-failed",        "call-failed",   "accept-failed",
    "listen-timeout",    "connect-timeout",     "keep-alive-timeout", "reply-timeout", "closed-by-peer",
    "connection-broken", "peer-asked-to-close", "frame-too-long",
};
static_assert(std::size(kKindNames) == static_cast<std::size_t>(FailureKind::FrameTooLong) + 1);

std::string_view wordsOfNumber(std::int32_t number) {
  const std::string_view words = socketNoticeWords(number);
  return words.empty() ? socketErrorDescription(number) : words;
}

std::string errorInWords(const LinkFailure& failure) {
  const std::string_view words = failure.text.empty() ? wordsOfNumber(failure.number) : failure.text;
  return words.empty() ? concat("error ", failure.number) : concat("error ", failure.number, ", ", words);
}

std::string timeOfDay(Library& library, std::int64_t second) {
  const Instant instant{second};
  const LocalTime time = localTime(instant, library.services.clock.utcOffset(instant));
  return concat(ZeroPadded{time.hour, 2}, ':', ZeroPadded{time.minute, 2}, ':', ZeroPadded{time.second, 2});
}

bool hasPort(Library& library, const ConnectionRecord& record) {
  std::int32_t port = 0;
  Trap overflow{library};
  overflow([&] { port = PortaPerTipo(record.Tipo, record.IdQuarn); });
  return port > 0;
}

std::string lastFailure(Library& library, const ConnectionRecord& record, const LinkSnapshot& snapshot) {
  if (!hasPort(library, record)) return concat("identifier ", record.IdQuarn, " has no port");
  if (!snapshot.lastFailure) return "not connected yet";
  const LinkFailure& failure = *snapshot.lastFailure;
  return concat(inWords(failure), " (while ", nameOf(failure.phase), ", at ", timeOfDay(library, failure.at),
                ")");
}

std::string refusals(const LinkSnapshot& snapshot) {
  if (snapshot.callersRefused == 0) return {};
  return concat("; refused ", snapshot.callersRefused, snapshot.callersRefused == 1 ? " caller" : " callers");
}

// Deadlines are acted on in the first second after them.
std::string nextStep(Library& library, const LinkSnapshot& snapshot) {
  const std::string time = timeOfDay(library, *snapshot.deadline + 1);
  if (snapshot.phase == LinkPhase::Waiting) {
    return concat(snapshot.client ? "next call at " : "listens again at ", time);
  }
  if (snapshot.phase == LinkPhase::Calling) return concat("calling ", snapshot.endpoint, " until ", time);
  if (snapshot.port == 0) return concat("listening until ", time);
  return concat("listening on port ", snapshot.port, " until ", time, refusals(snapshot));
}

std::string heldBack(Library& library, const LinkSnapshot& snapshot) {
  if (!snapshot.limitSince) return {};
  return concat("; fetches nothing since ", timeOfDay(library, *snapshot.limitSince), ", because ",
                snapshot.bytesHeld, " bytes wait");
}

std::string_view signOfLife(const LinkSnapshot& snapshot) {
  if (!snapshot.messageReceived) return "; no message from the peer yet";
  return snapshot.overdue ? "; the peer does not answer" : "";
}

std::string counted(std::uint64_t count, std::string_view noun) {
  return concat(count, ' ', noun, count == 1 ? "" : "s");
}

}  // namespace

std::string outageSentence(Library& library, const LinkOutage& outage) {
  std::uint64_t dropped = 0;
  for (const std::uint64_t texts : outage.dropped) dropped += texts;
  return concat("outage ", outage.number, ", ", timeOfDay(library, outage.start),
                outage.end
                    ? concat(" to ", timeOfDay(library, *outage.end), " (", *outage.end - outage.start, " s)")
                    : std::string(" until now"),
                ": ", inWords(outage.reason), "; ", counted(outage.attempts, "failed attempt"), ", ",
                counted(dropped, "text"), " dropped");
}

std::string whySentence(Library& library, const ConnectionRecord& record, const LinkSnapshot& snapshot) {
  switch (snapshot.phase) {
    case LinkPhase::Local:
      return "works inside the process, without TCP";
    case LinkPhase::Closed:
      if (record.Chiuso) return concat("closed by the host since ", timeOfDay(library, snapshot.since));
      if (library.InUscita && snapshot.lastFailure) {
        return "closed during shutdown: " + lastFailure(library, record, snapshot);
      }
      return "not opened";
    case LinkPhase::Connected:
      return concat("connected to ", snapshot.endpoint, " since ", timeOfDay(library, snapshot.since),
                    signOfLife(snapshot), heldBack(library, snapshot),
                    snapshot.closing ? "; the peer has been asked to close" : "");
    default:
      return concat("down since ", timeOfDay(library, snapshot.since), ": ",
                    lastFailure(library, record, snapshot), "; ", nextStep(library, snapshot));
  }
}

std::string inWords(const LinkFailure& failure) {
  switch (failure.kind) {
    case FailureKind::ListenFailed:
      return "listening failed: " + errorInWords(failure);
    case FailureKind::CallNotStarted:
      return "the call could not be started: " + errorInWords(failure);
    case FailureKind::SendFailed:
      return "sending failed: " + errorInWords(failure);
    case FailureKind::CallFailed:
    case FailureKind::AcceptFailed:
    case FailureKind::ConnectionBroken:
      return errorInWords(failure);
    case FailureKind::ListenTimeout:
      return concat("nobody called within ", kListenSeconds, " seconds");
    case FailureKind::ConnectTimeout:
      return concat("the call was not answered within ", kCallSeconds, " seconds");
    case FailureKind::KeepAliveTimeout:
      return concat("no message came from the peer for ", kSilentPeriodsTolerated + 1, " keep-alive periods");
    case FailureKind::ReplyTimeout:
      return concat(kOverdueAnswersTolerated + 1, " answers in a row were overdue");
    case FailureKind::ClosedByPeer:
      return "the peer closed the connection";
    case FailureKind::PeerAskedToClose:
      return "the peer asked to close";
    case FailureKind::FrameTooLong:
      return "a frame of the peer did not end within the limit";
  }
  return {};
}

const char* nameOf(FailureKind kind) {
  return kKindNames[static_cast<std::size_t>(kind)];
}

const char* nameOf(LinkPhase phase) {
  constexpr const char* names[] = {"local", "closed", "waiting", "listening", "calling", "connected"};
  return names[static_cast<std::size_t>(phase)];
}

}  // namespace quarnex
