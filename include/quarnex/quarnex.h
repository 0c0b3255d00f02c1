// Declares the interface for hosts in C and for bindings of other languages: links, texts, receipts, events
// and loop.
//
// The C++ headers describe the behaviour: `quarnex_NAME` does the same as the method or function NAME there,
// in the order of their parameters. This page states only the differences.
//
// Results. Every function returns 0, or the number of a failure. Then nothing is taken out, the results keep
// their values, and `error`, unless it is NULL, describes the failure. A NULL pointer where an instance, a
// struct or a result is needed, and a struct whose `size` is not set, fail with 5. A number that does not fit
// into the 16 bits of an index or identifier fails with 6. No exception passes through this interface; an
// error that has no number of its own is 51 (internal error).
//
// Values. A truth value is an int32_t; every number but 0 is true. Points of time are seconds since
// 1970-01-01 UTC, with 0 for none; durations are milliseconds.
//
// Texts. A text is any bytes with a length; NULL with the length 0 is "". The library copies texts that it
// keeps. All that a result points to belongs to the instance and stays until the next call with the same
// instance. A zero, which does not count, follows the bytes of such a text.
//
// Structs. The first member is the size of the struct, which the caller sets:
//
//     quarnex_link_snapshot snapshot = {.size = sizeof snapshot};
//
// The library fills no more than that, and leaves members alone that it does not know. In a struct that the
// library reads, 0 or a missing member means the default; a member that the library does not know must be 0
// (otherwise 5). Structs without a size never change.
//
// Threads. All calls of a process come from one thread, which must not be cancelled inside one.
//
//     quarnex_instance* quarn = NULL;
//     int32_t link = 0;
//     quarnex_error error = {.size = sizeof error};
//     if (quarnex_create(&quarn, &error) != 0) return fail(error.description);
//     quarnex_Add(quarn, "METEO", 5, 7, 1, 1, &link, NULL);
//     quarnex_Apri(quarn, link, NULL);
//     while (quarnex_turn(quarn, 200, NULL) == 0) {
//       int32_t kind = 0;
//       quarnex_text text;
//       while (quarnex_next_item(quarn, link, &kind, &text, NULL) == 0 && kind != QUARNEX_ITEM_NONE)
//         handle(kind, text.bytes, text.length);
//     }
#pragma once

// NOLINTBEGIN(modernize-deprecated-headers, modernize-use-using)
#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__) && !defined(_WIN32)
#define QUARNEX_C_API __attribute__((visibility("default")))
#else
#define QUARNEX_C_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/// A handle on the links of the process, which all instances share.
typedef struct quarnex_instance quarnex_instance;

typedef struct quarnex_text {
  const char* bytes;
  size_t length;
} quarnex_text;

/// A failure. The description is one line; a longer one is cut. Unchanged by a call that succeeds.
typedef struct quarnex_error {
  uint32_t size;
  int32_t number;  ///< as the function returns it; `failure.h` lists the numbers
  char description[248];
} quarnex_error;

/// The version of the library, "MAJOR.MINOR.PATCH".
QUARNEX_C_API const char* quarnex_version(void);

/// Makes an instance. 10024 if no descriptors are left for the loop, which the first call in a process makes.
QUARNEX_C_API int32_t quarnex_create(quarnex_instance** created, quarnex_error* error);
/// Ends an instance and the texts that it owns; links stay as they are. NULL does nothing.
QUARNEX_C_API void quarnex_destroy(quarnex_instance* instance);

// The 15 methods of `quarn_socket.h`.

QUARNEX_C_API int32_t quarnex_Add(quarnex_instance* instance, const char* type, size_t type_length,
                                  int32_t identifier, int32_t client, int32_t tcp, int32_t* link,
                                  quarnex_error* error);
QUARNEX_C_API int32_t quarnex_GetMessaggioArrivato(quarnex_instance* instance, int32_t link,
                                                   quarnex_text* item, quarnex_error* error);
QUARNEX_C_API int32_t quarnex_ProntoPerUscire(quarnex_instance* instance, int32_t* ready,
                                              quarnex_error* error);
QUARNEX_C_API int32_t quarnex_Invia(quarnex_instance* instance, int32_t link, const char* text, size_t length,
                                    quarnex_error* error);
QUARNEX_C_API int32_t quarnex_Apri(quarnex_instance* instance, int32_t link, quarnex_error* error);
QUARNEX_C_API int32_t quarnex_Chiudi(quarnex_instance* instance, int32_t link, quarnex_error* error);
QUARNEX_C_API int32_t quarnex_Init(quarnex_instance* instance, const char* log_prefix, size_t length,
                                   quarnex_error* error);
QUARNEX_C_API int32_t quarnex_Uscita(quarnex_instance* instance, quarnex_error* error);
QUARNEX_C_API int32_t quarnex_MessaggioArrivato(quarnex_instance* instance, int32_t link, int32_t* arrived,
                                                quarnex_error* error);
QUARNEX_C_API int32_t quarnex_GetDebug(quarnex_instance* instance, int32_t link, quarnex_text* trace,
                                       quarnex_error* error);
QUARNEX_C_API int32_t quarnex_AttivaDebug(quarnex_instance* instance, int32_t link, quarnex_error* error);
QUARNEX_C_API int32_t quarnex_DisattivaDebug(quarnex_instance* instance, int32_t link, quarnex_error* error);
QUARNEX_C_API int32_t quarnex_AttivaLog(quarnex_instance* instance, quarnex_error* error);
QUARNEX_C_API int32_t quarnex_DisattivaLog(quarnex_instance* instance, int32_t link, quarnex_error* error);
QUARNEX_C_API int32_t quarnex_Connesso(quarnex_instance* instance, int32_t link, int32_t* connected,
                                       quarnex_error* error);

// The loop (`host_loop.h`).

QUARNEX_C_API int32_t quarnex_turn(quarnex_instance* instance, int64_t max_wait_ms, quarnex_error* error);
QUARNEX_C_API int32_t quarnex_next_deadline(quarnex_instance* instance, int64_t* ms, quarnex_error* error);
#ifndef _WIN32
/// Only on POSIX. On Windows the host's own message loop does the work.
QUARNEX_C_API int32_t quarnex_fd(quarnex_instance* instance, int32_t* fd, quarnex_error* error);
#endif

// Received items.

enum quarnex_item_kind { QUARNEX_ITEM_NONE = 0, QUARNEX_ITEM_TEXT = 1, QUARNEX_ITEM_REPORT = 2 };

/// Takes out the oldest received item, as `GetMessaggioArrivato` does, and returns its kind with it: a text
/// of the peer, a report of the library (`quarnex_parse_report`), or "" if no item waits.
QUARNEX_C_API int32_t quarnex_next_item(quarnex_instance* instance, int32_t link, int32_t* kind,
                                        quarnex_text* item, quarnex_error* error);
QUARNEX_C_API int32_t quarnex_report_waits(quarnex_instance* instance, int32_t link, int32_t* waits,
                                           quarnex_error* error);
/// Points `links` to the `count` indexes of the links in which items wait.
QUARNEX_C_API int32_t quarnex_links_with_news(quarnex_instance* instance, const int16_t** links,
                                              size_t* count, quarnex_error* error);

/// A report, taken apart.
typedef struct quarnex_report {
  uint32_t size;
  int32_t code;  ///< 0: the text is no report
  int32_t identifier;
  int32_t hour, minute, second, day, month, year;  ///< local time of the event
  int32_t reserved;                                ///< always 0
  quarnex_text type, detail;
} quarnex_report;

QUARNEX_C_API int32_t quarnex_parse_report(quarnex_instance* instance, const char* text, size_t length,
                                           quarnex_report* report, quarnex_error* error);

// Receipts (`receipts.h`).

enum quarnex_outcome {
  QUARNEX_OUTCOME_ACKNOWLEDGED = 0,
  QUARNEX_OUTCOME_DROPPED = 1,
  QUARNEX_OUTCOME_UNKNOWN = 2
};

enum quarnex_cause {
  QUARNEX_CAUSE_NONE = 0,
  QUARNEX_CAUSE_RECONNECTION = 1,
  QUARNEX_CAUSE_REOPENED = 2,
  QUARNEX_CAUSE_CLOSED = 3,
  QUARNEX_CAUSE_QUEUES_EMPTIED = 4,
  QUARNEX_CAUSE_QUEUE_FULL = 5,
  QUARNEX_CAUSE_STRAY_ACKNOWLEDGEMENT = 6,
  QUARNEX_CAUSE_CONTENT = 7,
  QUARNEX_CAUSE_TIMEOUT = 8,
  QUARNEX_CAUSE_NO_PEER = 9
};
/// Elements of an array that a cause indexes; those above the last cause are reserved.
#define QUARNEX_CAUSES 16

enum quarnex_refusal {
  QUARNEX_REFUSAL_NONE = 0,
  QUARNEX_REFUSAL_UNKNOWN_LINK = 1,
  QUARNEX_REFUSAL_NOT_OPEN = 2,
  QUARNEX_REFUSAL_DRAINING = 3,
  QUARNEX_REFUSAL_LEAVING = 4,
  QUARNEX_REFUSAL_TEXT = 5  ///< `quarnex_check_text` returns the rule
};

/// The common fate of the texts with the numbers `from` to `to`.
typedef struct quarnex_receipt {
  uint64_t from, to;
  int32_t outcome, cause;
  uint32_t frames, connection;
} quarnex_receipt;

/// Texts without an outcome.
typedef struct quarnex_pending_texts {
  uint64_t from, to;
  int32_t in_frame;
  int32_t reserved;
} quarnex_pending_texts;

/// Queues a text and returns its number; or 0 and the reason why it is refused, which is no failure.
QUARNEX_C_API int32_t quarnex_send(quarnex_instance* instance, int32_t link, const char* text, size_t length,
                                   uint64_t* number, int32_t* refusal, quarnex_error* error);
QUARNEX_C_API int32_t quarnex_accepted(quarnex_instance* instance, int32_t link, uint64_t* number,
                                       quarnex_error* error);
QUARNEX_C_API int32_t quarnex_decided_up_to(quarnex_instance* instance, int32_t link, uint64_t* number,
                                            quarnex_error* error);
QUARNEX_C_API int32_t quarnex_pending(quarnex_instance* instance, int32_t link,
                                      const quarnex_pending_texts** ranges, size_t* count,
                                      quarnex_error* error);
QUARNEX_C_API int32_t quarnex_drain_and_close(quarnex_instance* instance, int32_t link, int64_t within_ms,
                                              quarnex_error* error);
QUARNEX_C_API int32_t quarnex_drain_and_leave(quarnex_instance* instance, int64_t within_ms,
                                              quarnex_error* error);

// State of a link (`link_snapshot.h`).

enum quarnex_phase {
  QUARNEX_PHASE_LOCAL = 0,
  QUARNEX_PHASE_CLOSED = 1,
  QUARNEX_PHASE_WAITING = 2,
  QUARNEX_PHASE_LISTENING = 3,
  QUARNEX_PHASE_CALLING = 4,
  QUARNEX_PHASE_CONNECTED = 5
};

enum quarnex_failure_kind {
  QUARNEX_FAILURE_LISTEN_FAILED = 0,
  QUARNEX_FAILURE_CALL_NOT_STARTED = 1,
  QUARNEX_FAILURE_SEND_FAILED = 2,
  QUARNEX_FAILURE_CALL_FAILED = 3,
  QUARNEX_FAILURE_ACCEPT_FAILED = 4,
  QUARNEX_FAILURE_LISTEN_TIMEOUT = 5,
  QUARNEX_FAILURE_CONNECT_TIMEOUT = 6,
  QUARNEX_FAILURE_KEEP_ALIVE_TIMEOUT = 7,
  QUARNEX_FAILURE_REPLY_TIMEOUT = 8,
  QUARNEX_FAILURE_CLOSED_BY_PEER = 9,
  QUARNEX_FAILURE_CONNECTION_BROKEN = 10,
  QUARNEX_FAILURE_PEER_ASKED_TO_CLOSE = 11,
  QUARNEX_FAILURE_FRAME_TOO_LONG = 12
};

/// One failure of a link.
typedef struct quarnex_link_failure {
  int32_t kind;
  int32_t number;
  int32_t phase;
  int32_t reserved;
  int64_t at;
  quarnex_text text;
} quarnex_link_failure;

typedef struct quarnex_link_snapshot {
  uint32_t size;
  int32_t index;  ///< 0: there is no such link, and nothing else here has a meaning
  int32_t identifier;
  int32_t client, tcp;
  int32_t phase, sub_state, closing;
  int32_t port;
  int32_t message_received, overdue;
  int32_t outbound, inbound, captured;
  int32_t batch_in_flight, reported_down;
  int32_t failures;
  int32_t has_last_failure;  ///< `last_failure` has a meaning
  quarnex_text type, endpoint, last_error, why;
  int64_t since, deadline, keep_alive_deadline, reply_deadline;
  int64_t last_heard, last_sent, last_acknowledged, limit_since;
  quarnex_link_failure last_failure;
  uint64_t texts_sent, texts_received;
  uint64_t acknowledged, dropped[QUARNEX_CAUSES], unknown[QUARNEX_CAUSES];
  uint64_t undecided, received_dropped;
  uint64_t frames_sent, frames_received;
  uint64_t repetitions, bad_checksums, reconnections;
  uint64_t bytes_held, bytes_unsent, callers_refused;
} quarnex_link_snapshot;

/// A time without connection.
typedef struct quarnex_link_outage {
  uint32_t size;
  uint32_t number, attempts;
  int32_t reserved;
  int64_t start, end;
  quarnex_link_failure reason;
  uint64_t dropped[QUARNEX_CAUSES];
  quarnex_text why;
} quarnex_link_outage;

QUARNEX_C_API int32_t quarnex_snapshot(quarnex_instance* instance, int32_t link,
                                       quarnex_link_snapshot* snapshot, quarnex_error* error);
/// The number of outages that the link remembers.
QUARNEX_C_API int32_t quarnex_outages(quarnex_instance* instance, int32_t link, size_t* count,
                                      quarnex_error* error);
/// The outage at `position`, from 0 for the oldest; 9 (subscript out of range) if there is none.
QUARNEX_C_API int32_t quarnex_outage(quarnex_instance* instance, int32_t link, size_t position,
                                     quarnex_link_outage* outage, quarnex_error* error);
/// The reason of a failure in plain words.
QUARNEX_C_API int32_t quarnex_in_words(quarnex_instance* instance, const quarnex_link_failure* failure,
                                       quarnex_text* words, quarnex_error* error);

// Events (`link_event.h`).

enum quarnex_event_type {
  QUARNEX_EVENT_CONNECTED = 0,
  QUARNEX_EVENT_HEARD = 1,
  QUARNEX_EVENT_DISCONNECTED = 2,
  QUARNEX_EVENT_ATTEMPT_FAILED = 3,
  QUARNEX_EVENT_NOT_ANSWERING = 4,
  QUARNEX_EVENT_ANSWERING_AGAIN = 5,
  QUARNEX_EVENT_FAILURE = 6,
  QUARNEX_EVENT_FAILURE_OVER = 7,
  QUARNEX_EVENT_CLOSING = 8,
  QUARNEX_EVENT_CLOSED = 9,
  QUARNEX_EVENT_TEXTS_RECEIVED = 10,
  QUARNEX_EVENT_RECEIVED_DROPPED = 11,
  QUARNEX_EVENT_RECEIPTS = 12,
  QUARNEX_EVENT_DRAINED = 13,
  QUARNEX_EVENT_CLOCK_STEPPED = 14,
  QUARNEX_EVENT_HOST_STOOD_STILL = 15,
  QUARNEX_EVENT_LOST = 16
};

typedef struct quarnex_event {
  uint32_t size;
  int32_t type;
  int32_t link;
  int32_t has_reason;  ///< `reason` has a meaning
  int64_t at, milliseconds;
  int64_t count;
  quarnex_link_failure reason;
  quarnex_text endpoint;
  int32_t stays_queued, timed_out;
  quarnex_receipt receipt;
  const quarnex_receipt* receipts;
  size_t receipts_count;
  int64_t lost_from, lost_to;
  const uint64_t* lost_events;  ///< numbers of events, by type
  size_t lost_events_count;
  uint64_t lost_texts[4];                             ///< by outcome
  uint64_t accepted, acknowledged, dropped, unknown;  ///< counters of the link at the moment of the event
  uint64_t texts_received, received_dropped, reconnections;
} quarnex_event;

QUARNEX_C_API int32_t quarnex_enable_events(quarnex_instance* instance, int32_t link, int32_t on,
                                            quarnex_error* error);
/// Takes the oldest event and sets `taken` to 1; or sets it to 0 and leaves `event` alone if none waits.
QUARNEX_C_API int32_t quarnex_next_event(quarnex_instance* instance, quarnex_event* event, int32_t* taken,
                                         quarnex_error* error);
QUARNEX_C_API int32_t quarnex_events_waiting(quarnex_instance* instance, size_t* count, quarnex_error* error);

// Rules for texts (`text_rules.h`), and ports (`ports.h`).

enum quarnex_rule {
  QUARNEX_RULE_NONE = 0,
  QUARNEX_RULE_EMPTY = 1,
  QUARNEX_RULE_EMPTIES_QUEUES = 2,
  QUARNEX_RULE_TOO_LONG = 3,
  QUARNEX_RULE_END_CHARACTER = 4,
  QUARNEX_RULE_SEPARATOR = 5,
  QUARNEX_RULE_TOO_SHORT = 6,
  QUARNEX_RULE_PROTOCOL_WORD = 7,
  QUARNEX_RULE_START_CHARACTER = 8,
  QUARNEX_RULE_LEADING_NINE = 9,
  QUARNEX_RULE_LOOKS_LIKE_REPORT = 10
};

typedef struct quarnex_text_check {
  uint32_t size;
  int32_t rule;
  int32_t alone, never;
  uint64_t position;
  quarnex_text warning;
} quarnex_text_check;

QUARNEX_C_API int32_t quarnex_check_text(quarnex_instance* instance, const char* text, size_t length,
                                         quarnex_text_check* check, quarnex_error* error);
/// Encodes a text; `encoded->bytes` is NULL if that is not possible.
QUARNEX_C_API int32_t quarnex_encode_text(quarnex_instance* instance, const char* text, size_t length,
                                          quarnex_text* encoded, quarnex_error* error);
/// Decodes a text; `decoded->bytes` is NULL if it is not in the format.
QUARNEX_C_API int32_t quarnex_decode_text(quarnex_instance* instance, const char* text, size_t length,
                                          quarnex_text* decoded, quarnex_error* error);
/// The port of a link (`PortaPerTipo`).
QUARNEX_C_API int32_t quarnex_port_for_type(const char* type, size_t length, int32_t identifier,
                                            int32_t* port, quarnex_error* error);

// Settings, log and process (`quarn_socket.h`, `process_snapshot.h`).

typedef struct quarnex_memory_limits {
  uint32_t size;
  int32_t reserved;
  uint64_t unhandled, frame, unsent, process;  ///< bytes
} quarnex_memory_limits;

typedef struct quarnex_log_settings {
  uint32_t size;
  int32_t files_max;
  uint64_t bytes_max;
  int32_t group_may_read;
  int32_t reserved;
} quarnex_log_settings;

typedef struct quarnex_file_losses {
  uint32_t size;
  int32_t last_error;
  uint64_t bytes, lines;
} quarnex_file_losses;

typedef struct quarnex_process_state {
  uint32_t size;
  int32_t log_last_error;
  uint64_t log_bytes, log_lines;  ///< that are missing in the log files
  uint64_t bytes_held;
} quarnex_process_state;

QUARNEX_C_API int32_t quarnex_set_memory_limits(quarnex_instance* instance,
                                                const quarnex_memory_limits* limits, quarnex_error* error);
QUARNEX_C_API int32_t quarnex_set_log_settings(quarnex_instance* instance,
                                               const quarnex_log_settings* settings, quarnex_error* error);
QUARNEX_C_API int32_t quarnex_flush_log(quarnex_instance* instance, int64_t max_wait_ms,
                                        quarnex_file_losses* losses, quarnex_error* error);
QUARNEX_C_API int32_t quarnex_process_snapshot(quarnex_instance* instance, quarnex_process_state* state,
                                               quarnex_error* error);
QUARNEX_C_API int32_t quarnex_listen_on(quarnex_instance* instance, int32_t link, const char* dotted,
                                        size_t length, quarnex_error* error);
QUARNEX_C_API int32_t quarnex_allow_callers(quarnex_instance* instance, int32_t link,
                                            const quarnex_text* dotted, size_t count, quarnex_error* error);

// The recorder (`flight_recorder.h`), which needs no instance: it starts before the first one is made.

typedef struct quarnex_recording_settings {
  uint32_t size;
  int32_t group_may_read;
  uint64_t bytes_max;
  int32_t must_be_new;
  int32_t reserved;
} quarnex_recording_settings;

/// `path` is the name as the system has it; on Windows it is UTF-8. `settings` may be NULL.
QUARNEX_C_API int32_t quarnex_record_flight(const char* path, size_t length,
                                            const quarnex_recording_settings* settings, quarnex_error* error);
QUARNEX_C_API int32_t quarnex_flight_losses(quarnex_file_losses* losses, quarnex_error* error);
QUARNEX_C_API int32_t quarnex_flush_flight(int64_t max_wait_ms, quarnex_file_losses* losses,
                                           quarnex_error* error);

// Names of numbers, such as "queue-full"; no later version changes one. "" for a number without a name.

QUARNEX_C_API const char* quarnex_outcome_name(int32_t outcome);
QUARNEX_C_API const char* quarnex_cause_name(int32_t cause);
QUARNEX_C_API const char* quarnex_refusal_name(int32_t refusal);
QUARNEX_C_API const char* quarnex_phase_name(int32_t phase);
QUARNEX_C_API const char* quarnex_failure_kind_name(int32_t kind);
QUARNEX_C_API const char* quarnex_event_name(int32_t type);
QUARNEX_C_API const char* quarnex_rule_name(int32_t rule);

#ifdef __cplusplus
}
#endif
// NOLINTEND(modernize-deprecated-headers, modernize-use-using)
