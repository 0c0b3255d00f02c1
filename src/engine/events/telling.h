// Tells the host what happens to a link and to its texts: events, receipts and outages. None of these
// functions fails or changes the behaviour of a link; without memory an event is missing.
#pragma once

#include <cstdint>
#include <string_view>

#include "engine/records/library.h"
#include "quarnex/link_event.h"

namespace quarnex {

/// The link's ledger, made on first use. Throws only if memory is exhausted.
LinkLedger& ledgerOf(ConnectionRecord& rec);

/// Queues an event that has no details of its own, or those of the link's last failure, if the host reads the
/// events of this link.
void tell(Library& library, ConnectionRecord& rec, EventType type);
void tellFailure(Library& library, ConnectionRecord& rec, EventType type);

/// A new connection takes the place of the one before. Not if that failed: the one before may go on then, and
/// bring its acknowledgements.
void noteNewConnection(Library& library, ConnectionRecord& rec);
/// The link is connected, perhaps to another caller than before.
void tellConnected(Library& library, ConnectionRecord& rec);
/// The connection ends. `staysQueued`: queue and batch go on with the next one.
void tellDisconnected(Library& library, ConnectionRecord& rec, bool staysQueued);
/// The link goes down, or an attempt to connect fails, for the reason `LinkLedger::lastFailure`.
void tellDown(Library& library, ConnectionRecord& rec);
/// The link goes out of service. If its sockets could not be closed, or an event inside a step closes them
/// and the step then goes on to use them, a peer may still reach it. So the fate of its texts stays open
/// until it is opened again.
void noteClosing(Library& library, ConnectionRecord& rec, bool socketsClosed);
/// The link is out of service: its remaining texts are dropped.
void tellClosed(Library& library, ConnectionRecord& rec, bool byHost);

/// The drain of a link is over: the fates of its texts since then.
void tellDrained(Library& library, ConnectionRecord& rec);
/// `drainAndLeave` is over.
void tellLeft(Library& library);

/// Puts a numbered text of the host, or a word of the protocol, into the outbound queue.
void queueText(Library& library, ConnectionRecord& rec, std::string_view text);
void queueWord(Library& library, ConnectionRecord& rec, std::string_view word);
/// Puts an item into the inbound queue.
void queueReceived(Library& library, ConnectionRecord& rec, std::string_view text);
void queueReport(Library& library, ConnectionRecord& rec, std::string_view report);
/// Tells that received texts were dropped before the host took them.
void tellReceivedDropped(Library& library, ConnectionRecord& rec, std::uint64_t texts, ReceiptCause cause);

/// The oldest `texts` texts of the queue of a link with a ledger are the batch now. Bit i of `spoilt` = text
/// i cannot arrive intact.
void notePrepared(ConnectionRecord& rec, std::size_t texts, std::uint32_t spoilt);
/// A data frame leaves; `first` = not a repetition.
void noteDataSent(ConnectionRecord& rec, bool first);
/// The words of a message take effect; call them before that of the record changes.
void noteAcknowledged(Library& library, ConnectionRecord& rec);
void noteQuery(Library& library, ConnectionRecord& rec);
void noteNoData(Library& library, ConnectionRecord& rec);
/// Batch and queue are about to be dropped.
void noteAbandoned(Library& library, ConnectionRecord& rec, ReceiptCause cause);
/// A text of a link without TCP was delivered, or found no peer.
void noteLocal(Library& library, ConnectionRecord& rec, bool delivered);

/// Once a tick: tells when the system's clock was set, and when the loop stood still.
void watchClock(Library& library);

}  // namespace quarnex
