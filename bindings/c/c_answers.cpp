// Receipts, events, snapshots, closing without loss and settings for hosts in C.
#include "c/c_structs.h"

using quarnex::QuarnSocket;
using namespace quarnex::c;

int32_t quarnex_send(quarnex_instance* instance, int32_t link, const char* text, size_t length,
                     uint64_t* number, int32_t* refusal, quarnex_error* error) {
  return guarded(error, [&] {
    uint64_t& sent = required(number);
    int32_t& reason = required(refusal);
    const quarnex::SendResult result = required(instance).quarn.send(link, CallerText{text, length});
    sent = result.number;
    reason = static_cast<int32_t>(result.refusal);
  });
}

int32_t quarnex_accepted(quarnex_instance* instance, int32_t link, uint64_t* number, quarnex_error* error) {
  return ask<&QuarnSocket::accepted>(instance, number, error, link);
}

int32_t quarnex_decided_up_to(quarnex_instance* instance, int32_t link, uint64_t* number,
                              quarnex_error* error) {
  return ask<&QuarnSocket::decidedUpTo>(instance, number, error, link);
}

int32_t quarnex_pending(quarnex_instance* instance, int32_t link, const quarnex_pending_texts** ranges,
                        size_t* count, quarnex_error* error) {
  return guarded(error, [&] {
    const quarnex_pending_texts*& first = required(ranges);
    size_t& number = required(count);
    quarnex_instance& owner = required(instance);
    convertAll(owner.pending, owner.quarn.pending(link));
    first = owner.pending.data();
    number = owner.pending.size();
  });
}

int32_t quarnex_drain_and_close(quarnex_instance* instance, int32_t link, int64_t within_ms,
                                quarnex_error* error) {
  return call<&QuarnSocket::drainAndClose>(instance, error, link, duration(within_ms));
}

int32_t quarnex_drain_and_leave(quarnex_instance* instance, int64_t within_ms, quarnex_error* error) {
  return call<&QuarnSocket::drainAndLeave>(instance, error, duration(within_ms));
}

int32_t quarnex_snapshot(quarnex_instance* instance, int32_t link, quarnex_link_snapshot* snapshot,
                         quarnex_error* error) {
  return guarded(error, [&] {
    quarnex_link_snapshot& into = sized(snapshot);
    quarnex_instance& owner = required(instance);
    owner.snapshot = owner.quarn.snapshot(link);
    fillFrom(into, owner.snapshot);
  });
}

int32_t quarnex_outages(quarnex_instance* instance, int32_t link, size_t* count, quarnex_error* error) {
  return guarded(error, [&] { required(count) = required(instance).quarn.outages(link).size(); });
}

int32_t quarnex_outage(quarnex_instance* instance, int32_t link, size_t position, quarnex_link_outage* outage,
                       quarnex_error* error) {
  return guarded(error, [&] {
    quarnex_link_outage& into = sized(outage);
    quarnex_instance& owner = required(instance);
    std::vector<quarnex::LinkOutage> outages = owner.quarn.outages(link);
    if (position >= outages.size()) throw quarnex::Failure(9, "Subscript out of range");
    owner.outage = std::move(outages[position]);
    fillFrom(into, owner.outage);
  });
}

int32_t quarnex_in_words(quarnex_instance* instance, const quarnex_link_failure* failure, quarnex_text* words,
                         quarnex_error* error) {
  return guarded(error, [&] {
    quarnex_text& into = required(words);
    give(required(instance), into, quarnex::inWords(converted(required(failure))));
  });
}

int32_t quarnex_enable_events(quarnex_instance* instance, int32_t link, int32_t on, quarnex_error* error) {
  return call<&QuarnSocket::enableEvents>(instance, error, link, on != 0);
}

// If memory runs out while the event is converted, the next call returns it.
int32_t quarnex_next_event(quarnex_instance* instance, quarnex_event* event, int32_t* taken,
                           quarnex_error* error) {
  return guarded(error, [&] {
    quarnex_event& into = sized(event);
    int32_t& found = required(taken);
    quarnex_instance& owner = required(instance);
    if (owner.eventGiven) owner.event = owner.quarn.nextEvent();
    owner.eventGiven = !owner.event;
    if (owner.event) {
      convertAll(owner.receipts, owner.event->receipts);
      fillFrom(into, *owner.event, owner.receipts);
    }
    found = owner.event.has_value();
    owner.eventGiven = true;
  });
}

int32_t quarnex_events_waiting(quarnex_instance* instance, size_t* count, quarnex_error* error) {
  return ask<&QuarnSocket::eventsWaiting>(instance, count, error);
}

int32_t quarnex_set_memory_limits(quarnex_instance* instance, const quarnex_memory_limits* limits,
                                  quarnex_error* error) {
  return guarded(error,
                 [&] { required(instance).quarn.setMemoryLimits(converted(completed(&required(limits)))); });
}

int32_t quarnex_set_log_settings(quarnex_instance* instance, const quarnex_log_settings* settings,
                                 quarnex_error* error) {
  return guarded(error,
                 [&] { required(instance).quarn.setLogSettings(converted(completed(&required(settings)))); });
}

int32_t quarnex_flush_log(quarnex_instance* instance, int64_t max_wait_ms, quarnex_file_losses* losses,
                          quarnex_error* error) {
  return guarded(error, [&] {
    quarnex_file_losses& into = sized(losses);
    fillFrom(into, required(instance).quarn.flushLog(duration(max_wait_ms)));
  });
}

int32_t quarnex_process_snapshot(quarnex_instance* instance, quarnex_process_state* state,
                                 quarnex_error* error) {
  return guarded(error, [&] {
    quarnex_process_state& into = sized(state);
    fillFrom(into, required(instance).quarn.processSnapshot());
  });
}

int32_t quarnex_listen_on(quarnex_instance* instance, int32_t link, const char* dotted, size_t length,
                          quarnex_error* error) {
  return call<&QuarnSocket::listenOn>(instance, error, link, CallerText{dotted, length});
}

int32_t quarnex_allow_callers(quarnex_instance* instance, int32_t link, const quarnex_text* dotted,
                              size_t count, quarnex_error* error) {
  return guarded(error, [&] {
    QuarnSocket& quarn = required(instance).quarn;
    if (count > 0) required(dotted);
    std::vector<std::string> addresses;
    for (size_t i = 0; i < count; ++i) addresses.emplace_back(CallerText{dotted[i].bytes, dotted[i].length});
    quarn.allowCallers(link, addresses);
  });
}
