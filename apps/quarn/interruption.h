// Ctrl-C and SIGTERM: the first asks for an orderly end, a second one ends the process at once.
#pragma once

namespace quarnex::tool {

constexpr int kInterruptedStatus = 130;

/// Takes over SIGINT and SIGTERM. A second signal exits with `kInterruptedStatus` on the spot.
void catchInterruptions();

/// True after the first signal. A wait that the signal breaks off returns early; otherwise the next tick's
/// turn sees it.
bool interrupted();

}  // namespace quarnex::tool
