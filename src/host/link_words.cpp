#include "host/link_words.h"

#include <charconv>
#include <utility>

#include "engine/records/text_pieces.h"
#include "engine/records/trap.h"
#include "quarnex/ports.h"

namespace quarnex {
namespace {

using Words = std::pair<std::string_view, std::string_view>;

constexpr Words kWholeReasons[] = {
    {"Listen Timeout", "nobody called within 60 seconds"},
    {"Connect Timeout", "the call was not answered within 60 seconds"},
    {"Alive Timeout", "no message came from the peer for two keep-alive periods"},
    {"Timeout HandleStato_B", "six answers in a row were overdue"},
    {"the peer asked to close", "the peer asked to close"},
    {"closed by the peer", "the peer closed the connection"},
};

constexpr Words kFailedActions[] = {{"Listen ", "listening failed: "},
                                    {"Connect ", "the call could not be started: "},
                                    {"Send ", "sending failed: "}};

// What the reports give as a bare number.
constexpr std::pair<int, std::string_view> kBareNumbers[] = {
    {10013, "permission denied"},
    {10024, "no descriptors are left"},
    {10050, "the network is down"},
    {10051, "the network is unreachable"},
    {10052, "the network dropped the connection"},
    {10054, "the connection was reset by the peer"},
    {10055, "no buffer space is left"},
    {10057, "the socket is not connected"},
};

std::string withoutFullStop(std::string_view text) {
  if (text.ends_with('.')) text.remove_suffix(1);
  return std::string(text);
}

std::string numberInWords(std::string_view reason) {
  int number = 0;
  const auto parsed = std::from_chars(reason.data(), reason.data() + reason.size(), number);
  if (parsed.ec != std::errc{}) return std::string(reason);
  std::string_view words = reason.substr(static_cast<std::size_t>(parsed.ptr - reason.data()));
  while (words.starts_with(' ')) words.remove_prefix(1);
  if (words.starts_with("ErrorCode:")) words = {};
  for (const auto& [known, text] : kBareNumbers) {
    if (known == number && words.empty()) words = text;
  }
  return words.empty() ? concat("error ", number) : concat("error ", number, ", ", withoutFullStop(words));
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

std::string lastFailure(Library& library, const ConnectionRecord& record) {
  if (!hasPort(library, record)) return concat("identifier ", record.IdQuarn, " has no port");
  if (!record.history.lastFailure) return "not connected yet";
  const LinkHistory::Failure& failure = *record.history.lastFailure;
  const std::string_view phase = failure.whileConnected     ? "while connected"
                                 : record.ConnessioneClient ? "while calling"
                                                            : "while listening";
  return concat(reasonInWords(failure.reason), " (", phase, ", at ", timeOfDay(library, failure.at.second),
                ")");
}

// Of the answer to what was sent, or of any message at all.
bool isOverdue(const ConnectionRecord& record) {
  return record.ContaTimeoutB > 0 || record.ContaAlive > 0;
}

// Deadlines are acted on in the first second after them.
std::string nextStep(Library& library, const LinkSnapshot& snapshot) {
  const std::string time = timeOfDay(library, *snapshot.deadline + 1);
  if (snapshot.phase == LinkPhase::Waiting) {
    return concat(snapshot.client ? "next call at " : "listens again at ", time);
  }
  if (snapshot.phase == LinkPhase::Calling) return concat("calling ", snapshot.endpoint, " until ", time);
  const std::size_t colon = snapshot.endpoint.rfind(':');
  if (colon == std::string::npos) return concat("listening until ", time);
  return concat("listening on port ", std::string_view(snapshot.endpoint).substr(colon + 1), " until ", time);
}

}  // namespace

std::string whySentence(Library& library, const ConnectionRecord& record, const LinkSnapshot& snapshot) {
  switch (snapshot.phase) {
    case LinkPhase::Local:
      return "works inside the process, without TCP";
    case LinkPhase::Closed:
      if (record.Chiuso) return concat("closed by the host since ", timeOfDay(library, snapshot.since));
      if (library.InUscita && record.history.lastFailure) {
        return "closed during shutdown: " + lastFailure(library, record);
      }
      return "not opened";
    case LinkPhase::Connected:
      return concat("connected to ", snapshot.endpoint, " since ", timeOfDay(library, snapshot.since),
                    isOverdue(record) ? "; the peer does not answer" : "",
                    snapshot.closing ? "; the peer has been asked to close" : "");
    default:
      return concat("down since ", timeOfDay(library, snapshot.since), ": ", lastFailure(library, record),
                    "; ", nextStep(library, snapshot));
  }
}

std::string reasonInWords(std::string_view reason) {
  for (const auto& [known, words] : kWholeReasons) {
    if (reason == known) return std::string(words);
  }
  for (const auto& [known, words] : kFailedActions) {
    if (reason.starts_with(known)) return concat(words, numberInWords(reason.substr(known.size())));
  }
  return numberInWords(reason);
}

const char* nameOf(LinkPhase phase) {
  constexpr const char* names[] = {"local", "closed", "waiting", "listening", "calling", "connected"};
  return names[static_cast<std::size_t>(phase)];
}

}  // namespace quarnex
