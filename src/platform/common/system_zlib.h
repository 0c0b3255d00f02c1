// Finds the functions of the system's zlib, which is loaded when it is needed first.
#pragma once

namespace quarnex {

using SystemFunction = void (*)();

/// The function with this name, which exists in every version of zlib 1. Throws `Failure` 53 if the system
/// has no zlib.
SystemFunction zlibFunction(const char* name);

}  // namespace quarnex
