// Adds, opens and closes links, and exchanges texts over them: the host's interface (QuarnSocket).
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quarnex/export.h"
#include "quarnex/failure.h"
#include "quarnex/int16.h"
#include "quarnex/link_event.h"
#include "quarnex/link_snapshot.h"
#include "quarnex/process_snapshot.h"
#include "quarnex/receipts.h"
#include "quarnex/times_and_limits.h"

namespace quarnex {

struct Library;

/// The host's interface. A host creates one instance, registers its links with `Add`, opens those over TCP
/// with `Apri`, sends with `Invia`, and polls; nothing ever calls the host back. All instances of a process
/// share the same links, log and settings. Everything happens on the host's thread, while it turns
/// `HostLoop`: all calls must come from one thread (asserted in debug builds).
///
/// Texts are byte strings: one byte is one character of code 0 to 255. A link index is valid from 1 to the
/// number of links added; every method that takes one does nothing for an invalid index and returns "" or,
/// where stated, another value. A number of more than 16 bits throws `Failure` 6 before the method begins.
/// Any method may throw `Failure` 7 if memory runs out; queues and links then keep their contents.
///
/// Order of use: create, `Init`, perhaps `AttivaLog`, `Add` for each link, `Apri` for each link over TCP;
/// then poll `MessaggioArrivato` and `GetMessaggioArrivato` while the loop turns; at the end `Uscita`, and
/// turn the loop until `ProntoPerUscire` returns -1.
///
/// Example:
///
///     quarnex::QuarnSocket quarn;
///     quarnex::HostLoop loop;
///     quarn.Init("/var/log/myhost/");
///     const auto link = quarn.Add("MIRTAN", 5, true, true);
///     quarn.Apri(link);
///     quarn.Invia(link, "HELLO");      // after Apri: opening a link empties its queues
///     for (;;) {
///       loop.turn(std::chrono::milliseconds(200));
///       while (quarn.MessaggioArrivato(link)) handle(quarn.GetMessaggioArrivato(link));
///     }
class QUARNEX_API QuarnSocket {
 public:
  /// An instance on the process's own library, with real sockets, timer, clock and files. Throws `Failure`
  /// 10024 if no descriptors are left for the loop, which the first call in a process creates.
  QuarnSocket();
  /// An instance on `library`, which outlives it; for simulations and tests.
  explicit QuarnSocket(Library& library);

  /// Registers a link with the peer of type `Tipo` and identifier `IdQUARN` (any 16-bit value) and returns
  /// its index, from 1 upwards. `ConnessioneClient`: true = this side calls 127.0.0.1, false = it listens on
  /// all local addresses. `UsaTcp` false: texts are delivered inside the process to the first other link of
  /// the same type and identifier. Over TCP, type and identifier determine the port (`PortaPerTipo`), and
  /// only identifiers from 0 to `kIdentifierMax` can exchange texts. A link without a port is registered, but
  /// each of its attempts to connect fails. Returns 0 and registers nothing if `kLinksMax` links exist or
  /// memory runs out. Links are never removed.
  std::int16_t Add(std::string_view Tipo, Int16 IdQUARN, bool ConnessioneClient, bool UsaTcp);

  /// Takes out the oldest received item: a text of the peer, or an event report (see `reportWaits` and
  /// `parseEventReport`). "" if there is none or the index is invalid.
  std::string GetMessaggioArrivato(Int16 IdxQuarn);

  /// -1 if no link over TCP is in service any more, otherwise 0.
  std::int16_t ProntoPerUscire();

  /// Queues `s` for the peer; a batch carries up to `kTextsPerBatchMax` queued texts. Ignores "", and every
  /// text after `Uscita`. "VUOTABUFFER" is not queued: it empties the link's outbound and inbound queues. A
  /// queue that holds `kQueueCapacityMax` texts drops its oldest text for each new one. Every activation of
  /// the link (`Apri` and each reconnection) empties its queues. docs/texts.md describes which texts arrive
  /// unchanged.
  void Invia(Int16 IdxQuarn, std::string_view s);

  /// Opens a link over TCP: empties its queues and listens or calls after `kActivationSeconds`, and again
  /// after each failure, without end. On a connected link it only clears the failure counts and reports and
  /// re-arms the keep-alive. After `Uscita` it opens the link once more, but `Invia` still accepts nothing,
  /// and the first failure takes the link out of service.
  void Apri(Int16 IdxQuarn);

  /// Closes a link: at once if it is not connected; otherwise asks the peer to close, and the link is closed
  /// when the peer has hung up. The library does not limit that wait.
  void Chiudi(Int16 IdxQuarn);

  /// Sets the beginning of the log file's name (for example a directory with its separator), and the number
  /// of failures in a row that a link tolerates before report 109 to `kFailuresTolerated`.
  void Init(std::string_view s);

  /// Closes all links over TCP like `Chiudi`, and for good: `Invia` accepts nothing more.
  void Uscita();

  /// True if an item waits in the link's inbound queue. Removes nothing.
  bool MessaggioArrivato(Int16 IdxQuarn);

  /// Takes out the oldest captured trace text; "" if there is none.
  std::string GetDebug(Int16 IdxQuarn);

  /// Starts or stops capturing the link's trace texts (initially stopped). Captured texts stay until the host
  /// takes them; while 5,000 wait (`kQueueCapacityMax`), each new one drops the oldest.
  void AttivaDebug(Int16 IdxQuarn);
  void DisattivaDebug(Int16 IdxQuarn);

  /// Creates and opens the log file: the prefix of `Init`, "LOGQUARNNET", local date and time
  /// ("ddmmyyyyhhmmss"), ".txt". Each line is the index of the link in three digits or more, a blank, the
  /// local time "hh:mm:ss", a blank, the trace text, CR and LF: "001 09:30:05 ADD 1 : 5 ABC ABC". Empties an
  /// existing file of that name, but never writes through a symbolic link, nor to a pipe or a device (75).
  /// Two logs with one prefix that are opened in the same second have the same name, so give each process a
  /// prefix of its own. Does nothing if a log is open. Throws `Failure` 76 (path not
  /// found), 70 (permission denied), 61 (disk full), 52 (bad file name) or 75 (other) if the file cannot be
  /// created.
  void AttivaLog();
  /// Writes the remaining lines, for at most 2 seconds, and closes the log file. The index is not used.
  void DisattivaLog(Int16 IdxQuarn);

  /// True if the link is connected, or does not use TCP, or the index is invalid.
  bool Connesso(Int16 IdxQuarn);

  /// Describes the state of the link and the reason why it is down. Changes nothing. Returns a snapshot with
  /// `index` 0 for an invalid index. Not part of the component class.
  LinkSnapshot snapshot(Int16 IdxQuarn) const;

  /// True if the item that `GetMessaggioArrivato` takes next is an event report of the library. False if it
  /// is a text of the peer, even one in the form of a report, and if no item waits or the index is invalid.
  /// Changes nothing. Not part of the component class.
  ///
  ///     while (quarn.MessaggioArrivato(link)) {
  ///       const bool isReport = quarn.reportWaits(link);
  ///       const std::string item = quarn.GetMessaggioArrivato(link);
  ///       if (isReport) handleReport(item); else handleText(item);
  ///     }
  bool reportWaits(Int16 IdxQuarn) const;

  /// The indexes of the links in which received items wait, those that have waited longest first. Takes time
  /// for these links only, however many links there are. A link is returned again until the host has taken
  /// all its items. Not part of the component class.
  std::vector<std::int16_t> linksWithNews();

  /// Sets the memory that peers can make the links hold. Throws `Failure` 5 after the first `Add`, and for
  /// limits that leave no room for a whole frame of the permitted length. Not part of the component class.
  void setMemoryLimits(const MemoryLimits& limits);

  /// Sets how the log files that `AttivaLog` creates from now on are kept. Throws `Failure` 5 for a negative
  /// `filesMax`. Not part of the component class.
  void setLogSettings(const LogSettings& settings);

  /// Waits until all log lines so far are in the file or dropped, at most `maxWait`. Returns what is missing;
  /// if the disk does not answer in time, the lines that wait count as missing. Not part of the component
  /// class.
  FileLosses flushLog(std::chrono::milliseconds maxWait);

  /// What the library holds and has lost in the whole process. Changes nothing. Not part of the component
  /// class.
  ProcessSnapshot processSnapshot() const;

  /// Lets a server link listen on one address of this machine, such as "127.0.0.1", instead of on all of
  /// them. Takes effect when the link listens next, so call it between `Add` and `Apri`. If the machine does
  /// not have the address, listening fails with 10049 and is tried again. Throws `Failure` 5 if `dotted` is
  /// not four numbers with dots, and if the link is not a server link over TCP. Not part of the component
  /// class.
  void listenOn(Int16 IdxQuarn, std::string_view dotted);

  /// Lets only these addresses call a server link; everybody, as initially, if there are none. Other callers
  /// are disconnected at once: the link does not notice them, so they never replace the peer.
  /// `LinkSnapshot::callersRefused` counts them. Affects calls that arrive from now on. Throws `Failure` 5
  /// like `listenOn`. Not part of the component class.
  void allowCallers(Int16 IdxQuarn, const std::vector<std::string>& dotted);

  /// Queues a text like `Invia` and returns its number on this link, which counts all texts of `Invia` and
  /// `send` from 1; or refuses it, with the reason. Each number gets exactly one outcome: see `nextEvent` and
  /// `Receipt`. A text that does not arrive unchanged is refused (`checkText`, `encodeText`). Not part of the
  /// component class, like all methods below; `send` is recorded as `Invia`.
  SendResult send(Int16 link, std::string_view text);
  /// The number of the last text that the link accepted; 0 before the first one and for an invalid index.
  std::uint64_t accepted(Int16 link) const;
  /// All texts up to this number have their outcome. Later ones may have theirs, too: a full queue drops its
  /// oldest text while the batch before it waits. 0 for an invalid index.
  std::uint64_t decidedUpTo(Int16 link) const;
  /// The texts without an outcome, in order: at most three ranges. Empty for an invalid index.
  std::vector<PendingTexts> pending(Int16 link) const;

  /// Starts or stops queueing the events of a link, and from then on those of the whole process. Throws
  /// `Failure` 5 for an invalid index.
  void enableEvents(Int16 link, bool on = true);
  /// Takes the oldest event of all links; none if the queue is empty. Events arise only in `HostLoop::turn`
  /// and in the host's own calls, so drain the queue after each turn: nothing has to wake the host. At most
  /// `kEventsMax` events wait; if more arise, the oldest are replaced by one event `Lost`, and the snapshots
  /// tell the state. No text of a peer can make an event other than `TextsReceived`.
  std::optional<LinkEvent> nextEvent();
  /// Takes up to `most` events into an array, oldest first, and returns their number.
  std::size_t nextEvents(LinkEvent* into, std::size_t most);
  /// Does the same with the elements of a span, an array or a vector.
  template <class Events>
  std::size_t nextEvents(Events&& into) {
    return nextEvents(into.data(), into.size());
  }
  /// Number of events in the queue.
  std::size_t eventsWaiting() const;

  /// Closes a link without loss: waits until every text has its outcome, at most `within` (0 = not at all),
  /// allows the peer's host one second to take the last ones, then closes the link, and hangs up if the peer
  /// has not done so in 5 seconds (after a timeout in 1 second). What is left then gets the cause `Timeout`.
  /// `send` refuses texts meanwhile, and the link does not come up again. The event `Drained` tells the
  /// outcome, then `Closed` follows. A second call changes the limit. It does not turn the loop: each turn
  /// and each `nextEvent` go on with it. Throws `Failure` 5 for an invalid index and a link without TCP.
  void drainAndClose(Int16 link, std::chrono::milliseconds within);
  /// Does the same for all links, then calls `Uscita`. No link is closed before all have their outcomes. An
  /// event `Drained` of link 0 follows the last link's.
  void drainAndLeave(std::chrono::milliseconds within);

  /// The latest times without connection of a link, at most `kOutagesMax`, oldest first; the last one may be
  /// under way. Empty for an invalid index.
  std::vector<LinkOutage> outages(Int16 link) const;

  /// The library behind this instance.
  Library& library() const { return *library_; }

 private:
  Library* library_;
  std::shared_ptr<void> use_;  // a share of the library's count of instances
};

}  // namespace quarnex
