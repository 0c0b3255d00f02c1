// Runs one link for quarn listen and quarn call: sends lines, writes received texts, and ends with a status.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "quarn/console.h"
#include "quarn/service_notifier.h"
#include "quarn/session/ending.h"
#include "quarn/session/link_news.h"
#include "quarn/session/outgoing_lines.h"
#include "quarn/session/received_texts.h"
#include "quarn/session/session_options.h"
#include "quarn/streams.h"
#include "quarnex/host_loop.h"
#include "quarnex/quarn_socket.h"

namespace quarnex::tool {

/// At its end, waits until the peer has acknowledged all lines, closes the link and waits for the close. A
/// session ends at the end of the input, after a signal, or as `SessionOptions` demands.
class LinkSession {
 public:
  explicit LinkSession(const SessionOptions& options) : options_(options) {}

  /// Opens the link. Throws `Failure` if the log cannot be created.
  void open();
  /// Runs to the end. Returns the exit status.
  int run();

 private:
  enum class SessionStage { Open, Draining, Closing, Ended };

  void printHints();
  void step();
  void takeEvents(const LinkSnapshot& link);
  void takeItems();
  void limitUnwritten(const LinkSnapshot& link);
  void checkStreams();
  void checkRecording();
  void advanceStage(const LinkSnapshot& link);
  bool mustEnd(const LinkSnapshot& link);
  bool timeIsOver() const;
  void drain();
  void close();
  void end();
  void enter(SessionStage stage);
  bool hopeless() const;
  std::chrono::steady_clock::time_point patienceEnd() const;
  std::string progress(const LinkSnapshot& link) const;
  int conclude();
  void finishOutput();
  void fillResult();
  void writeEnd(EndCause cause);
  std::string summary(EndCause cause) const;

  const SessionOptions& options_;
  QuarnSocket quarn_;
  HostLoop loop_;
  Console console_{options_.quiet, options_.iso};
  LineReader input_{kStandardInput, std::size_t{1024} * 1024};  // longer lines fit into no message
  OutputWriter output_{kStandardOutput};
  OutgoingLines lines_{input_, console_, options_};
  ReceivedTexts texts_{output_, console_, options_};
  LinkNews news_{console_, options_.raw};
  ServiceNotifier service_;
  std::int16_t index_ = 0;

  SessionStage stage_ = SessionStage::Open;
  std::chrono::steady_clock::time_point began_, stageBegan_, lastAcknowledgement_;
  SessionResult result_;
  bool recordingFailed_ = false;
  bool paused_ = false;  // the link is closed until standard output is read again
};

}  // namespace quarnex::tool
