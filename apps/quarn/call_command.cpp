#include "quarn/call_command.h"

#include "quarn/session_command.h"

namespace quarnex::tool {

void addCallCommand(CLI::App& app, int& exitStatus) {
  CLI::App& command = *app.add_subcommand("call", "keep a link that calls its peer on this machine");
  defineSession(command, true, exitStatus);
  command.footer(
      "Lines of standard input go to the peer, its texts to standard output. The first call comes after 10 "
      "seconds,\n"
      "others after each failure, for ever. At the end of the input the link is closed when the peer has\n"
      "acknowledged everything; so it is on Ctrl-C, and at once on a second one. Exit status 0: all "
      "acknowledged\n"
      "and closed; 1: not so; 2: it could not begin.\n\n"
      "Examples:\n"
      "  quarn call MIRTAN 5                            call 127.0.0.1:20308 and talk to the peer\n"
      "  quarn call ABC 5 < texts.txt                   send the lines of a file to port 20105\n"
      "  echo HELLO | quarn call ABC 5 --wait 60        be patient for a minute with a slow peer\n"
      "  quarn call TOLV 1 --raw                        show the library's reports as a host gets them");
}

}  // namespace quarnex::tool
