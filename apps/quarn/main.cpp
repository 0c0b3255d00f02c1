// quarn: links with Quarn peers from the command line.
#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>
#include <string>

#include "quarn/call_command.h"
#include "quarn/completion_command.h"
#include "quarn/listen_command.h"
#include "quarn/ports_command.h"
#include "quarn/process_setup.h"
#include "quarn/replay_command.h"
#include "quarn/rpc_command.h"
#include "quarn/shrink_command.h"
#include "quarn/simulate_command.h"

namespace quarnex::tool {
namespace {

constexpr int kNothingDone = 2;

std::string usageError(const CLI::App* app, const CLI::Error& error) {
  std::string command = "quarn";
  for (const CLI::App* parsed : app->get_subcommands()) command += ' ' + parsed->get_name();
  const bool strange = app->get_subcommands().empty() && app->remaining_size() > 0;
  const std::string words =
      strange ? '"' + app->remaining().front() + "\" is no command or option" : error.what();
  return command + ": " + words + "; " + command + " --help tells more\n";
}

int run(int argc, const char* const* argv) {
  CLI::App app{"Keeps TCP links with Quarn peers and exchanges texts with them.", "quarn"};
  int exitStatus = 0;
  app.set_version_flag("--version", "quarn " QUARNEX_VERSION);
  app.failure_message(usageError);
  app.require_subcommand(1);
  app.footer(
      "quarn COMMAND --help tells more. In two terminals:\n"
      "  quarn listen ABC 5\n"
      "  quarn call ABC 5");
  addListenCommand(app, exitStatus);
  addCallCommand(app, exitStatus);
  addRpcCommand(app, exitStatus);
  addPortsCommand(app, exitStatus);
  addReplayCommand(app, exitStatus);
  addShrinkCommand(app, exitStatus);
  addSimulateCommand(app, exitStatus);
  addCompletionCommand(app, exitStatus);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    exitStatus = app.exit(error) == 0 ? 0 : kNothingDone;
  }
  if (std::cout.flush()) return exitStatus;
  std::cerr << "quarn: standard output cannot be written\n";
  return kNothingDone;
}

}  // namespace
}  // namespace quarnex::tool

int main(int argc, char** argv) {
  try {
    quarnex::tool::prepareProcess();
    return quarnex::tool::run(argc, argv);
  } catch (const std::exception& exception) {
    std::cerr << "quarn: " << exception.what() << '\n';
    return 1;
  }
}
