// quarn: keeps links with Quarn peers from the command line.
#include <exception>
#include <iostream>
#include <optional>

#include "quarn/commands.h"
#include "quarn/printable.h"
#include "quarn/process_setup.h"
#include "quarn/streams.h"

namespace quarnex::tool {

const Command& program() {
  static const Command itself{
      .name = "quarn",
      .summary = "Keeps TCP links with Quarn peers and exchanges texts with them.",
      .details = {"See quarn COMMAND --help for the options and further exit statuses of a command."},
      .statuses = {{kNotStarted, "the command line is invalid, or the command could not start"},
                   {kOutputNotWritten, "standard output could not be written"}},
      .examples = {{"quarn listen ABC 5", "in one terminal, the server host"},
                   {"quarn call ABC 5", "in another one, the client host"}},
      .arguments = {},
      .run = {}};
  return itself;
}

const std::vector<Command>& commands() {
  static const std::vector<Command> all {
    listenCommand(), callCommand(), rpcCommand(), portsCommand(), replayCommand(),
#if QUARNEX_WITH_SIMULATION
        shrinkCommand(), simulateCommand(),
#endif
        completionCommand(), manualCommand()
  };
  return all;
}

}  // namespace quarnex::tool

int main(int argc, char** argv) {
  using namespace quarnex::tool;
  prepareProcess();
  const PrintableStream errors(std::cerr);
  std::optional<PrintableStream> output;
  if (isTerminal(kStandardOutput)) output.emplace(std::cout);
  try {
    const int exitStatus = runCommandLine(program(), commands(), argumentsOf(argc, argv));
    if (std::cout.flush()) return exitStatus;
    std::cerr << "quarn: standard output cannot be written\n";
    return kOutputNotWritten;
  } catch (const std::exception& exception) {
    std::cerr << "quarn: " << exception.what() << '\n';
    return 1;
  }
}
