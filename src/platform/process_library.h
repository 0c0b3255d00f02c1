// The process's own library on this system's adapter, composed on first use.
#pragma once

namespace quarnex {

struct Library;

Library& processLibrary();

}  // namespace quarnex
