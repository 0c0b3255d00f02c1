// What the process needs before anything else: its three standard descriptors, room for links, no death by
// pipe.
#pragma once

namespace quarnex::tool {

/// Opens /dev/null in place of a standard descriptor that the caller has closed (a socket would take its
/// number and receive our output), ignores SIGPIPE and SIGXFSZ and raises the soft limit of descriptors to
/// the hard one.
void prepareProcess();

}  // namespace quarnex::tool
