// Rule: reports 109 and 112, and 991 and 992, alternate.
#pragma once

#include <utility>

#include "simulation/checks/independent/check.h"

namespace quarnex::simulation {

class ReportOrder : public Check {
 public:
  using Check::Check;

  void added(std::int16_t link) { links_[link] = {}; }
  void called(const HostCall& call) {
    if (call.link != 0 && call.method == "Apri") links_[call.link].silent = links_[call.link].failing = false;
  }
  void fails(std::int16_t link, const ServiceCall&) { links_[link].operationFailed = true; }

  void traced(std::int16_t link, std::string_view text) {
    constexpr std::string_view report = "P:X000E";
    if (!begins(text, report)) return;
    int code = 0;
    for (const char digit : text.substr(report.size(), 4)) code = code * 10 + (digit - '0');
    ++engine_.site.reports[code];
    if (const char* flaw = flawOf(links_[link], code)) engine_.report(link, flaw);
  }

 private:
  struct Link {
    bool silent = false;           // 109 and no 112 since
    bool failing = false;          // 991 and no 992 since
    bool operationFailed = false;  // since the last 112
  };

  // nullptr if there is none. If an operation fails, the text of a 109 may be impossible to make although the
  // link counts as silent from then on.
  static const char* flawOf(Link& link, int code) {
    const bool excused = code == 112 && std::exchange(link.operationFailed, false);
    if (code == 109 && std::exchange(link.silent, true)) return "109 twice without 112";
    if (code == 112 && !std::exchange(link.silent, false) && !excused) return "112 without 109";
    if (code == 991 && std::exchange(link.failing, true)) return "991 twice without 992";
    if (code == 992 && !std::exchange(link.failing, false)) return "992 without 991";
    return nullptr;
  }

  PerIndex<Link> links_;
};

}  // namespace quarnex::simulation
