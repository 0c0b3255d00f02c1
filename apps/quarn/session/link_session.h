// Runs one link for quarn listen and quarn call: sends the lines of standard input, prints received texts.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "quarn/console.h"
#include "quarn/session/outgoing_lines.h"
#include "quarn/session/report_words.h"
#include "quarn/streams.h"
#include "quarnex/event_report.h"
#include "quarnex/host_loop.h"
#include "quarnex/quarn_socket.h"

namespace quarnex::tool {

struct SessionOptions {
  std::string type;
  std::int16_t identifier = 0;
  std::optional<std::string> listenOn;   ///< local address to listen on; none = all
  std::vector<std::string> callers;      ///< addresses that may call; none = everybody
  bool client = false;                   ///< this side calls; otherwise it listens
  int waitSeconds = 30;                  ///< longest wait for an acknowledgement or the close at the end
  std::optional<std::string> logPrefix;  ///< start of the name of a log file; none = no log
  std::optional<std::string> recording;  ///< file for a recording; none = no recording
  bool trace = false;                    ///< print the link's trace
  bool raw = false;                      ///< print reports also as the library returns them
};

/// At the end of the input, or after Ctrl-C, waits until the peer has acknowledged all lines, closes the link
/// and waits for the close.
class LinkSession {
 public:
  explicit LinkSession(const SessionOptions& options) : options_(options) {}

  /// Opens the link. Throws `Failure` if the log cannot be created.
  void open();
  /// Runs to the end. Returns true if every line was acknowledged, the link closed and no stream failed.
  bool run();

 private:
  enum class SessionStage { Open, Draining, Closing, Ended };

  void step();
  void takeItems(const LinkSnapshot& link);
  void takeReport(const std::string& item, const LinkSnapshot& link);
  void takeText(const std::string& text);
  void printReport(const EventReport& report, const LinkSnapshot& link);
  void takeTraces(const LinkSnapshot& link);
  void printState(const LinkSnapshot& link);
  bool printedLately(const LinkSnapshot& link);
  void checkStreams();
  void checkRecording();
  void flushStreams();
  void advanceStage();
  void drain();
  void close();
  void end();
  void enter(SessionStage stage);
  std::chrono::steady_clock::time_point patienceEnd() const;
  std::string progress(const LinkSnapshot& link) const;
  std::string summary() const;

  const SessionOptions& options_;
  QuarnSocket quarn_;
  HostLoop loop_;
  Console console_;
  LineReader input_{kStandardInput, std::size_t{1024} * 1024};  // longer lines fit into no message
  OutputWriter output_{kStandardOutput};
  OutgoingLines lines_{input_, console_};
  std::int16_t index_ = 0;

  SessionStage stage_ = SessionStage::Open;
  std::chrono::steady_clock::time_point stageBegan_, lastAcknowledgement_;
  bool closed_ = false;
  bool streamFailed_ = false;
  bool recordingFailed_ = false;
  bool queueFilled_ = false;
  bool connected_ = false;  // according to the reports
  std::uint64_t received_ = 0;
  LinkPhase phaseSeen_ = LinkPhase::Closed;  // phase and deadline at the last `printState`
  std::optional<std::int64_t> deadlineSeen_;
  std::set<Outage> printed_;  // outages printed since the last connection or reminder
  std::chrono::steady_clock::time_point printedSince_;
};

}  // namespace quarnex::tool
