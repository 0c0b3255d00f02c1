#include "host/link_words.h"

#include <string_view>
#include <utility>

#include "engine/diagnostics/failure_reasons.h"
#include "engine/records/text_pieces.h"
#include "engine/records/trap.h"
#include "quarnex/ports.h"

namespace quarnex {
namespace {

struct KindWords {
  FailureKind kind;
  const char* name;
  std::string_view words;
  bool withError;  // number and text follow the words
};

constexpr KindWords kKinds[] = {
    {FailureKind::ListenFailed, "listen-failed", "listening failed: ", true},
    {FailureKind::CallNotStarted, "call-not-started", "the call could not be started: ", true},
    {FailureKind::SendFailed, "send-failed", "sending failed: ", true},
    {FailureKind::CallFailed, "call-failed", "", true},
    {FailureKind::AcceptFailed, "accept-failed", "", true},
    {FailureKind::ListenTimeout, "listen-timeout", "nobody called within 60 seconds", false},
    {FailureKind::ConnectTimeout, "connect-timeout", "the call was not answered within 60 seconds", false},
    {FailureKind::KeepAliveTimeout, "keep-alive-timeout",
     "no message came from the peer for two keep-alive periods", false},
    {FailureKind::ReplyTimeout, "reply-timeout", "six answers in a row were overdue", false},
    {FailureKind::ClosedByPeer, "closed-by-peer", "the peer closed the connection", false},
    {FailureKind::ConnectionBroken, "connection-broken", "", true},
    {FailureKind::PeerAskedToClose, "peer-asked-to-close", "the peer asked to close", false},
};

constexpr bool eachKindInItsPlace() {
  std::size_t place = 0;
  for (const KindWords& row : kKinds) {
    if (static_cast<std::size_t>(row.kind) != place++) return false;
  }
  return true;
}
static_assert(eachKindInItsPlace());

const KindWords& rowOf(FailureKind kind) {
  return kKinds[static_cast<std::size_t>(kind)];
}

// The numbers that the error notices give without words.
constexpr std::pair<std::int32_t, std::string_view> kBareNumbers[] = {
    {10013, "permission denied"},
    {10024, "no descriptors are left"},
    {10050, "the network is down"},
    {10051, "the network is unreachable"},
    {10052, "the network dropped the connection"},
    {10054, "the connection was reset by the peer"},
    {10055, "no buffer space is left"},
    {10057, "the socket is not connected"},
};

std::string_view wordsOfNumber(std::int32_t number) {
  for (const auto& [known, words] : kBareNumbers) {
    if (known == number) return words;
  }
  return socketErrorWords(number);
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

// Deadlines are acted on in the first second after them.
std::string nextStep(Library& library, const LinkSnapshot& snapshot) {
  const std::string time = timeOfDay(library, *snapshot.deadline + 1);
  if (snapshot.phase == LinkPhase::Waiting) {
    return concat(snapshot.client ? "next call at " : "listens again at ", time);
  }
  if (snapshot.phase == LinkPhase::Calling) return concat("calling ", snapshot.endpoint, " until ", time);
  if (snapshot.port == 0) return concat("listening until ", time);
  return concat("listening on port ", snapshot.port, " until ", time);
}

std::string_view signOfLife(const LinkSnapshot& snapshot) {
  if (!snapshot.messageReceived) return "; no message from the peer yet";
  return snapshot.overdue ? "; the peer does not answer" : "";
}

}  // namespace

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
                    signOfLife(snapshot), snapshot.closing ? "; the peer has been asked to close" : "");
    default:
      return concat("down since ", timeOfDay(library, snapshot.since), ": ",
                    lastFailure(library, record, snapshot), "; ", nextStep(library, snapshot));
  }
}

std::string inWords(const LinkFailure& failure) {
  const KindWords& row = rowOf(failure.kind);
  return row.withError ? concat(row.words, errorInWords(failure)) : std::string(row.words);
}

const char* nameOf(FailureKind kind) {
  return rowOf(kind).name;
}

const char* nameOf(LinkPhase phase) {
  constexpr const char* names[] = {"local", "closed", "waiting", "listening", "calling", "connected"};
  return names[static_cast<std::size_t>(phase)];
}

}  // namespace quarnex
