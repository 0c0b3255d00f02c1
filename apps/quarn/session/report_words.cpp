#include "quarn/session/report_words.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>

#include "quarn/console.h"

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

std::string eventInWords(const LinkEvent& event, const LinkSnapshot& link) {
  switch (event.type) {
    case EventType::Connected:
      return "connected to " + link.endpoint + (link.client ? "" : ", caller " + event.endpoint);
    case EventType::Disconnected:
      return "disconnected";
    case EventType::NotAnswering:
      return "not answering: " + endpointAndReason(link);
    case EventType::AnsweringAgain:
      return "answering again";
    case EventType::Failure:
      return "failure: " + endpointAndReason(link);
    case EventType::FailureOver:
      return "failure over";
    case EventType::ReceivedDropped:
      return counted(static_cast<std::uint64_t>(event.count), "received text") +
             " dropped before it was taken";
    case EventType::ClockStepped:
      return "the system's clock was set " + std::string(event.count < 0 ? "back" : "forward") + " by " +
             std::to_string(std::abs(event.count)) + " s";
    case EventType::HostStoodStill:
      return "this program stood still for " + std::to_string(event.count) + " s";
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
