#include "quarn/session/report_words.h"

#include <algorithm>
#include <ctime>

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

std::int64_t secondOfReport(const EventReport& report) {
  std::tm local{};
  local.tm_year = report.year - 1900;
  local.tm_mon = report.month - 1;
  local.tm_mday = report.day;
  local.tm_hour = report.hour;
  local.tm_min = report.minute;
  local.tm_sec = report.second;
  local.tm_isdst = -1;
  return std::mktime(&local);
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
      return "no caller yet, listens again in " + seconds(link, now);
    default:
      return "";
  }
}

}  // namespace quarnex::tool
