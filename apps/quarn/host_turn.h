// One turn of the tool's loop: waits for the links, the input and the outputs together.
#pragma once

#include <chrono>
#include <initializer_list>

#include "quarn/line_reader.h"
#include "quarn/output_buffer.h"
#include "quarnex/host_loop.h"

namespace quarnex::tool {

/// Waits until the links have something to do, `input` (if not null) can be read or an output can take what
/// waits for it, at most `maxWait` (negative = no limit); then reads, writes and turns the links' loop once.
void turnHost(HostLoop& loop, LineReader* input, std::initializer_list<OutputBuffer*> outputs,
              std::chrono::milliseconds maxWait);

}  // namespace quarnex::tool
