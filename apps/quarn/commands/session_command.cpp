// Exchanges the lines of the standard streams with a peer over one link (quarn listen, quarn call).
#include <iostream>
#include <memory>

#include "quarn/commands.h"
#include "quarn/printable.h"
#include "quarn/session/link_session.h"
#include "quarn/shared_arguments.h"
#include "quarnex/times_and_limits.h"

namespace quarnex::tool {
namespace {

constexpr int kWaitSecondsMax = 24 * 60 * 60;
constexpr std::int32_t kInvalidCall = 5;  // number of a failure

int runSession(const SessionOptions& options) {
  const LinkPort port = portOfLink(options.type, options.identifier);
  if (port.port == 0) {
    std::cerr << "quarn: the link has no port: " << port.problem << '\n';
    return kNotStarted;
  }
  const std::string warning = identifierWarning(options.identifier);
  if (!warning.empty()) {
    std::cerr << "quarn: " << warning << '\n';
    return kNotStarted;
  }
  if (!beginRecording(options.recording)) return kNotStarted;
  LinkSession session(options);
  try {
    session.open();
  } catch (const Failure& failure) {
    if (failure.number() == kInvalidCall) {
      std::cerr << "quarn: " << printable(failure.what()) << '\n';
      return kNotStarted;
    }
    std::cerr << "quarn: cannot create a log with the prefix \"" << printable(options.logPrefix.value_or(""))
              << "\": " << failure.what() << " (" << failure.number()
              << "); give an existing directory that you can write to, ending in /\n";
    return kNotStarted;
  }
  return session.run() ? 0 : 1;
}

// The arguments and the action of a session, which listen and call share.
Command sessionCommand(const std::shared_ptr<SessionOptions>& options) {
  Argument type = typeArgument(options->type), identifier = identifierArgument(options->identifier);
  type.required = identifier.required = true;
  return {.name = options->client ? "call" : "listen",
          .summary = "",
          .details =
              {"Sends each line of standard input to the peer and prints the texts of the peer on standard "
               "output. At the end of the input, or on Ctrl-C, it waits until the peer has acknowledged "
               "everything and closes the link. A second Ctrl-C ends it at once.",
               "On a terminal and in messages, control characters and invalid bytes of a text appear as "
               "\\x1B. In a pipe or a file, standard output has each text byte for byte, and a line feed."},
          .statuses =
              {{0, "the peer acknowledged everything and the link closed"},
               {1,
                "texts were not acknowledged, the link did not close, or output, lines of the log or of the "
                "recording could not be written"},
               {2, "the session could not begin"}},
          .examples = {},
          .arguments = {type,
                        identifier,
                        {.name = "--wait",
                         .placeholder = "SECONDS",
                         .help = "longest wait at the end for acknowledgements, the close and the output",
                         .store = storeIn(options->waitSeconds, 0, kWaitSecondsMax),
                         .defaultValue = std::to_string(options->waitSeconds)},
                        {.name = "--log",
                         .placeholder = "PREFIX",
                         .help = "keep a log; PREFIX begins the name of its file",
                         .store = storeIn(options->logPrefix),
                         .completion = Completion::Files},
                        recordOption(options->recording),
                        {.name = "--trace",
                         .placeholder = "",
                         .help = "print the trace of the link on standard error",
                         .store = setFlag(options->trace)},
                        {.name = "--raw",
                         .placeholder = "",
                         .help = "print reports on standard error also as the library returns them",
                         .store = setFlag(options->raw)}},
          .run = [options] { return runSession(*options); }};
}

}  // namespace

Command listenCommand() {
  const auto options = std::make_shared<SessionOptions>();
  Command command = sessionCommand(options);
  command.arguments.push_back({.name = "--listen-on",
                               .placeholder = "ADDRESS",
                               .help = "listen on this address of the machine only, instead of on all",
                               .store = storeIn(options->listenOn)});
  command.arguments.push_back({.name = "--allow",
                               .placeholder = "ADDRESS",
                               .help = "let only this address call, and those of further --allow options; "
                                       "other callers are disconnected at once",
                               .store = appendTo(options->callers),
                               .repeated = true});
  command.summary = "keep a link whose peer calls";
  command.examples = {
      {"quarn listen MIRTAN 5", "wait for a MIRTAN peer on port 20308 and exchange texts"},
      {"quarn listen ABC 5 >> received.txt", "port 20105; collect received texts until Ctrl-C"},
      {"tail -f out.txt | quarn listen ABC 5 --trace", "send a growing file and print every frame"},
      {"quarn listen TOLV 1 --log /tmp/tolv-", "keep a log in /tmp/tolv-LOGQUARNNET<date><time>.txt"},
      {"quarn listen TOLV 1 --record tolv.jsonl", "record everything, for quarn replay"},
      {"quarn listen TOLV 1 --allow 192.0.2.7", "disconnect every caller but this one"}};
  return command;
}

Command callCommand() {
  const auto options = std::make_shared<SessionOptions>();
  options->client = true;
  Command command = sessionCommand(options);
  command.summary = "keep a link that calls its peer on this machine";
  command.details.emplace_back("The first call is made after " + std::to_string(kActivationSeconds) +
                               " seconds, and another one after each failure, without end.");
  command.examples = {{"quarn call MIRTAN 5", "call 127.0.0.1:20308 and exchange texts"},
                      {"quarn call ABC 5 < texts.txt", "send the lines of a file to port 20105"},
                      {"echo HELLO | quarn call ABC 5 --wait 60", "give a slow peer a minute to acknowledge"},
                      {"quarn call TOLV 1 --raw", "print the library's reports as a host receives them"}};
  return command;
}

}  // namespace quarnex::tool
