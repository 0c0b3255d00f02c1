// What the process needs before anything else: its three standard descriptors, room for links, no death by
// pipe. Ctrl-C and SIGTERM: the first asks for an orderly end, a second one ends the process at once.
#pragma once

namespace quarnex::tool {

/// Opens /dev/null in place of a standard descriptor that the caller has closed (a socket would take its
/// number and receive our output), ignores SIGPIPE and SIGXFSZ and raises the soft limit of descriptors to
/// the hard one.
void prepareProcess();

constexpr int kInterruptedStatus = 130;

/// Takes over SIGINT and SIGTERM. A second signal exits with `kInterruptedStatus` on the spot.
void catchInterruptions();

/// True after the first signal. A wait that the signal breaks off returns early; otherwise the next tick's
/// turn sees it.
bool interrupted();

}  // namespace quarnex::tool
