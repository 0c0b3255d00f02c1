// Converts the values of the library to the structs of the C interface and back.
#pragma once

#include <vector>

#include "c/c_boundary.h"
#include "quarnex/flight_recorder.h"

namespace quarnex::c {

// The texts of a converted struct are those of its source. A struct with a size keeps it.
quarnex_receipt converted(const Receipt& receipt);
quarnex_pending_texts converted(const PendingTexts& texts);
quarnex_link_failure converted(const LinkFailure& failure);
void convert(const LinkSnapshot& from, quarnex_link_snapshot& to);
void convert(const LinkOutage& from, quarnex_link_outage& to);
/// `receipts` are those of the event.
void convert(const LinkEvent& from, const std::vector<quarnex_receipt>& receipts, quarnex_event& to);
void convert(const EventReport& report, quarnex_report& to);
void convert(const TextCheck& check, quarnex_text_check& to);
void convert(const FileLosses& losses, quarnex_file_losses& to);
void convert(const ProcessSnapshot& process, quarnex_process_state& to);

LinkFailure converted(const quarnex_link_failure& failure);
MemoryLimits converted(const quarnex_memory_limits& limits);
LogSettings converted(const quarnex_log_settings& settings);
RecordingSettings converted(const quarnex_recording_settings& settings);

/// Fills a struct of the caller from values of the library.
template <class Struct, class... Values>
void fillFrom(Struct& into, const Values&... values) {
  fill(into, [&](Struct& to) { convert(values..., to); });
}

/// Converts every element of a list.
template <class Plain, class Element>
void convertAll(std::vector<Plain>& into, const std::vector<Element>& elements) {
  into.resize(elements.size());
  std::transform(elements.begin(), elements.end(), into.begin(),
                 [](const Element& element) { return converted(element); });
}

}  // namespace quarnex::c
