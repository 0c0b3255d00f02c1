// What the further course of an engine depends on, written down, so that two moments can be compared.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "engine/records/library.h"
#include "recording/format/plain_model.h"

namespace quarnex::recording {

/// Of links with these indexes, and of the library as a whole. Deadlines are written as they are, or as
/// seconds from `now` on, where all that have passed are alike.
std::string stateOf(Library& library, PlainModel& model, std::span<const std::int16_t> links,
                    std::optional<Instant> now);

/// Only what decides which way a link goes next, not what its texts say or how many wait.
std::string controlStateOf(Library& library, PlainModel& model, std::span<const std::int16_t> links,
                           Instant now);

}  // namespace quarnex::recording
