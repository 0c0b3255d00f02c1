#include "engine/events/telling.h"

#include <algorithm>
#include <utility>

#include "engine/records/frm_sock.h"
#include "engine/records/inbound.h"
#include "engine/records/trap.h"

namespace quarnex {
namespace {

// Smaller steps of the clock and shorter pauses of the loop are no events.
constexpr std::int64_t kStepMilliseconds = 2000;

bool dropsText(const TextBuffer& queue) {
  return BufferIsFull(queue) && !BufferFrontMarked(queue);
}

// The next opening empties the queues. It would not if a late event, or a caller on a socket that could not
// be closed, had connected the link meanwhile.
bool isClosed(const ConnectionRecord& rec) {
  const bool mayConnect = rec.history.ledger && rec.history.ledger->mayConnect;
  return !rec.Attivo && rec.Stato != kConnected && !mayConnect;
}

bool hasEvents(const Library& library, const ConnectionRecord& rec) {
  return library.events && rec.history.ledger && rec.history.ledger->eventsOn;
}

LinkCounts countsOf(const ConnectionRecord& rec) {
  const LinkLedger& ledger = *rec.history.ledger;
  return {ledger.book.accepted(),
          ledger.outcomes.acknowledged,
          ledger.outcomes.of(Outcome::Dropped),
          ledger.outcomes.of(Outcome::Unknown),
          rec.history.textsReceived,
          ledger.receivedDropped,
          rec.history.reconnections};
}

LinkEvent madeNow(Library& library, EventType type) {
  LinkEvent event;
  const Moment now = library.services.clock.moment();
  event.type = type;
  event.at = now.systemSecond;
  event.milliseconds = now.milliseconds;
  return event;
}

/// Makes an event of the link, lets `fill` complete it, and queues it. Returns its serial number, 0 if there
/// is none.
template <class Fill>
std::uint64_t add(Library& library, ConnectionRecord& rec, EventType type, const Fill& fill) {
  if (!hasEvents(library, rec)) return 0;
  std::uint64_t serial = 0;
  Trap withoutMemory{library};
  withoutMemory([&] {
    LinkEvent event = madeNow(library, type);
    event.link = rec.IdxQuarn;
    event.counts = countsOf(rec);
    fill(event);
    serial = library.events->add(std::move(event));
  });
  rec.history.ledger->joinable.latest = serial;
  return serial;
}

/// Lets an occurrence join the event with the serial number `serial`, or makes an event of its own.
template <class Join>
void addOrJoin(Library& library, ConnectionRecord& rec, EventType type, std::uint64_t& serial,
               const Join& join) {
  if (!hasEvents(library, rec)) return;
  if (LinkEvent* event = library.events->find(serial)) {
    event->counts = countsOf(rec);
    return join(*event);
  }
  serial = add(library, rec, type, [&](LinkEvent& event) {
    event.count = 0;
    join(event);
  });
}

void addOfProcess(Library& library, EventType type, std::int64_t count) {
  if (!library.events) return;
  Trap withoutMemory{library};
  withoutMemory([&] {
    LinkEvent event = madeNow(library, type);
    event.count = count;
    library.events->add(std::move(event));
  });
}

bool joins(const Receipt& earlier, const Receipt& later) {
  return earlier.to + 1 == later.from && earlier.outcome == later.outcome && earlier.cause == later.cause &&
         earlier.connection == later.connection;
}

void join(Receipt& earlier, const Receipt& later) {
  earlier.to = later.to;
  if (later.frames > earlier.frames) earlier.frames = later.frames;
}

void append(std::vector<Receipt>& receipts, const Receipt& receipt) {
  if (!receipts.empty() && joins(receipts.back(), receipt)) return join(receipts.back(), receipt);
  receipts.push_back(receipt);
}

/// Counts the decisions about a link's texts, and tells the host.
class ReceiptTeller final : public DecisionSink {
 public:
  ReceiptTeller(Library& library, ConnectionRecord& rec) : library_(library), rec_(rec) {}

  void decided(const Receipt& receipt) override {
    Trap withoutMemory{library_};
    LinkLedger& ledger = *rec_.history.ledger;
    count(ledger, receipt);
    if (ledger.drain.phase != DrainPhase::None)
      withoutMemory([&] { append(ledger.drain.receipts, receipt); });
    if (!joinsLatest(receipt))
      add(library_, rec_, EventType::Receipts, [&](LinkEvent& event) { event.receipt = receipt; });
  }

 private:
  static void count(LinkLedger& ledger, const Receipt& receipt) {
    const std::uint64_t texts = receipt.to - receipt.from + 1;
    const auto cause = static_cast<std::size_t>(receipt.cause);
    if (receipt.outcome == Outcome::Acknowledged) ledger.outcomes.acknowledged += texts;
    if (receipt.outcome == Outcome::Unknown) ledger.outcomes.unknown[cause] += texts;
    if (receipt.outcome != Outcome::Dropped) return;
    ledger.outcomes.dropped[cause] += texts;
    if (!ledger.outages.empty() && !ledger.outages.back().end) ledger.outages.back().dropped[cause] += texts;
  }
  bool joinsLatest(const Receipt& receipt) {
    if (!hasEvents(library_, rec_)) return false;
    LinkEvent* const latest = library_.events->find(rec_.history.ledger->joinable.latest);
    if (latest == nullptr || latest->type != EventType::Receipts || !joins(latest->receipt, receipt))
      return false;
    join(latest->receipt, receipt);
    latest->counts = countsOf(rec_);
    return true;
  }

  Library& library_;
  ConnectionRecord& rec_;
};

/// Runs `use` on the book of a link that has one.
template <class Use>
void withBook(Library& library, ConnectionRecord& rec, const Use& use) {
  if (!rec.history.ledger) return;
  ReceiptTeller teller(library, rec);
  use(rec.history.ledger->book, teller);
}

/// Settles the book of a link if no acknowledgement is on its way, or if that has been uncertain for long.
void settle(Library& library, ConnectionRecord& rec, bool noneOnItsWay) {
  withBook(library, rec, [&](ReceiptBook& book, DecisionSink& sink) {
    noneOnItsWay ? book.settle(rec.history.acks, sink)
                 : book.settleOld(rec.history.acks, rec.history.lastHeard.second, sink);
  });
}

void put(Library& library, ConnectionRecord& rec, std::string_view text, bool word) {
  const bool dropped = dropsText(rec.CodaInvio);
  BufferPut(rec.CodaInvio, text, word);
  if (dropped) {
    withBook(library, rec,
             [](ReceiptBook& book, DecisionSink& sink) { book.dropOldest(ReceiptCause::QueueFull, sink); });
  }
}

void putReceived(Library& library, ConnectionRecord& rec, std::string_view item, bool report) {
  const bool dropped = dropsText(rec.CodaArrivo);
  putInbound(library, rec, item, report);
  if (dropped) tellReceivedDropped(library, rec, 1, ReceiptCause::QueueFull);
}

void beginOutage(LinkLedger& ledger, const LinkFailure& failure) {
  if (ledger.outages.size() == kOutagesMax) {
    ledger.outages.erase(ledger.outages.begin());
    ++ledger.outagesBefore;
  }
  const auto number = static_cast<std::uint32_t>(ledger.outagesBefore + ledger.outages.size() + 1);
  ledger.outages.push_back({number, failure.at, std::nullopt, failure, 0, {}, {}});
}

void endOutage(ConnectionRecord& rec) {
  if (!rec.history.ledger || rec.history.ledger->outages.empty() || rec.history.ledger->outages.back().end)
    return;
  LinkOutage& outage = rec.history.ledger->outages.back();
  outage.end = std::max(outage.start, std::int64_t{rec.history.since.second});
}

}  // namespace

LinkLedger& ledgerOf(ConnectionRecord& rec) {
  if (!rec.history.ledger) rec.history.ledger = std::make_unique<LinkLedger>();
  return *rec.history.ledger;
}

void tell(Library& library, ConnectionRecord& rec, EventType type) {
  add(library, rec, type, [](LinkEvent&) {});
}

void tellFailure(Library& library, ConnectionRecord& rec, EventType type) {
  add(library, rec, type, [&](LinkEvent& event) { event.reason = rec.history.ledger->lastFailure; });
}

void noteNewConnection(Library& library, ConnectionRecord& rec) {
  rec.history.acks.begin();
  withBook(library, rec,
           [&](ReceiptBook& book, DecisionSink& sink) { book.connectionEnded(rec.history.acks, sink); });
}

void tellConnected(Library& library, ConnectionRecord& rec) {
  endOutage(rec);
  add(library, rec, EventType::Connected,
      [&](LinkEvent& event) { event.endpoint = frameSocket(library, rec).peer(); });
}

void tellDisconnected(Library& library, ConnectionRecord& rec, bool staysQueued) {
  if (rec.Stato != kConnected) return;
  withBook(library, rec,
           [&](ReceiptBook& book, DecisionSink& sink) { book.connectionEnded(rec.history.acks, sink); });
  add(library, rec, EventType::Disconnected, [&](LinkEvent& event) {
    event.reason = rec.history.ledger->lastFailure;
    event.count = static_cast<std::int64_t>(rec.history.ledger->book.undecided());
    event.staysQueued = staysQueued;
  });
}

void tellDown(Library& library, ConnectionRecord& rec) {
  if (!rec.Aperto) return;
  LinkLedger& ledger = *rec.history.ledger;
  const LinkFailure& failure = *ledger.lastFailure;
  Trap withoutMemory{library};
  withoutMemory([&] {
    if (ledger.outages.empty() || ledger.outages.back().end) beginOutage(ledger, failure);
    if (failure.phase == LinkPhase::Connected) return;
    ++ledger.outages.back().attempts;
    addOrJoin(library, rec, EventType::AttemptFailed, ledger.joinable.attemptFailed, [&](LinkEvent& event) {
      event.reason = failure;
      ++event.count;
    });
  });
}

void noteClosing(Library& library, ConnectionRecord& rec, bool socketsClosed) {
  const bool staysClosed = socketsClosed && library.steps <= 1;
  if (staysClosed && !rec.history.ledger) return;
  Trap withoutMemory{library};
  withoutMemory([&] { ledgerOf(rec).mayConnect = !staysClosed; });
}

void tellClosed(Library& library, ConnectionRecord& rec, bool byHost) {
  const bool timedOut = rec.history.ledger && rec.history.ledger->drain.timedOut;
  if (isClosed(rec)) noteAbandoned(library, rec, timedOut ? ReceiptCause::Timeout : ReceiptCause::Closed);
  endOutage(rec);
  tellDrained(library, rec);
  byHost ? tell(library, rec, EventType::Closed) : tellFailure(library, rec, EventType::Closed);
}

void tellDrained(Library& library, ConnectionRecord& rec) {
  if (!rec.history.ledger || rec.history.ledger->drain.phase == DrainPhase::None) return;
  LinkDrain drain = std::exchange(rec.history.ledger->drain, {});
  --library.drains;
  add(library, rec, EventType::Drained, [&](LinkEvent& event) {
    event.receipts = std::move(drain.receipts);
    event.timedOut = drain.timedOut;
  });
}

void tellLeft(Library& library) {
  addOfProcess(library, EventType::Drained, 0);
}

void queueText(Library& library, ConnectionRecord& rec, std::string_view text) {
  LinkLedger& ledger = ledgerOf(rec);
  put(library, rec, text, false);
  ledger.book.accept();
  if (isClosed(rec)) noteAbandoned(library, rec, ReceiptCause::Closed);
}

void queueWord(Library& library, ConnectionRecord& rec, std::string_view word) {
  put(library, rec, word, true);
}

void queueReceived(Library& library, ConnectionRecord& rec, std::string_view text) {
  putReceived(library, rec, text, false);
  ++rec.history.textsReceived;
  if (!hasEvents(library, rec)) return;
  addOrJoin(library, rec, EventType::TextsReceived, rec.history.ledger->joinable.textsReceived,
            [](LinkEvent& event) { ++event.count; });
}

void queueReport(Library& library, ConnectionRecord& rec, std::string_view report) {
  putReceived(library, rec, report, true);
}

void tellReceivedDropped(Library& library, ConnectionRecord& rec, std::uint64_t texts, ReceiptCause cause) {
  if (texts == 0) return;
  Trap withoutMemory{library};
  withoutMemory([&] {
    LinkLedger& ledger = ledgerOf(rec);
    ledger.receivedDropped += texts;
    LinkEvent* const earlier =
        library.events ? library.events->find(ledger.joinable.receivedDropped) : nullptr;
    if (earlier != nullptr && earlier->receipt.cause != cause) ledger.joinable.receivedDropped = 0;
    addOrJoin(library, rec, EventType::ReceivedDropped, ledger.joinable.receivedDropped,
              [&](LinkEvent& event) {
                event.receipt.cause = cause;
                event.count += static_cast<std::int64_t>(texts);
              });
  });
}

void notePrepared(ConnectionRecord& rec, std::size_t texts, std::uint32_t spoilt) {
  rec.history.ledger->book.prepare(texts, spoilt);
}

void noteDataSent(ConnectionRecord& rec, bool first) {
  rec.history.acks.sendsData(rec.ConnessioneClient);
  if (rec.history.ledger) rec.history.ledger->book.sent(first, rec.history.acks);
}

// A message of a client can bring the acknowledgement that it carries again, but not after the client has
// queried: then it has no message under way that is older than the query.
void noteAcknowledged(Library& library, ConnectionRecord& rec) {
  AckTally& tally = rec.history.acks;
  const bool isAnswer = !rec.ConnessioneClient && tally.queried() && !rec.UltimoInviato.empty();
  tally.acknowledges(!rec.RicevutoCMD || isAnswer);
  withBook(library, rec, [&](ReceiptBook& book, DecisionSink& sink) {
    book.acknowledged(tally, rec.history.lastHeard.second, sink);
  });
}

void noteQuery(Library& library, ConnectionRecord& rec) {
  if (!rec.ConnessioneClient) settle(library, rec, rec.history.acks.queries());
}

void noteNoData(Library& library, ConnectionRecord& rec) {
  if (rec.ConnessioneClient) settle(library, rec, rec.history.acks.answersQuery());
}

void noteAbandoned(Library& library, ConnectionRecord& rec, ReceiptCause cause) {
  withBook(library, rec,
           [&](ReceiptBook& book, DecisionSink& sink) { book.abandon(cause, rec.history.acks, sink); });
}

void noteLocal(Library& library, ConnectionRecord& rec, bool delivered) {
  Trap withoutMemory{library};
  withoutMemory([&] {
    const std::uint64_t number = ledgerOf(rec).book.accept();
    ReceiptTeller teller(library, rec);
    rec.history.ledger->book.passBy();
    teller.decided({number, number, delivered ? Outcome::Acknowledged : Outcome::Dropped,
                    delivered ? ReceiptCause::None : ReceiptCause::NoPeer});
  });
}

void watchClock(Library& library) {
  if (!library.events) return;
  const Moment now = library.services.clock.moment();
  const Moment before = std::exchange(library.lastTick, now);
  if (before.milliseconds == 0) return;
  const std::int64_t gap = now.milliseconds - before.milliseconds;
  const std::int64_t step = (now.systemSecond - before.systemSecond) * 1000 - gap;
  if (step >= kStepMilliseconds || step <= -kStepMilliseconds)
    addOfProcess(library, EventType::ClockStepped, step / 1000);
  if (gap >= kStepMilliseconds) addOfProcess(library, EventType::HostStoodStill, gap / 1000);
}

}  // namespace quarnex
