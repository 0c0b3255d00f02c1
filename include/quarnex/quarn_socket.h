// Adds, opens and closes links, and exchanges texts over them: the host's interface (QuarnSocket).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "quarnex/export.h"
#include "quarnex/failure.h"
#include "quarnex/link_snapshot.h"

namespace quarnex {

struct Library;

/// The component. A host creates one instance, registers its links with `Add`, opens those over TCP with
/// `Apri`, sends with `Invia`, and polls; nothing ever calls the host back. All instances of a process share
/// the same links, log and settings. Everything happens on the host's thread, while it turns `HostLoop`: all
/// calls must come from one thread (asserted in debug builds).
///
/// Texts are byte strings: one byte is one character of code 0 to 255. A link index is valid from 1 to the
/// number of links added; every method that takes one does nothing for an invalid index and returns the value
/// named below.
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
  /// An instance on the process's own library, with real sockets, timer, clock and files.
  QuarnSocket();
  /// An instance on `library`, which outlives it; for simulations and tests.
  explicit QuarnSocket(Library& library) : library_(&library) {}

  /// Registers a link with the peer of type `Tipo` and identifier `IdQUARN` (any 16-bit value) and returns
  /// its index, from 1 upwards. `ConnessioneClient`: true = this side calls 127.0.0.1, false = it listens on
  /// all local addresses. `UsaTcp` false: texts are delivered inside the process to the first other link of
  /// the same type and identifier. Ports: VARDO 20303, PID-TOLV 20304, PID-MIRTAN 20305, PID-TOLV-VIDEO
  /// 20306, TOLV-VIDEO 20307, MIRTAN 20308, TOLV 20309, any other type 20100 + `IdQUARN`. An identifier above
  /// 12667 has no port: the link is registered, the trace says so, and its attempts fail. The 32,768th link,
  /// and one that there is no memory for, is not registered: 0. Links are never removed.
  std::int16_t Add(std::string_view Tipo, std::int16_t IdQUARN, bool ConnessioneClient, bool UsaTcp);

  /// Takes out the oldest received item: a text of the peer, or an event report (see `parseEventReport`). ""
  /// if there is none or the index is invalid.
  std::string GetMessaggioArrivato(std::int16_t IdxQuarn);

  /// -1 when no link over TCP is in service any more, else 0. Never true or false.
  std::int16_t ProntoPerUscire();

  /// Queues `s` for the peer; the next exchange takes it along (up to 20 texts a batch). Nothing happens for
  /// "", for an invalid index and after `Uscita`. "VUOTABUFFER" is not queued: it empties the link's outbound
  /// and inbound queues. A queue holds at most 5000 texts; then the oldest is dropped. Every activation of
  /// the link (`Apri` and each reconnection) drops what is queued. docs/texts.md describes which texts arrive
  /// unchanged.
  void Invia(std::int16_t IdxQuarn, std::string_view s);

  /// Opens a link over TCP: its queues are emptied, and after 10 seconds it listens or calls, and again for
  /// ever after each failure. On a connected link it only clears the failure counts and reports and re-arms
  /// the keep-alive. Never fails.
  void Apri(std::int16_t IdxQuarn);

  /// Closes a link: at once if it is not connected; otherwise its peer is asked to close, and the link is
  /// closed when the peer has. Nothing limits that wait.
  void Chiudi(std::int16_t IdxQuarn);

  /// Sets the text that stands in front of the log file's name (a directory with its separator, say) and the
  /// number of failures that a link tolerates before it is reported as not answering, 3 (0 before the first
  /// `Init`).
  void Init(std::string_view s);

  /// Closes all links over TCP like `Chiudi`, and for good: `Invia` accepts nothing more.
  void Uscita();

  /// True if an item waits in the link's inbound queue. Nothing is removed.
  bool MessaggioArrivato(std::int16_t IdxQuarn);

  /// Takes out the oldest captured trace text; "" if there is none.
  std::string GetDebug(std::int16_t IdxQuarn);

  /// Switches the capture of the link's trace texts on or off (at first off). What was captured stays until
  /// taken.
  void AttivaDebug(std::int16_t IdxQuarn);
  void DisattivaDebug(std::int16_t IdxQuarn);

  /// Opens the log file: the prefix of `Init`, "LOGQUARNNET", date and time ("ddmmyyyyhhmmss"), ".txt". Does
  /// nothing if one is open. Throws `Failure` 76 (path not found), 70 (permission denied), 61 (disk full), 52
  /// (bad file name) or 75 (other) if it cannot be created.
  void AttivaLog();
  /// Closes the log file; everything written is in it afterwards. The index is not used.
  void DisattivaLog(std::int16_t IdxQuarn);

  /// True if the link is connected, or does not use TCP, or the index is invalid.
  bool Connesso(std::int16_t IdxQuarn);

  /// Beside the 15 methods: how the link stands, and why it is down. Changes nothing. An invalid index gives
  /// a snapshot with `index` 0.
  LinkSnapshot snapshot(std::int16_t IdxQuarn) const;

  /// The library behind this instance.
  Library& library() const { return *library_; }

 private:
  Library* library_;
};

}  // namespace quarnex
