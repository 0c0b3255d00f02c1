// HandleAvanzato: the tick's step of a connected link: receive, supervise, answer or advance.
#pragma once

#include "engine/records/library.h"

namespace quarnex {

/// One tick of a connected link, in either role. Never fails: what its steps throw is traced once at the end.
void Handler_ADV(Library& library, ConnectionRecord& record);

}  // namespace quarnex
