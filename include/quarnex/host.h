// The host's interface in English: hosts and links as handles on a `QuarnSocket`.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quarnex/host_loop.h"
#include "quarnex/link_event.h"
#include "quarnex/link_snapshot.h"
#include "quarnex/quarn_socket.h"

namespace quarnex {

/// One link of a host. A handle without state of its own: copies refer to the same link, and the methods of
/// `QuarnSocket` can be mixed with it. They state the limits and failures of each call.
class Link {
 public:
  /// The link of `quarn` with this index. If there is no such link, calls have no effect.
  Link(const QuarnSocket& quarn, std::int16_t index) : quarn_(quarn), index_(index) {}

  /// The index that `QuarnSocket` takes; 0 if `Host` could not add the link.
  std::int16_t index() const { return index_; }

  /// Opens the link: it listens or calls after `kActivationSeconds` and after each failure (`Apri`).
  void open() { quarn_.Apri(index_); }

  /// Closes the link, and drops the texts that have no outcome yet (`Chiudi`).
  void close() { quarn_.Chiudi(index_); }

  /// Queues a text for the peer and returns its number, or the reason why it is refused
  /// (`QuarnSocket::send`; `Invia` is the one without a number). Send while the link is connected: each
  /// attempt to connect empties the queue.
  SendResult send(std::string_view text) { return quarn_.send(index_, text); }

  /// Closes the link once all its texts have an outcome, at most `within` later
  /// (`QuarnSocket::drainAndClose`; `Chiudi` does not wait).
  void drainAndClose(std::chrono::milliseconds within) { quarn_.drainAndClose(index_, within); }

  /// Starts or stops queueing the link's events for `Host::nextEvent` (`QuarnSocket::enableEvents`).
  void enableEvents(bool on = true) { quarn_.enableEvents(index_, on); }

  /// The oldest received text, or nothing if none waits (`GetMessaggioArrivato`). Discards the reports before
  /// it. A host that needs the reports calls `GetMessaggioArrivato` instead.
  std::optional<std::string> receive() {
    for (;;) {
      const bool isReport = quarn_.reportWaits(index_);
      std::string item = quarn_.GetMessaggioArrivato(index_);
      if (item.empty()) return std::nullopt;
      if (!isReport) return item;
    }
  }

  /// True while the connection exists, and for a link without TCP (`Connesso`).
  bool connected() { return quarn_.Connesso(index_); }

  /// The state of the link, and the reason why it is down (`QuarnSocket::snapshot`).
  LinkSnapshot snapshot() const { return quarn_.snapshot(index_); }

  friend bool operator==(const Link& one, const Link& other) {
    return one.index_ == other.index_ && &one.quarn_.library() == &other.quarn_.library();
  }
  friend bool operator!=(const Link& one, const Link& other) { return !(one == other); }

 private:
  QuarnSocket quarn_;
  std::int16_t index_;
};

/// The links of a process and the loop that runs them. A handle without state of its own: all hosts of a
/// process share the same links. All calls must come from one thread.
///
/// Example:
///
///     quarnex::Host host;
///     quarnex::Link link = host.call("METEO", 7);
///     link.open();
///     for (;;) {
///       host.turn(std::chrono::milliseconds(200));
///       for (quarnex::Link& each : host.linksWithNews())
///         while (const auto text = each.receive()) handle(*text);
///     }
class Host {
 public:
  /// The process's own links. Throws `Failure` 10024 if no descriptors are left.
  Host() = default;
  /// The links of `quarn`, those of a test for example.
  explicit Host(const QuarnSocket& quarn) : quarn_(quarn) {}

  /// Sets the beginning of the log file's name, and the number of failures before the peer counts as not
  /// answering to `kFailuresTolerated` (`Init`).
  void initialize(std::string_view logPrefix) { quarn_.Init(logPrefix); }

  /// Adds a link that listens for its peer on all local addresses (`Add`, `ConnessioneClient` false, `UsaTcp`
  /// true). Type and identifier determine the port.
  Link listen(std::string_view type, Int16 identifier) { return add(type, identifier, false, true); }

  /// Adds a link that calls its peer on 127.0.0.1 (`Add`, `ConnessioneClient` true, `UsaTcp` true).
  Link call(std::string_view type, Int16 identifier) { return add(type, identifier, true, true); }

  /// Adds one end of a link inside the process. The other end is the next link of the same type and
  /// identifier (`Add`, `UsaTcp` false).
  Link local(std::string_view type, Int16 identifier) { return add(type, identifier, false, false); }

  /// The link that `QuarnSocket::Add` returned this index for.
  Link link(std::int16_t index) const { return {quarn_, index}; }

  /// Waits for at most `maxWait` and runs everything that is due (`HostLoop::turn`).
  void turn(std::chrono::milliseconds maxWait) { HostLoop().turn(maxWait); }

  /// A descriptor that becomes readable when `turn` has work to do, for a loop of the host's own
  /// (`HostLoop::fd`).
#ifndef _WIN32
  int fd() const {
    return HostLoop().fd();
  }
#endif

  /// The links in which received texts or reports wait, those that have waited longest first
  /// (`QuarnSocket::linksWithNews`). Call it after each turn instead of polling every link.
  std::vector<Link> linksWithNews() {
    std::vector<Link> links;
    for (const std::int16_t index : quarn_.linksWithNews()) links.push_back(link(index));
    return links;
  }

  /// The oldest event of the links with `Link::enableEvents`, or nothing (`QuarnSocket::nextEvent`). The 15
  /// methods have reports instead.
  std::optional<LinkEvent> nextEvent() {
    return quarn_.nextEvent();
  }

  /// Closes all links for good once all their texts have an outcome, at most `within` later
  /// (`QuarnSocket::drainAndLeave`; `Uscita` does not wait). Turn the loop until `readyToExit`.
  void leave(std::chrono::milliseconds within) {
    quarn_.drainAndLeave(within);
  }

  /// True if no link over TCP is in service any more (`ProntoPerUscire`).
  bool readyToExit() {
    return quarn_.ProntoPerUscire() != 0;
  }

  /// The 15 methods and everything else that has no name here.
  QuarnSocket& quarn() {
    return quarn_;
  }

 private:
  Link add(std::string_view type, Int16 identifier, bool client, bool tcp) {
    return link(quarn_.Add(type, identifier, client, tcp));
  }

  QuarnSocket quarn_;
};

}  // namespace quarnex
