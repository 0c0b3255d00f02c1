// Declares the interface for hosts in C, on which the bindings of other languages are built.
//
//     quarnex_instance* quarn = NULL;
//     quarnex_error error = {.size = sizeof error};
//     int32_t link = 0, kind = 0;
//     quarnex_text item;
//     if (quarnex_create(&quarn, &error) != 0) return fail(error.description);
//     quarnex_Add(quarn, "METEO", 5, 7, 1, 1, &link, NULL);
//     quarnex_Apri(quarn, link, NULL);
//     while (quarnex_turn(quarn, 200, &error) == 0)
//       while (quarnex_next_item(quarn, link, &kind, &item, NULL) == 0 && kind != QUARNEX_ITEM_NONE)
//         handle(kind, item.bytes, item.length);
//
// Results. Every function returns 0, or the number of a failure, which `error` describes unless it is NULL.
// After a failure nothing has been taken out, and no result has changed. Any call can fail with 5 (a pointer
// is NULL, or the size of a struct is not set), 6 (an index or identifier does not fit into 16 bits), 7 (out
// of memory) and 51 (an internal error). No exception passes through this interface.
//
// Values. A truth value is an int32_t: every number but 0 is true. Points of time are seconds since
// 1970-01-01 UTC, 0 for none. Durations are milliseconds.
//
// Texts. A text is a pointer to bytes of any code and their number; NULL with the length 0 is "". The library
// copies the texts that it keeps. All pointers in results point to memory of the instance, which stays as it
// is until the next call with this instance. An array without elements may be NULL.
//
// Structs. Most begin with their size, which the caller sets; the library neither reads nor writes beyond it.
// So a host runs with a later library, and with an earlier one, which leaves the members alone that it does
// not know: set them to 0 before the call. In a struct that the library reads, 0 or a missing member stands
// for the default; a member other than 0 that the library does not know fails with 5. Structs without a size
// never change.
//
// Threads. All calls of a process come from one thread. It must not be cancelled inside a call.
#pragma once

#include "quarnex/quarnex_values.h"

#if defined(__GNUC__) && !defined(_WIN32)
#define QUARNEX_C_API __attribute__((visibility("default")))
#else
#define QUARNEX_C_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef struct quarnex_instance quarnex_instance;

/// The version of the library, "MAJOR.MINOR.PATCH".
QUARNEX_C_API const char* quarnex_version(void);

/// Makes a handle on the links of the process, which all instances share. 10024 if no descriptors are left
/// for the loop, which the first call in a process makes; a later call tries again.
QUARNEX_C_API int32_t quarnex_create(quarnex_instance** created, quarnex_error* error);

/// Frees an instance with the memory of its results. Links stay as they are. NULL does nothing.
QUARNEX_C_API void quarnex_destroy(quarnex_instance* instance);

// The 15 methods. They return the same as those of `quarn_socket.h`, which describes them. A `link` is an
// index of `quarnex_Add`, from 1; for any other index they do nothing, and `item`, `trace` and so on are "".

/// Registers a link: `type` and `identifier` determine its port. Truth values: `client`, this side calls
/// 127.0.0.1, otherwise it listens; `tcp`, otherwise the other end is in this process. Sets `link` to the
/// index, or to 0 if 32,767 links exist or memory runs out.
QUARNEX_C_API int32_t quarnex_Add(quarnex_instance* instance, const char* type, size_t type_length,
                                  int32_t identifier, int32_t client, int32_t tcp, int32_t* link,
                                  quarnex_error* error);
/// Takes out the oldest received item, a text or a report; "" if none waits. `quarnex_next_item` also returns
/// which of them it is.
QUARNEX_C_API int32_t quarnex_GetMessaggioArrivato(quarnex_instance* instance, int32_t link,
                                                   quarnex_text* item, quarnex_error* error);
/// Sets `ready` to -1 if no link over TCP is in service any more, otherwise to 0.
QUARNEX_C_API int32_t quarnex_ProntoPerUscire(quarnex_instance* instance, int32_t* ready,
                                              quarnex_error* error);
/// Queues a text for the peer. `quarnex_send` also returns its number.
QUARNEX_C_API int32_t quarnex_Invia(quarnex_instance* instance, int32_t link, const char* text, size_t length,
                                    quarnex_error* error);
/// Opens a link: it listens or calls, and again after each failure.
QUARNEX_C_API int32_t quarnex_Apri(quarnex_instance* instance, int32_t link, quarnex_error* error);
/// Closes a link, and drops the texts that have no outcome yet.
QUARNEX_C_API int32_t quarnex_Chiudi(quarnex_instance* instance, int32_t link, quarnex_error* error);
/// Sets the beginning of the log file's name, and the failures tolerated before the report 109.
QUARNEX_C_API int32_t quarnex_Init(quarnex_instance* instance, const char* log_prefix, size_t length,
                                   quarnex_error* error);
/// Closes all links over TCP for good.
QUARNEX_C_API int32_t quarnex_Uscita(quarnex_instance* instance, quarnex_error* error);
/// Sets `arrived` to 1 if a received item waits, otherwise to 0.
QUARNEX_C_API int32_t quarnex_MessaggioArrivato(quarnex_instance* instance, int32_t link, int32_t* arrived,
                                                quarnex_error* error);
/// Takes out the oldest captured trace text; "" if none waits.
QUARNEX_C_API int32_t quarnex_GetDebug(quarnex_instance* instance, int32_t link, quarnex_text* trace,
                                       quarnex_error* error);
/// Start and stop capturing the link's trace texts.
QUARNEX_C_API int32_t quarnex_AttivaDebug(quarnex_instance* instance, int32_t link, quarnex_error* error);
QUARNEX_C_API int32_t quarnex_DisattivaDebug(quarnex_instance* instance, int32_t link, quarnex_error* error);
/// Creates the log file. 76 (path not found), 70 (permission denied), 61 (disk full), 52 (bad file name) or
/// 75 (other) if that is not possible.
QUARNEX_C_API int32_t quarnex_AttivaLog(quarnex_instance* instance, quarnex_error* error);
/// Closes the log file. `link` is not used.
QUARNEX_C_API int32_t quarnex_DisattivaLog(quarnex_instance* instance, int32_t link, quarnex_error* error);
/// Sets `connected` to 1 if the link is connected, does not use TCP or does not exist, otherwise to 0.
QUARNEX_C_API int32_t quarnex_Connesso(quarnex_instance* instance, int32_t link, int32_t* connected,
                                       quarnex_error* error);

// The loop. Everything happens inside `quarnex_turn`. Each of these functions fails with 10024 if no
// descriptors are left, and with another number, 10009 for example, after the program has closed the
// descriptors of the loop: the links are dead then.

/// Waits until something is due, at most `max_wait_ms` (0 = not at all, negative = no limit), runs everything
/// that is due and returns. Do not call it from inside a turn.
QUARNEX_C_API int32_t quarnex_turn(quarnex_instance* instance, int64_t max_wait_ms, quarnex_error* error);
/// Sets `ms` to the time that the host may sleep before it calls `quarnex_turn` with 0, if the descriptor
/// does not become readable; negative = no limit.
QUARNEX_C_API int32_t quarnex_next_deadline(quarnex_instance* instance, int64_t* ms, quarnex_error* error);
#ifndef _WIN32
/// Sets `fd` to a descriptor that becomes readable when a turn has work to do, for a loop of the host's own.
/// The library owns it. On Windows the host's message loop takes its place.
QUARNEX_C_API int32_t quarnex_fd(quarnex_instance* instance, int32_t* fd, quarnex_error* error);
#endif

// Received items.

/// Takes out the oldest received item, and sets `kind` to `QUARNEX_ITEM_TEXT` (of the peer),
/// `QUARNEX_ITEM_REPORT` (of the library) or `QUARNEX_ITEM_NONE` (none waits; `item` is "").
QUARNEX_C_API int32_t quarnex_next_item(quarnex_instance* instance, int32_t link, int32_t* kind,
                                        quarnex_text* item, quarnex_error* error);
/// Sets `waits` to 1 if the oldest received item is a report of the library, otherwise to 0.
QUARNEX_C_API int32_t quarnex_report_waits(quarnex_instance* instance, int32_t link, int32_t* waits,
                                           quarnex_error* error);
/// Sets `links` to the `count` indexes of the links in which items wait, those that wait longest first.
QUARNEX_C_API int32_t quarnex_links_with_news(quarnex_instance* instance, const int16_t** links,
                                              size_t* count, quarnex_error* error);
/// Takes a report apart. Sets `code` to 0 if `text` is none.
QUARNEX_C_API int32_t quarnex_parse_report(quarnex_instance* instance, const char* text, size_t length,
                                           quarnex_report* report, quarnex_error* error);

// Texts with receipts.

/// Queues a text. Sets `number` to its number on this link, from 1, and `refusal` to 0; or `number` to 0 and
/// `refusal` to the reason why the text is refused, which is no failure of the call.
QUARNEX_C_API int32_t quarnex_send(quarnex_instance* instance, int32_t link, const char* text, size_t length,
                                   uint64_t* number, int32_t* refusal, quarnex_error* error);
/// Sets `number` to that of the last accepted text; 0 for none.
QUARNEX_C_API int32_t quarnex_accepted(quarnex_instance* instance, int32_t link, uint64_t* number,
                                       quarnex_error* error);
/// Sets `number` to that of a text; it and all texts before it have their outcome. 0 for none.
QUARNEX_C_API int32_t quarnex_decided_up_to(quarnex_instance* instance, int32_t link, uint64_t* number,
                                            quarnex_error* error);
/// Sets `ranges` to `count` ranges of texts without an outcome, at most three.
QUARNEX_C_API int32_t quarnex_pending(quarnex_instance* instance, int32_t link,
                                      const quarnex_pending_texts** ranges, size_t* count,
                                      quarnex_error* error);
/// Closes a link once all its texts have an outcome, at most `within_ms` later. Turn the loop meanwhile. 5
/// for an index without a link, and for a link without TCP.
QUARNEX_C_API int32_t quarnex_drain_and_close(quarnex_instance* instance, int32_t link, int64_t within_ms,
                                              quarnex_error* error);
/// Does the same with all links, then closes them for good.
QUARNEX_C_API int32_t quarnex_drain_and_leave(quarnex_instance* instance, int64_t within_ms,
                                              quarnex_error* error);

// Events.

/// Starts (`on` true) or stops queueing the events of a link. 5 for an index without a link.
QUARNEX_C_API int32_t quarnex_enable_events(quarnex_instance* instance, int32_t link, int32_t on,
                                            quarnex_error* error);
/// Takes the oldest event of all links and sets `taken` to 1; or sets `taken` to 0 if none waits. Call it
/// after each turn until none waits: at most 10,000 are kept.
QUARNEX_C_API int32_t quarnex_next_event(quarnex_instance* instance, quarnex_event* event, int32_t* taken,
                                         quarnex_error* error);
/// Sets `count` to the number of events that wait.
QUARNEX_C_API int32_t quarnex_events_waiting(quarnex_instance* instance, size_t* count, quarnex_error* error);

// State.

/// Describes a link. Changes nothing.
QUARNEX_C_API int32_t quarnex_snapshot(quarnex_instance* instance, int32_t link,
                                       quarnex_link_snapshot* snapshot, quarnex_error* error);
/// Sets `count` to the number of outages that the link remembers, at most 32.
QUARNEX_C_API int32_t quarnex_outages(quarnex_instance* instance, int32_t link, size_t* count,
                                      quarnex_error* error);
/// Describes the outage at `position`, from 0 for the oldest. 9 (subscript out of range) if there is none.
QUARNEX_C_API int32_t quarnex_outage(quarnex_instance* instance, int32_t link, size_t position,
                                     quarnex_link_outage* outage, quarnex_error* error);
/// Sets `words` to the reason of a failure in plain words, without phase and time.
QUARNEX_C_API int32_t quarnex_in_words(quarnex_instance* instance, const quarnex_link_failure* failure,
                                       quarnex_text* words, quarnex_error* error);
/// Describes the whole process.
QUARNEX_C_API int32_t quarnex_process_snapshot(quarnex_instance* instance, quarnex_process_state* state,
                                               quarnex_error* error);

// Rules for texts, and ports.

/// Predicts the effect of a text over TCP.
QUARNEX_C_API int32_t quarnex_check_text(quarnex_instance* instance, const char* text, size_t length,
                                         quarnex_text_check* check, quarnex_error* error);
/// Converts any bytes to a text that arrives unchanged. Sets `encoded->bytes` to NULL if it would be too
/// long, which can happen only above 799 bytes.
QUARNEX_C_API int32_t quarnex_encode_text(quarnex_instance* instance, const char* text, size_t length,
                                          quarnex_text* encoded, quarnex_error* error);
/// Converts a text of `quarnex_encode_text` back. Sets `decoded->bytes` to NULL if it is none.
QUARNEX_C_API int32_t quarnex_decode_text(quarnex_instance* instance, const char* text, size_t length,
                                          quarnex_text* decoded, quarnex_error* error);
/// Sets `port` to the TCP port of a link. 6 for an identifier above 12,667.
QUARNEX_C_API int32_t quarnex_port_for_type(const char* type, size_t length, int32_t identifier,
                                            int32_t* port, quarnex_error* error);

// Settings.

/// Limits the memory that peers can make the links hold. 5 after the first `quarnex_Add`, and for limits that
/// leave no room for a whole frame of the permitted length.
QUARNEX_C_API int32_t quarnex_set_memory_limits(quarnex_instance* instance,
                                                const quarnex_memory_limits* limits, quarnex_error* error);
/// Sets how later log files are kept. 5 for a negative `files_max`.
QUARNEX_C_API int32_t quarnex_set_log_settings(quarnex_instance* instance,
                                               const quarnex_log_settings* settings, quarnex_error* error);
/// Waits until all log lines so far are in the file or dropped, at most `max_wait_ms`; returns the missing.
QUARNEX_C_API int32_t quarnex_flush_log(quarnex_instance* instance, int64_t max_wait_ms,
                                        quarnex_file_losses* losses, quarnex_error* error);
/// Lets a server link listen on one address of this machine. 5 for any other link, and if `dotted` is not
/// four numbers with dots.
QUARNEX_C_API int32_t quarnex_listen_on(quarnex_instance* instance, int32_t link, const char* dotted,
                                        size_t length, quarnex_error* error);
/// Lets only these `count` addresses call a server link; everybody if `count` is 0. 5 as above.
QUARNEX_C_API int32_t quarnex_allow_callers(quarnex_instance* instance, int32_t link,
                                            const quarnex_text* dotted, size_t count, quarnex_error* error);

// The recorder, which needs no instance.

/// Records the library from its first call on. Call it before `quarnex_create`; 5 if the library is already
/// in use. `path` consists of bytes as the system has them, on Windows of UTF-8; a name in ".gz" is
/// compressed. `settings` may be NULL. 58 (exists), 76 (path not found), 70 (permission denied), 61 (disk
/// full), 75 (other), 53 (no zlib) if the file cannot be created.
QUARNEX_C_API int32_t quarnex_record_flight(const char* path, size_t length,
                                            const quarnex_recording_settings* settings, quarnex_error* error);
/// Counts the lines that are missing in the recording so far.
QUARNEX_C_API int32_t quarnex_flight_losses(quarnex_file_losses* losses, quarnex_error* error);
/// Waits until everything recorded so far is in the file or dropped, at most `max_wait_ms`.
QUARNEX_C_API int32_t quarnex_flush_flight(int64_t max_wait_ms, quarnex_file_losses* losses,
                                           quarnex_error* error);

// Names of numbers for programs and logs, such as "queue-full". No later version changes a name, except those
// of phases. "" for 0 where it stands for none, and for a number that this version does not know.

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
