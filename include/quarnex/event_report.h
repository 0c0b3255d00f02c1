// Parses event reports, the texts that the library itself adds to those of the peer in a link's inbound
// queue.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "quarnex/export.h"

namespace quarnex {

/// Codes of the reports.
enum EventCode : std::int16_t {
  kNotAnsweringReport = 109,    ///< the peer does not answer: more failures in a row than tolerated
  kAnsweringAgainReport = 112,  ///< it answers again after 109
  kConnectedReport = 701,
  kDisconnectedReport = 702,
  kFailureBegunReport = 991,  ///< first failure of a period
  kFailureEndedReport = 992,  ///< first message after 991
  kErrorNoticeReport = 993    ///< the link ended with an error, or its close is complete
};

/// One report, taken apart.
struct EventReport {
  std::int16_t code = 0;
  std::int16_t identifier = 0;  ///< the link's `IdQUARN`
  std::string type;             ///< the link's `Tipo`
  std::string detail;           ///< endpoint and reason, "" where there is none
  /// Local time of the event.
  std::int16_t hour = 0, minute = 0, second = 0, day = 1, month = 1, year = 1970;
};

/// Takes apart a text such as "X000E0701[#I5#$TABC$$S127.0.0.1:20105$]09300518112026". Returns nothing if
/// `text` is not a complete, well-formed report with one of the codes above. A peer can send a text in the
/// form of a report: `QuarnSocket::reportWaits` distinguishes the two, the form does not. The first "$$S"
/// ends the type: of a type that contains "$$S" itself, the rest is taken for the beginning of the detail.
///
/// Example:
///
///     const bool isReport = quarn.reportWaits(link);
///     const std::string item = quarn.GetMessaggioArrivato(link);
///     const auto report = isReport ? quarnex::parseEventReport(item) : std::nullopt;
///     if (report) {
///       if (report->code == quarnex::kNotAnsweringReport) alarm(report->type, report->detail);
///     } else {
///       handle(item);
///     }
QUARNEX_API std::optional<EventReport> parseEventReport(std::string_view text);

}  // namespace quarnex
