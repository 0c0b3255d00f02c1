// Converts the parameters of calls by dispatch, as Windows converts variants.
#pragma once

#include "host/method_table.h"
#include "quarnex/component.h"

namespace quarnex {

/// The parameter as a value of that kind. Failure 13 if it cannot be one, 6 if a number does not fit.
Value converted(const ComponentValue& parameter, ValueKind kind);

ComponentValue componentValue(Value result);

}  // namespace quarnex
