// A fingerprint of all state that determines the engine's future behaviour, to compare two moments.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "engine/records/library.h"
#include "recording/format/service_model.h"

namespace quarnex::recording {

/// State of the links with these indexes and of the library itself. Deadlines are absolute or, if `now` is
/// given, the seconds left; all passed deadlines are then equal.
std::string stateOf(Library& library, ServiceModel& model, std::span<const std::int16_t> links,
                    std::optional<Instant> now);

/// Only the state that decides each link's next transition, without contents and counts of its texts.
std::string controlStateOf(Library& library, ServiceModel& model, std::span<const std::int16_t> links,
                           Instant now);

}  // namespace quarnex::recording
