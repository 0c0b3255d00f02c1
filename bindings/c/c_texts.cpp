// Rules for texts, reports, ports, the recorder and the names of numbers for hosts in C.
#include <filesystem>

#include "c/c_structs.h"
#include "quarnex/ports.h"

using namespace quarnex::c;

namespace {

// The conversion from UTF-8 only happens where the system's names of files are not bytes.
std::filesystem::path pathOf(std::string_view bytes) {
  return std::u8string(bytes.begin(), bytes.end());
}

template <class Enumeration>
const char* nameIn(std::int32_t number, Enumeration last) {
  const bool known = number >= 0 && number <= static_cast<std::int32_t>(last);
  return known ? nameOf(static_cast<Enumeration>(number)) : "";
}

}  // namespace

int32_t quarnex_parse_report(quarnex_instance* instance, const char* text, size_t length,
                             quarnex_report* report, quarnex_error* error) {
  return guarded(error, [&] {
    quarnex_report& into = sized(report);
    quarnex_instance& owner = required(instance);
    owner.report = quarnex::parseEventReport(CallerText{text, length}).value_or(quarnex::EventReport{});
    fillFrom(into, owner.report);
  });
}

int32_t quarnex_check_text(quarnex_instance* instance, const char* text, size_t length,
                           quarnex_text_check* check, quarnex_error* error) {
  return guarded(error, [&] {
    quarnex_text_check& into = sized(check);
    quarnex_instance& owner = required(instance);
    owner.check = quarnex::checkText(CallerText{text, length});
    fillFrom(into, owner.check);
  });
}

int32_t quarnex_encode_text(quarnex_instance* instance, const char* text, size_t length,
                            quarnex_text* encoded, quarnex_error* error) {
  return guarded(error, [&] {
    give(required(instance), required(encoded), quarnex::encodeText(CallerText{text, length}));
  });
}

int32_t quarnex_decode_text(quarnex_instance* instance, const char* text, size_t length,
                            quarnex_text* decoded, quarnex_error* error) {
  return guarded(error, [&] {
    give(required(instance), required(decoded), quarnex::decodeText(CallerText{text, length}));
  });
}

int32_t quarnex_port_for_type(const char* type, size_t length, int32_t identifier, int32_t* port,
                              quarnex_error* error) {
  return guarded(error, [&] {
    required(port) = quarnex::PortaPerTipo(CallerText{type, length}, quarnex::Int16(identifier));
  });
}

int32_t quarnex_record_flight(const char* path, size_t length, const quarnex_recording_settings* settings,
                              quarnex_error* error) {
  return guarded(error, [&] {
    quarnex::recordFlight(pathOf(CallerText{path, length}), converted(completed(settings)));
  });
}

int32_t quarnex_flight_losses(quarnex_file_losses* losses, quarnex_error* error) {
  return guarded(error, [&] { fillFrom(sized(losses), quarnex::flightLosses()); });
}

int32_t quarnex_flush_flight(int64_t max_wait_ms, quarnex_file_losses* losses, quarnex_error* error) {
  return guarded(error, [&] { fillFrom(sized(losses), quarnex::flushFlight(duration(max_wait_ms))); });
}

const char* quarnex_outcome_name(int32_t outcome) {
  return nameIn(outcome, quarnex::Outcome::Unknown);
}

const char* quarnex_cause_name(int32_t cause) {
  return nameIn(cause, quarnex::ReceiptCause::NoPeer);
}

const char* quarnex_refusal_name(int32_t refusal) {
  return nameIn(refusal, quarnex::Refusal::Text);
}

const char* quarnex_phase_name(int32_t phase) {
  return nameIn(phase, quarnex::LinkPhase::Connected);
}

const char* quarnex_failure_kind_name(int32_t kind) {
  return nameIn(kind, quarnex::FailureKind::FrameTooLong);
}

const char* quarnex_event_name(int32_t type) {
  return nameIn(type, quarnex::EventType::Lost);
}

const char* quarnex_rule_name(int32_t rule) {
  return nameIn(rule, quarnex::TextRule::LooksLikeReport);
}
