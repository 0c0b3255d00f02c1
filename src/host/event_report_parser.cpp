#include <algorithm>
#include <charconv>
#include <iterator>
#include <string>

#include "quarnex/event_report.h"

namespace quarnex {
namespace {

/// Parses a text from its front. Each step returns whether the text continues as expected.
struct Reader {
  std::string_view rest;

  bool skip(std::string_view expected) {
    if (!rest.starts_with(expected)) return false;
    rest.remove_prefix(expected.size());
    return true;
  }

  bool digits(std::size_t count, std::int16_t& value) {
    const std::string_view number = rest.substr(0, count);
    if (number.size() < count || number.find_first_not_of("0123456789") != std::string_view::npos)
      return false;
    std::from_chars(number.data(), number.data() + count, value);
    rest.remove_prefix(count);
    return true;
  }
};

bool isKnown(std::int16_t code) {
  constexpr std::int16_t codes[] = {kNotAnsweringReport, kAnsweringAgainReport, kConnectedReport,
                                    kDisconnectedReport, kFailureBegunReport,   kFailureEndedReport,
                                    kErrorNoticeReport};
  return std::ranges::find(codes, code) != std::end(codes);
}

// Parses an identifier as reports contain it, without leading zeros.
bool readIdentifier(std::string_view digits, std::int16_t& identifier) {
  std::from_chars(digits.data(), digits.data() + digits.size(), identifier);
  return digits == std::to_string(identifier);
}

bool inRange(const EventReport& report) {
  return report.hour <= 23 && report.minute <= 59 && report.second <= 60 && report.day >= 1 &&
         report.day <= 31 && report.month >= 1 && report.month <= 12;
}

// Parses the 14 digits of the time and date.
bool readStamp(std::string_view stamp, EventReport& report) {
  Reader reader{stamp};
  return reader.digits(2, report.hour) && reader.digits(2, report.minute) &&
         reader.digits(2, report.second) && reader.digits(2, report.day) && reader.digits(2, report.month) &&
         reader.digits(4, report.year) && inRange(report);
}

// "$Ttype$" or "$Ttype$$Sdetail$": types and details may hold any character, so the first "$$S" separates
// them. A report without a detail has no "$S...$".
bool readTexts(std::string_view texts, EventReport& report) {
  if (texts.size() < 3 || !texts.starts_with("$T") || !texts.ends_with('$')) return false;
  texts = texts.substr(2, texts.size() - 3);
  const std::size_t parting = texts.find("$$S");
  report.type = texts.substr(0, parting);
  if (parting == std::string_view::npos) return true;
  report.detail = texts.substr(parting + 3);
  return !report.detail.empty();
}

}  // namespace

std::optional<EventReport> parseEventReport(std::string_view text) {
  constexpr std::size_t kStampLength = 14;
  EventReport report;
  Reader reader{text};
  if (!reader.skip("X000E") || !reader.digits(4, report.code) || !isKnown(report.code) ||
      !reader.skip("[#I")) {
    return std::nullopt;
  }
  const std::size_t identifierEnd = reader.rest.find('#');
  const std::size_t closing = reader.rest.rfind(']');
  if (identifierEnd == std::string_view::npos || closing == std::string_view::npos ||
      closing < identifierEnd) {
    return std::nullopt;
  }
  const std::string_view texts = reader.rest.substr(identifierEnd + 1, closing - identifierEnd - 1);
  const std::string_view stamp = reader.rest.substr(closing + 1);
  if (!readIdentifier(reader.rest.substr(0, identifierEnd), report.identifier) ||
      stamp.size() != kStampLength || !readTexts(texts, report) || !readStamp(stamp, report)) {
    return std::nullopt;
  }
  return report;
}

}  // namespace quarnex
