// Declares the structs and numbers of the C interface. `quarnex/quarnex.h` includes it and states their
// rules.
#pragma once

#include <stddef.h>
#include <stdint.h>

/// Bytes with a length. As a result: a zero, which does not count, follows them.
typedef struct quarnex_text {
  const char* bytes;
  size_t length;
} quarnex_text;

/// A failure. A description longer than the struct is cut; a zero ends it in any case. The struct keeps its
/// content in a call that succeeds.
typedef struct quarnex_error {
  uint32_t size;
  int32_t number;         ///< as the function returns it; docs/reports.md lists the numbers
  char description[248];  ///< one line of text, bytes of any code
} quarnex_error;

/// Kinds of received items.
enum quarnex_item_kind { QUARNEX_ITEM_NONE = 0, QUARNEX_ITEM_TEXT = 1, QUARNEX_ITEM_REPORT = 2 };

/// A report of the library, taken apart.
typedef struct quarnex_report {
  uint32_t size;
  int32_t code;  ///< 109, 112, 701, 702, 991, 992 or 993; 0: the text is no report
  int32_t identifier;
  int32_t hour, minute, second, day, month, year;  ///< local time of the event
  int32_t reserved;                                ///< 0
  quarnex_text type, detail;
} quarnex_report;

/// The fate of a text.
enum quarnex_outcome {
  QUARNEX_OUTCOME_ACKNOWLEDGED = 0,  ///< the peer's library has put it into its queue
  QUARNEX_OUTCOME_DROPPED = 1,       ///< it has not arrived; sending it again cannot duplicate it
  QUARNEX_OUTCOME_UNKNOWN = 2        ///< it may have arrived; sending it again may duplicate it
};

/// The reason of an outcome other than acknowledged.
enum quarnex_cause {
  QUARNEX_CAUSE_NONE = 0,
  QUARNEX_CAUSE_RECONNECTION = 1,           ///< the link reconnected after a failure
  QUARNEX_CAUSE_REOPENED = 2,               ///< `quarnex_Apri` opened the link anew
  QUARNEX_CAUSE_CLOSED = 3,                 ///< the link was closed, or is not open
  QUARNEX_CAUSE_QUEUES_EMPTIED = 4,         ///< the text "VUOTABUFFER"
  QUARNEX_CAUSE_QUEUE_FULL = 5,             ///< 5,000 texts waited, and later ones pushed it out
  QUARNEX_CAUSE_STRAY_ACKNOWLEDGEMENT = 6,  ///< an acknowledgement that may belong to earlier texts
  QUARNEX_CAUSE_CONTENT = 7,                ///< it cannot arrive intact, or shared a message with such a text
  QUARNEX_CAUSE_TIMEOUT = 8,                ///< a drain ran out of time
  QUARNEX_CAUSE_NO_PEER = 9                 ///< without TCP: there is no other end
};
/// Elements of an array that a cause indexes. Those above the last cause are 0, for later versions.
#define QUARNEX_CAUSES 16

/// The reason why `quarnex_send` did not take a text.
enum quarnex_refusal {
  QUARNEX_REFUSAL_NONE = 0,
  QUARNEX_REFUSAL_UNKNOWN_LINK = 1,
  QUARNEX_REFUSAL_NOT_OPEN = 2,  ///< the link is closed: opening it would drop the text
  QUARNEX_REFUSAL_DRAINING = 3,
  QUARNEX_REFUSAL_LEAVING = 4,  ///< `quarnex_Uscita` has been called
  QUARNEX_REFUSAL_TEXT = 5      ///< the text breaks a rule, which `quarnex_check_text` returns
};

/// The common fate of the texts with the numbers `from` to `to` of a link.
typedef struct quarnex_receipt {
  uint64_t from, to;
  int32_t outcome, cause;
  uint32_t frames;      ///< the highest number of frames that one of them was in
  uint32_t connection;  ///< the link's connections so far, the present one included
} quarnex_receipt;

/// Texts without an outcome: those with the numbers `from` to `to`.
typedef struct quarnex_pending_texts {
  uint64_t from, to;
  int32_t in_frame;  ///< they were in a frame, so the peer may have them
  int32_t reserved;  ///< 0
} quarnex_pending_texts;

/// Where a link is in its life.
enum quarnex_phase {
  QUARNEX_PHASE_LOCAL = 0,      ///< without TCP: always usable
  QUARNEX_PHASE_CLOSED = 1,     ///< never opened, or closed
  QUARNEX_PHASE_WAITING = 2,    ///< the next listen or call comes when the deadline has passed
  QUARNEX_PHASE_LISTENING = 3,  ///< a server link waits for its peer's call
  QUARNEX_PHASE_CALLING = 4,    ///< a client link's call is under way
  QUARNEX_PHASE_CONNECTED = 5   ///< the exchange runs
};

/// The reason why a link went down.
enum quarnex_failure_kind {
  QUARNEX_FAILURE_LISTEN_FAILED = 0,       ///< `number` and `text`
  QUARNEX_FAILURE_CALL_NOT_STARTED = 1,    ///< `number` and `text`
  QUARNEX_FAILURE_SEND_FAILED = 2,         ///< `number` and `text`
  QUARNEX_FAILURE_CALL_FAILED = 3,         ///< the peer was not reached: `number`
  QUARNEX_FAILURE_ACCEPT_FAILED = 4,       ///< `number`
  QUARNEX_FAILURE_LISTEN_TIMEOUT = 5,      ///< no peer called in time
  QUARNEX_FAILURE_CONNECT_TIMEOUT = 6,     ///< the call had no outcome in time
  QUARNEX_FAILURE_KEEP_ALIVE_TIMEOUT = 7,  ///< no message arrived for two keep-alive periods
  QUARNEX_FAILURE_REPLY_TIMEOUT = 8,       ///< too many answers in a row were overdue
  QUARNEX_FAILURE_CLOSED_BY_PEER = 9,
  QUARNEX_FAILURE_CONNECTION_BROKEN = 10,  ///< `number`
  QUARNEX_FAILURE_PEER_ASKED_TO_CLOSE = 11,
  QUARNEX_FAILURE_FRAME_TOO_LONG = 12  ///< a frame of the peer had not ended at the limit
};

/// One failure of a link.
typedef struct quarnex_link_failure {
  int32_t kind;
  int32_t number;  ///< mostly a Windows Sockets number, 10000 and up; 0 if the kind has none
  int32_t phase;   ///< in which it happened: listening, calling or connected
  int32_t reserved;
  int64_t at;
  quarnex_text text;  ///< description of the failed operation, "" if the kind has none
} quarnex_link_failure;

/// The state of a link; `link_snapshot.h` describes each value.
typedef struct quarnex_link_snapshot {
  uint32_t size;
  int32_t index;  ///< 0: there is no such link, and nothing else here has a meaning
  int32_t identifier;
  int32_t client, tcp;  ///< truth values
  int32_t phase, sub_state;
  int32_t closing;                         ///< truth value
  int32_t port;                            ///< the port in `endpoint`, 0 if there is none
  int32_t message_received, overdue;       ///< truth values, while connected
  int32_t outbound, inbound, captured;     ///< items in the queues
  int32_t batch_in_flight, reported_down;  ///< truth values
  int32_t failures;                        ///< counted towards the next report 109
  int32_t has_last_failure;                ///< truth value: `last_failure` has a meaning
  quarnex_text type, endpoint, last_error;
  quarnex_text why;  ///< one sentence for people: the state, and the reason why the link is down
  int64_t since;     ///< of the last change between connected, disconnected and closed
  int64_t deadline, keep_alive_deadline, reply_deadline;
  int64_t last_heard, last_sent, last_acknowledged, limit_since;
  quarnex_link_failure last_failure;
  uint64_t texts_sent, texts_received;
  uint64_t acknowledged, dropped[QUARNEX_CAUSES], unknown[QUARNEX_CAUSES];  ///< texts, by cause
  uint64_t undecided, received_dropped;
  uint64_t frames_sent, frames_received;
  uint64_t repetitions, bad_checksums, reconnections;
  uint64_t bytes_held, bytes_unsent, callers_refused;
} quarnex_link_snapshot;

/// A time without connection of a link that the host wants open.
typedef struct quarnex_link_outage {
  uint32_t size;
  uint32_t number;     ///< from 1, in the order of the link's outages
  uint32_t attempts;   ///< to connect that failed
  int32_t reserved;    ///< 0
  int64_t start, end;  ///< `end` is 0 while it lasts
  quarnex_link_failure reason;
  uint64_t dropped[QUARNEX_CAUSES];  ///< texts meanwhile, by cause
  quarnex_text why;                  ///< one sentence for people
} quarnex_link_outage;

/// Types of events; `link_event.h` states which members of an event have a meaning.
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

/// An event of a link, or of the whole process.
typedef struct quarnex_event {
  uint32_t size;
  int32_t type;
  int32_t link;          ///< 0: an event of the whole process
  int32_t has_reason;    ///< truth value: `reason` has a meaning
  int64_t at;            ///< of the system's clock, which may go back
  int64_t milliseconds;  ///< since an arbitrary moment, of a clock that never goes back
  int64_t count;
  quarnex_link_failure reason;
  quarnex_text endpoint;
  int32_t stays_queued, timed_out;  ///< truth values
  quarnex_receipt receipt;
  const quarnex_receipt* receipts;  ///< of a drain
  size_t receipts_count;
  int64_t lost_from, lost_to;
  const uint64_t* lost_events;  ///< numbers of events, by type
  size_t lost_events_count;
  uint64_t lost_texts[4];                             ///< numbers of texts in their receipts, by outcome
  uint64_t accepted, acknowledged, dropped, unknown;  ///< the link's counters at the moment of the event
  uint64_t texts_received, received_dropped, reconnections;
} quarnex_event;

/// Rules for texts, in the order in which they are checked.
enum quarnex_rule {
  QUARNEX_RULE_NONE = 0,  ///< the text arrives unchanged
  QUARNEX_RULE_EMPTY = 1,
  QUARNEX_RULE_EMPTIES_QUEUES = 2,
  QUARNEX_RULE_TOO_LONG = 3,
  QUARNEX_RULE_END_CHARACTER = 4,
  QUARNEX_RULE_SEPARATOR = 5,
  QUARNEX_RULE_TOO_SHORT = 6,
  QUARNEX_RULE_PROTOCOL_WORD = 7,
  QUARNEX_RULE_START_CHARACTER = 8,
  QUARNEX_RULE_LEADING_NINE = 9,  ///< this one and the next do not hinder a Quarnex peer
  QUARNEX_RULE_LOOKS_LIKE_REPORT = 10
};

/// The effect of a text on its way to the peer's host.
typedef struct quarnex_text_check {
  uint32_t size;
  int32_t rule;          ///< the first one that the text breaks
  int32_t alone;         ///< truth value: it would damage other texts of its batch
  int32_t never;         ///< truth value: the peer would never accept its batch
  uint64_t position;     ///< of the first byte that breaks the rule, from 0
  quarnex_text warning;  ///< the reason in words, "" if the text arrives unchanged
} quarnex_text_check;

/// Bytes that peers can make the links hold; `times_and_limits.h` describes each value and its default.
typedef struct quarnex_memory_limits {
  uint32_t size;
  int32_t reserved;  ///< 0
  uint64_t unhandled, frame, unsent, process;
} quarnex_memory_limits;

/// How the library keeps its log files.
typedef struct quarnex_log_settings {
  uint32_t size;
  int32_t files_max;       ///< files of one `quarnex_AttivaLog` kept; 0 = all
  uint64_t bytes_max;      ///< size at which the next file begins; 0 = none does
  int32_t group_may_read;  ///< truth value; otherwise the process's user alone can read the files
  int32_t reserved;        ///< 0
} quarnex_log_settings;

/// Lines that are missing in a file.
typedef struct quarnex_file_losses {
  uint32_t size;
  int32_t last_error;     ///< 61 (disk full), 70 (permission denied), 75 (other); 0 = too slow a disk
  uint64_t bytes, lines;  ///< 0: nothing is missing
} quarnex_file_losses;

/// Figures of the whole process.
typedef struct quarnex_process_state {
  uint32_t size;
  int32_t log_last_error;         ///< as in `quarnex_file_losses`
  uint64_t log_bytes, log_lines;  ///< missing in all log files since the process began
  uint64_t bytes_held;            ///< by all links because of their peers
} quarnex_process_state;

/// How a recording is kept.
typedef struct quarnex_recording_settings {
  uint32_t size;
  int32_t group_may_read;  ///< truth value; otherwise the process's user alone can read the file
  uint64_t bytes_max;      ///< the recording ends there; 0 = 4 GiB
  int32_t must_be_new;     ///< truth value: 58 if the file exists; otherwise it is emptied
  int32_t reserved;        ///< 0
} quarnex_recording_settings;
