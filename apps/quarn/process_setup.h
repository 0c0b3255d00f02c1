// Prepares the process for many links (standard descriptors, ignored signals, descriptor limit) and for the
// terminal's encoding, and catches Ctrl-C, SIGTERM and SIGHUP.
#pragma once

namespace quarnex::tool {

/// Opens /dev/null in place of a standard descriptor that the caller has closed, because a socket would take
/// its number and receive our output. Ignores SIGPIPE and SIGXFSZ. Raises the descriptor limit to the hard
/// limit. Takes the encoding of characters from the environment (LC_ALL, LC_CTYPE, LANG).
void prepareProcess();

/// Catches SIGINT, SIGTERM and, unless the caller ignores it as nohup does, SIGHUP. The second signal ends
/// the process at once with 128 + its number, the status that shells report for it.
void catchInterruptions();

/// True after the first signal. The signal interrupts a wait in `turnHost`, or else the next tick ends it.
bool interrupted();

}  // namespace quarnex::tool
