// Converts the values of the library to the structs of the C interface and back.
#pragma once

#include <vector>

#include "c/c_boundary.h"
#include "quarnex/event_report.h"
#include "quarnex/flight_recorder.h"
#include "quarnex/text_rules.h"

namespace quarnex::c {

// The texts of a converted struct are those of its source.
quarnex_receipt converted(const Receipt& receipt);
quarnex_pending_texts converted(const PendingTexts& texts);
quarnex_link_failure converted(const LinkFailure& failure);
quarnex_link_snapshot converted(const LinkSnapshot& snapshot);
quarnex_link_outage converted(const LinkOutage& outage);
/// `receipts` are those of the event.
quarnex_event converted(const LinkEvent& event, const std::vector<quarnex_receipt>& receipts);
quarnex_file_losses converted(const FileLosses& losses);
quarnex_process_state converted(const ProcessSnapshot& process);

LinkFailure converted(const quarnex_link_failure& failure);
MemoryLimits converted(const quarnex_memory_limits& limits);
LogSettings converted(const quarnex_log_settings& settings);
RecordingSettings converted(const quarnex_recording_settings& settings);

/// Converts every element of a list.
template <class Plain, class Element>
void convert(std::vector<Plain>& into, const std::vector<Element>& elements) {
  into.resize(elements.size());
  std::transform(elements.begin(), elements.end(), into.begin(),
                 [](const Element& element) { return converted(element); });
}

}  // namespace quarnex::c
