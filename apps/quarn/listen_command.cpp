#include "quarn/listen_command.h"

#include "quarn/session_command.h"

namespace quarnex::tool {

void addListenCommand(CLI::App& app, int& exitStatus) {
  CLI::App& command = *app.add_subcommand("listen", "keep a link that its peer calls");
  defineSession(command, false, exitStatus);
  command.footer(
      "Lines of standard input go to the peer, its texts to standard output. At the end of the input the "
      "link is\n"
      "closed when the peer has acknowledged everything; so it is on Ctrl-C, and at once on a second one. "
      "Exit\n"
      "status 0: all acknowledged and closed; 1: not so; 2: it could not begin.\n\n"
      "Examples:\n"
      "  quarn listen MIRTAN 5                          wait for a MIRTAN peer on port 20308 and talk to it\n"
      "  quarn listen ABC 5 >> received.txt             port 20105; collect what comes, until Ctrl-C\n"
      "  tail -f out.txt | quarn listen ABC 5 --trace   send a growing file, and see every frame\n"
      "  quarn listen TOLV 1 --log /tmp/tolv-           keep a log in /tmp/tolv-LOGQUARNNET<date><time>.txt\n"
      "  quarn listen TOLV 1 --record tolv.jsonl        record everything; quarn replay shows it again");
}

}  // namespace quarnex::tool
