// Runs one tick of a connected link: receive, supervise, answer or advance (HandleAvanzato).
#pragma once

#include "engine/records/library.h"

namespace quarnex {

/// One tick of a connected link, in either role. Never fails: traces the last failure of its steps at the
/// end.
void Handler_ADV(Library& library, ConnectionRecord& record);

}  // namespace quarnex
