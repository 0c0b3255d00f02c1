// Prepares the process for many links (standard descriptors, ignored signals, descriptor limit) and for the
// terminal's encoding, and catches Ctrl-C, SIGTERM and SIGHUP.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quarnex::tool {

/// Opens /dev/null in place of a standard descriptor that the caller has closed, because a socket would take
/// its number and receive our output; in place of standard output for reading, so that every command reports
/// that it cannot write. Ignores SIGPIPE and SIGXFSZ. Raises the descriptor limit to the hard
/// limit. Takes the encoding of characters from the environment (LC_ALL, LC_CTYPE, LANG).
void prepareProcess();

/// The arguments behind the program's name; in UTF-8 on Windows, where `argv` lacks characters outside the
/// code page.
std::vector<std::string> argumentsOf(int argc, char** argv);

/// Catches SIGINT, SIGTERM and, unless the caller ignores it as nohup does, SIGHUP. The second signal ends
/// the process at once with 128 + its number, the status that shells report for it.
void catchInterruptions();

/// The control sequence that ends the reservation of a terminal's last row and empties that row.
inline constexpr std::string_view kFreeLastRow = "\x1b\x37\x1b[r\x1b[999;1H\x1b[2K\x1b\x38";

/// Makes the second signal write that sequence to standard error before it ends the process, or not.
void freeLastRowAfterSignal(bool on);

/// True after the first signal. The signal interrupts a wait in `turnHost`, or else the next tick ends it.
bool interrupted();

}  // namespace quarnex::tool
