// Describes --record FILE and begins the recording of everything that happens to the process's links.
#pragma once

#include <optional>
#include <string>

#include "quarn/command.h"

namespace quarnex::tool {

Argument recordOption(std::optional<std::string>& file);

/// Begins the recording, if one is wanted; before the first `QuarnSocket` and `HostLoop`. False if it cannot
/// begin: standard error then says why.
[[nodiscard]] bool beginRecording(const std::optional<std::string>& file);

/// What is wrong with that recording so far, in words; "" if nothing is known to be.
std::string recordingFlaw();

}  // namespace quarnex::tool
