// The methods of QuarnSocket beside the 15: texts with receipts, events, and closing without loss.
#include <optional>
#include <utility>
#include <vector>

#include "engine/events/telling.h"
#include "engine/records/library.h"
#include "host/draining.h"
#include "host/host_boundary.h"
#include "host/snapshot.h"
#include "quarnex/quarn_socket.h"
#include "quarnex/text_rules.h"

namespace quarnex {
namespace {

ConnectionRecord& requireLink(Library& library, std::int16_t link) {
  if (!library.validIndex(link)) throw Failure(5, "Invalid procedure call or argument");
  return library.ConnectionTable[link];
}

ConnectionRecord& requireTcpLink(Library& library, std::int16_t link) {
  ConnectionRecord& record = requireLink(library, link);
  if (!record.UsaTcp) throw Failure(5, "Invalid procedure call or argument");
  return record;
}

/// The book of a link, or nullptr if it has accepted no text yet.
const ReceiptBook* bookOf(Library& library, std::int16_t link) {
  if (!library.validIndex(link)) return nullptr;
  const auto& ledger = library.ConnectionTable[link].history.ledger;
  return ledger ? &ledger->book : nullptr;
}

Refusal refusalOf(Library& library, std::int16_t link) {
  if (!library.validIndex(link)) return Refusal::UnknownLink;
  const ConnectionRecord& record = library.ConnectionTable[link];
  if (library.InUscita) return Refusal::Leaving;
  if (library.draining || (record.history.ledger && record.history.ledger->drain.phase != DrainPhase::None))
    return Refusal::Draining;
  return record.UsaTcp && !record.Attivo ? Refusal::NotOpen : Refusal::None;
}

}  // namespace

SendResult QuarnSocket::send(Int16 link, std::string_view text) {
  return numbered(*library_, [&]() -> SendResult {
    if (const Refusal refusal = refusalOf(*library_, link); refusal != Refusal::None) return {0, refusal};
    TextCheck check = checkText(text);
    if (check.rule != TextRule::None && check.rule < TextRule::LeadingNine)
      return {0, Refusal::Text, std::move(check)};
    Invia(link, text);
    return {accepted(link)};
  });
}

std::uint64_t QuarnSocket::accepted(Int16 link) const {
  const ReceiptBook* const book = bookOf(*library_, link);
  return book != nullptr ? book->accepted() : 0;
}

std::uint64_t QuarnSocket::decidedUpTo(Int16 link) const {
  const ReceiptBook* const book = bookOf(*library_, link);
  return book != nullptr ? book->decidedUpTo() : 0;
}

std::vector<PendingTexts> QuarnSocket::pending(Int16 link) const {
  return numbered(*library_, [&] {
    std::vector<PendingTexts> ranges;
    if (const ReceiptBook* const book = bookOf(*library_, link))
      book->visitPending([&](const PendingTexts& texts) { ranges.push_back(texts); });
    return ranges;
  });
}

void QuarnSocket::enableEvents(Int16 link, bool on) {
  numbered(*library_, [&] {
    ledgerOf(requireLink(*library_, link)).eventsOn = on;
    if (!library_->events) library_->events = std::make_unique<EventQueue>();
  });
}

std::optional<LinkEvent> QuarnSocket::nextEvent() {
  return numbered(*library_, [&] {
    serviceDrains(*library_);
    return library_->events ? library_->events->take() : std::nullopt;
  });
}

std::size_t QuarnSocket::nextEvents(LinkEvent* into, std::size_t most) {
  std::size_t count = 0;
  for (; count < most; ++count) {
    std::optional<LinkEvent> event = nextEvent();
    if (!event) break;
    into[count] = std::move(*event);
  }
  return count;
}

std::size_t QuarnSocket::eventsWaiting() const {
  return library_->events ? library_->events->size() : 0;
}

void QuarnSocket::drainAndClose(Int16 link, std::chrono::milliseconds within) {
  numbered(*library_, [&] {
    beginDrain(*library_, requireTcpLink(*library_, link), within);
    serviceDrains(*library_);
  });
}

void QuarnSocket::drainAndLeave(std::chrono::milliseconds within) {
  numbered(*library_, [&] {
    beginLeaving(*library_, within);
    serviceDrains(*library_);
  });
}

std::vector<LinkOutage> QuarnSocket::outages(Int16 link) const {
  return numbered(*library_, [&] {
    if (!library_->validIndex(link) || !library_->ConnectionTable[link].history.ledger)
      return std::vector<LinkOutage>();
    std::vector<LinkOutage> outages = library_->ConnectionTable[link].history.ledger->outages;
    for (LinkOutage& outage : outages) outage.why = outageSentence(*library_, outage);
    return outages;
  });
}

}  // namespace quarnex
