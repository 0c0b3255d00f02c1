// Exchanges the lines of the standard streams with a peer over one link (quarn listen, quarn call).
#include <iostream>
#include <memory>
#include <utility>
#include <vector>

#include "quarn/commands.h"
#include "quarn/printable.h"
#include "quarn/session/ending.h"
#include "quarn/session/link_session.h"
#include "quarn/shared_arguments.h"
#include "quarn/streams.h"
#include "quarnex/times_and_limits.h"

namespace quarnex::tool {
namespace {

constexpr int kWaitSecondsMax = 24 * 60 * 60;
constexpr int kTimeoutSecondsMax = 365 * kWaitSecondsMax;
constexpr std::uint64_t kCountMax = 1'000'000'000'000;
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
  if (options.readsInput() && options.count == 0 && standardInputIsNull()) {
    std::cerr << "quarn: standard input is closed or /dev/null, so there is nothing to send; use "
                 "--receive-only to receive without input\n";
    return kNotStarted;
  }
  if (!standardOutputIsWritable()) {
    std::cerr
        << "quarn: standard output is closed, so received texts would be lost; use >/dev/null to drop them\n";
    return statusOf(EndCause::Output);
  }
  return session.run();
}

Argument flagArgument(const char* name, const char* help, bool& flag) {
  return {.name = name, .placeholder = "", .help = help, .store = setFlag(flag)};
}

// The arguments that determine what is sent and when the session ends.
std::vector<Argument> exchangeArguments(SessionOptions& options) {
  return {
      {.name = "--message",
       .placeholder = "TEXT",
       .help = "send TEXT, and the texts of further --message options, instead of standard input",
       .store = appendTo(options.messages),
       .repeated = true},
      flagArgument("--receive-only", "do not read standard input, and do not end at its end",
                   options.receiveOnly),
      {.name = "--count",
       .placeholder = "N",
       .help = "end after N received texts, and not before",
       .store = storeIn(options.count, 1, kCountMax)},
      {.name = "--timeout",
       .placeholder = "SECONDS",
       .help = "end after this time, whatever is missing",
       .store = storeIn(options.timeoutSeconds, 1, kTimeoutSecondsMax)},
      flagArgument("--once", "end at the first failure, or when the peer closes the link", options.once),
      flagArgument("--encode", "send each line in the encoded form, which can hold any bytes",
                   options.encode),
      flagArgument("--decode", "decode received texts, which the peer has sent with --encode",
                   options.decode),
      flagArgument("--resend",
                   "send lines again that were dropped, and those whose fate is unknown: these may arrive "
                   "twice",
                   options.resend),
      flagArgument("--allow-words", "send also lines that are words of the protocol, on which libraries act",
                   options.allowWords),
      {.name = "--wait",
       .placeholder = "SECONDS",
       .help = "longest wait at the end for acknowledgements, the close and the output",
       .store = storeIn(options.waitSeconds, 0, kWaitSecondsMax),
       .defaultValue = std::to_string(options.waitSeconds)}};
}

// The arguments that determine what is printed and kept.
std::vector<Argument> outputArguments(SessionOptions& options) {
  return {
      flagArgument("--json", "write received texts and events on standard output as lines of JSON",
                   options.json),
      flagArgument("--quiet", "print no messages, except the last line if the status is not 0",
                   options.quiet),
      flagArgument("--iso", "print date, time and time zone in front of messages", options.iso),
      {.name = "--log",
       .placeholder = "PREFIX",
       .help = "keep a log; PREFIX begins the name of its file",
       .store = storeIn(options.logPrefix),
       .completion = Completion::Files},
      recordOption(options.recording),
      flagArgument("--trace", "print the trace of the link on standard error", options.trace),
      flagArgument("--raw", "print reports on standard error also as the library returns them", options.raw)};
}

// The arguments and the action of a session, which listen and call share.
Command sessionCommand(const std::shared_ptr<SessionOptions>& options) {
  std::vector<Argument> arguments{typeArgument(options->type), identifierArgument(options->identifier)};
  for (Argument& operand : arguments) operand.required = true;
  for (auto* more : {&exchangeArguments, &outputArguments})
    for (Argument& argument : more(*options)) arguments.push_back(std::move(argument));
  return {
      .name = options->client ? "call" : "listen",
      .summary = "",
      .details =
          {"Sends each line of standard input to the peer and prints the texts of the peer on standard "
           "output. At the end of the input, or on Ctrl-C, SIGTERM or SIGHUP, it waits until the peer has "
           "acknowledged everything and closes the link. A second signal ends it at once.",
           "On a terminal and in messages, control characters and invalid bytes of a text appear as "
           "\\x1B. In a pipe or a file, standard output has each text byte for byte, and a line feed.",
           "With --json, each line of standard output is a JSON object with a \"type\": \"text\", an "
           "event, or at the end \"end\" with the exit status. A text that is not UTF-8 has one character "
           "of code 0 to 255 for each byte, and the member \"encoding\":\"bytes\"."},
      .statuses = sessionStatuses(),
      .examples = {},
      .arguments = std::move(arguments),
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
      {"quarn listen ABC 5 --receive-only >> received.txt",
       "port 20105; collect received texts until Ctrl-C"},
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
                      {"quarn call ABC 5 --message ASK --count 1 --timeout 60", "ask and print the answer"},
                      {"quarn call TOLV 1 --raw", "print the library's reports as a host receives them"}};
  return command;
}

}  // namespace quarnex::tool
