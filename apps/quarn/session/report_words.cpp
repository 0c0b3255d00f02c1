#include "quarn/session/report_words.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace quarnex::tool {
namespace {

std::string endpointAndReason(const LinkSnapshot& link) {
  return link.lastFailure ? link.endpoint + ", " + inWords(*link.lastFailure) : link.endpoint;
}

std::string seconds(const LinkSnapshot& link, std::int64_t now) {
  const std::int64_t left = *link.deadline + 1 - now;
  return std::to_string(std::max<std::int64_t>(left, 0)) + " s";
}

}  // namespace

std::string reportInWords(const EventReport& report, const LinkSnapshot& link) {
  switch (report.code) {
    case kConnectedReport:
      return "connected to " + link.endpoint;
    case kDisconnectedReport:
      return "disconnected";
    case kNotAnsweringReport:
      return "not answering: " + endpointAndReason(link);
    case kAnsweringAgainReport:
      return "answering again";
    case kFailureBegunReport:
      return "failure: " + endpointAndReason(link);
    case kFailureEndedReport:
      return "failure over";
    default:
      return "";
  }
}

std::string timeOfReport(const EventReport& report) {
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "%02d:%02d:%02d", report.hour, report.minute, report.second);
  return text.data();
}

Outage outageOf(const LinkSnapshot& link) {
  if (!link.lastFailure) return {link.phase, {}, 0, {}};
  return {link.phase, link.lastFailure->kind, link.lastFailure->number, link.lastFailure->phase};
}

std::string waitInWords(const LinkSnapshot& link, std::int64_t now) {
  if (!link.deadline) return "";
  switch (link.phase) {
    case LinkPhase::Waiting:
      return (link.client ? "calls in " : "listens in ") + seconds(link, now);
    case LinkPhase::Calling:
      return "calling, gives up in " + seconds(link, now);
    case LinkPhase::Listening:
      return "waiting for a call, listens again in " + seconds(link, now);
    default:
      return "";
  }
}

}  // namespace quarnex::tool
