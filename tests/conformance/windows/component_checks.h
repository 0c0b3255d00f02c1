// Checks what the conversations do not reach: type library, threads, handles and the registry.
#pragma once

namespace quarnex::test {

/// Prints a line for each check, and returns whether all are right.
bool checkClasses();

}  // namespace quarnex::test
