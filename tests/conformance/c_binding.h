// Reaches the library through the C interface, for the conversations.
#pragma once

#include <memory>

#include "conformance/conversation.h"

namespace quarnex::test {

std::unique_ptr<Binding> makeCBinding();

}  // namespace quarnex::test
