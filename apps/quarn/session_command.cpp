#include "quarn/session_command.h"

#include <iostream>
#include <memory>

#include "quarn/link_arguments.h"
#include "quarn/link_port.h"
#include "quarn/record_option.h"

namespace quarnex::tool {
namespace {

constexpr int kWaitSecondsMax = 24 * 60 * 60;

// Exit status: 0 all acknowledged and closed, 1 not so, 2 the session could not begin.
int runSession(const SessionOptions& options) {
  const LinkPort port = portOfLink(options.type, options.identifier);
  if (port.port == 0) {
    std::cerr << "quarn: the link has no port: " << port.whyNone << '\n';
    return 2;
  }
  const std::string whyUseless = identifierWarning(options.identifier);
  if (!whyUseless.empty()) {
    std::cerr << "quarn: " << whyUseless << '\n';
    return 2;
  }
  if (!beginRecording(options.recording)) return 2;
  LinkSession session(options);
  try {
    session.open();
  } catch (const Failure& failure) {
    std::cerr << "quarn: no log can be created with the prefix \"" << options.logPrefix.value_or("")
              << "\": " << failure.what() << " (" << failure.number()
              << "); give a directory that exists and can be written, ending in /\n";
    return 2;
  }
  return session.run() ? 0 : 1;
}

}  // namespace

void defineSession(CLI::App& command, bool client, int& exitStatus) {
  const auto options = std::make_shared<SessionOptions>();
  options->client = client;
  addTypeArgument(command, options->type)->required();
  addIdentifierArgument(command, options->identifier)->required();
  command
      .add_option("--wait", options->waitSeconds,
                  "at the end, patience in seconds for the next acknowledgement and for the close")
      ->type_name("SECONDS")
      ->capture_default_str()
      ->check(CLI::Range(0, kWaitSecondsMax).description(""));
  command.add_option("--log", options->logPrefix, "keep a log; its file name begins with PREFIX")
      ->type_name("PREFIX");
  addRecordOption(command, options->recording);
  command.add_flag("--trace", options->trace, "show the link's trace on standard error");
  command.add_flag("--raw", options->raw, "show reports on standard error also as they are");
  command.callback([options, &exitStatus] { exitStatus = runSession(*options); });
}

}  // namespace quarnex::tool
