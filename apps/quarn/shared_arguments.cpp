#include "quarn/shared_arguments.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <iostream>
#include <stdexcept>
#include <utility>

#include "quarn/printable.h"
#include "quarnex/failure.h"
#include "quarnex/flight_recorder.h"
#include "quarnex/ports.h"
#include "quarnex/times_and_limits.h"

namespace quarnex::tool {
namespace {

constexpr std::chrono::milliseconds kDiskPatience{2000};

const std::string kIdentifierRange = "0 to " + std::to_string(kIdentifierMax);

std::int16_t toIdentifier(const std::string& text) {
  std::int16_t value = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), value);
  if (parsed.ec == std::errc{} && parsed.ptr == text.data() + text.size()) return value;
  throw std::invalid_argument('"' + text + "\" is not an identifier; give a whole number from " +
                              kIdentifierRange);
}

std::string sumInWords(std::int16_t identifier) {
  return std::to_string(kFirstFreePort) + " + " + std::to_string(identifier) + " = " +
         std::to_string(kFirstFreePort + identifier);
}

}  // namespace

Argument typeArgument(std::string& type) {
  return {.name = "TIPO",
          .placeholder = "",
          .help = "type of the peer: MIRTAN, TOLV, ... (see quarn ports) or a name of your own",
          .store = storeIn(type),
          .completion = Completion::PeerTypes};
}

Argument identifierArgument(std::int16_t& identifier) {
  const auto store = [&identifier](const std::string& text) { identifier = toIdentifier(text); };
  return {
      .name = "ID", .placeholder = "", .help = "identifier of the peer, " + kIdentifierRange, .store = store};
}

LinkPort portOfLink(std::string_view type, std::int16_t identifier) {
  try {
    const std::int32_t port = PortaPerTipo(type, identifier);
    if (port > 0) return {port, ""};
  } catch (const Failure&) {
    return {0, sumInWords(identifier) + " is above " + std::to_string(kLastFreePort) +
                   "; use an identifier of at most " + std::to_string(kLastFreePort - kFirstFreePort)};
  }
  return {0, sumInWords(identifier) + " is not a TCP port; use an identifier of at least " +
                 std::to_string(1 - kFirstFreePort)};
}

std::string identifierWarning(std::int16_t identifier) {
  if (identifier >= 0 && identifier <= kIdentifierMax) return "";
  return "identifier " + std::to_string(identifier) +
         " does not fit into the three digits of a message, so the peer cannot read it; use " +
         kIdentifierRange;
}

Argument recordOption(std::optional<std::string>& file) {
  return {
      .name = "--record",
      .placeholder = "FILE",
      .help =
          "record everything, for quarn replay, compressed if FILE ends in .gz; an existing FILE is emptied",
      .store = storeIn(file),
      .completion = Completion::Files};
}

bool beginRecording(const std::optional<std::string>& file) {
  if (!file) return true;
  try {
    recordFlight(*file);
    return true;
  } catch (const Failure& failure) {
    std::cerr << "quarn: cannot record into \"" << printable(*file) << "\": " << failure.what() << " ("
              << failure.number() << "); give a file in an existing directory that you can write to\n";
    return false;
  }
}

std::string recordingProblem() {
  const std::uint64_t bytes = flightLosses().bytes;
  return bytes == 0
             ? ""
             : "the disk does not accept the recording: " + std::to_string(bytes) + " bytes are missing";
}

std::vector<std::string> finishFiles(QuarnSocket& quarn) {
  using std::chrono::steady_clock;
  const auto end = steady_clock::now() + kDiskPatience;
  const FileLosses ofRecording = flushFlight(kDiskPatience);
  const auto rest = std::chrono::duration_cast<std::chrono::milliseconds>(end - steady_clock::now());
  const FileLosses ofLog = quarn.flushLog(std::max(rest, std::chrono::milliseconds(0)));
  std::vector<std::string> problems;
  for (const auto& [file, losses] : {std::pair{"recording", ofRecording}, {"log", ofLog}}) {
    if (losses.bytes == 0) continue;
    problems.push_back(std::to_string(losses.lines) + " lines (" + std::to_string(losses.bytes) +
                       " bytes) are missing in the " + file);
  }
  return problems;
}

}  // namespace quarnex::tool
