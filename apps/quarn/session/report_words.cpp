#include "quarn/session/report_words.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <regex>

#include "host/link_words.h"

namespace quarnex::tool {
namespace {

// "127.0.0.1:20308 10061  The ..." is the endpoint, a blank and the reason as the library writes it.
std::string endpointAndReason(const std::string& detail) {
  const std::size_t blank = detail.find(' ');
  if (blank == std::string::npos) return detail;
  return detail.substr(0, blank) + ", " + reasonInWords(detail.substr(blank + 1));
}

// The notice that the host's own close gives.
bool isClosing(const std::string& detail) {
  return detail.find(" Chiuso/disattivato socket ") != std::string::npos;
}

std::string seconds(const LinkSnapshot& link, std::int64_t now) {
  const std::int64_t left = *link.deadline + 1 - now;
  return std::to_string(std::max<std::int64_t>(left, 0)) + " s";
}

}  // namespace

std::string reportInWords(const EventReport& report) {
  switch (report.code) {
    case kConnectedReport:
      return "connected to " + report.detail;
    case kDisconnectedReport:
      return "disconnected";
    case kNotAnsweringReport:
      return "not answering: " + endpointAndReason(report.detail);
    case kAnsweringAgainReport:
      return "answering again";
    case kFailureBegunReport:
      return "failure: " + endpointAndReason(report.detail);
    case kFailureEndedReport:
      return "failure over";
    case kErrorNoticeReport:
      return isClosing(report.detail) ? "closed" : "error: " + endpointAndReason(report.detail);
    default:
      return "report " + std::to_string(report.code) + ": " + report.detail;
  }
}

std::string timeOfReport(const EventReport& report) {
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "%02d:%02d:%02d", report.hour, report.minute, report.second);
  return text.data();
}

std::string withoutTimes(const std::string& sentence) {
  static const std::regex time("[0-9]{2}:[0-9]{2}:[0-9]{2}");
  return std::regex_replace(sentence, time, "");
}

std::string waitInWords(const LinkSnapshot& link, std::int64_t now) {
  if (!link.deadline) return "";
  switch (link.phase) {
    case LinkPhase::Waiting:
      return (link.client ? "calls in " : "listens in ") + seconds(link, now);
    case LinkPhase::Calling:
      return "calling, gives up in " + seconds(link, now);
    case LinkPhase::Listening:
      return "waiting for a call, listens anew in " + seconds(link, now);
    default:
      return "";
  }
}

}  // namespace quarnex::tool
