// The module "quarnex" for Lua 5.4. Methods and members of tables have the names of the C interface; a text
// is a string of bytes, a duration a number of seconds, and a failure an error {number=, description=}.
#include <lauxlib.h>
#include <lua.h>
#include <stddef.h>
#include <stdint.h>

#include "quarnex/quarnex.h"

#define TYPE_NAME "quarnex.instance"
#define FAILURE_NAME "quarnex.failure"

// Arguments and failures.

// The pointer is NULL after `close`: the library then fails with 5.
static quarnex_instance** handle(lua_State* L) {
  return luaL_checkudata(L, 1, TYPE_NAME);
}

static quarnex_instance* self(lua_State* L) {
  return *handle(L);
}

// A number beyond 32 bits is beyond the 16 bits of an index as well: the library fails with 6.
static int32_t number_at(lua_State* L, int position) {
  const lua_Integer number = luaL_checkinteger(L, position);
  return number > INT32_MAX ? INT32_MAX : number < INT32_MIN ? INT32_MIN : (int32_t)number;
}

static int32_t link_of(lua_State* L) {
  return number_at(L, 2);
}

static int64_t milliseconds_at(lua_State* L, int position) {
  const lua_Number seconds = luaL_checknumber(L, position);
  return seconds < 0 ? -1 : seconds < 1e12 ? (int64_t)(seconds * 1000) : (int64_t)1e15;
}

static quarnex_text text_at(lua_State* L, int position) {
  quarnex_text text;
  text.bytes = luaL_checklstring(L, position, &text.length);
  return text;
}

static void check(lua_State* L, int32_t number, const quarnex_error* error) {
  if (number == 0) return;
  lua_createtable(L, 0, 2);
  lua_pushinteger(L, number);
  lua_setfield(L, -2, "number");
  lua_pushstring(L, error->description);
  lua_setfield(L, -2, "description");
  luaL_setmetatable(L, FAILURE_NAME);
  lua_error(L);
}

static int failure_to_string(lua_State* L) {
  lua_getfield(L, 1, "number");
  lua_getfield(L, 1, "description");
  lua_pushfstring(L, "%d %s", (int)lua_tointeger(L, -2), lua_tostring(L, -1));
  return 1;
}

// Calls a function of the C interface, and raises its failure.
#define CALL(function, ...)                                      \
  do {                                                           \
    quarnex_error error_ = {.size = sizeof error_};              \
    check(L, quarnex_##function(__VA_ARGS__, &error_), &error_); \
  } while (0)

// Results. Each kind of value has a function that pushes it; NULL texts and times that are 0 become nil.

#define KIND(kind, type, push)                            \
  static void push_##kind(lua_State* L, const type* at) { \
    push;                                                 \
  }
KIND(integer, int32_t, lua_pushinteger(L, *at))
KIND(small, uint32_t, lua_pushinteger(L, *at))
KIND(short, int16_t, lua_pushinteger(L, *at))
KIND(count, uint64_t, lua_pushinteger(L, (lua_Integer)*at))
KIND(size, size_t, lua_pushinteger(L, (lua_Integer)*at))
KIND(signed, int64_t, lua_pushinteger(L, *at))
KIND(truth, int32_t, lua_pushboolean(L, *at != 0))
KIND(time, int64_t, *at ? lua_pushinteger(L, *at) : lua_pushnil(L))
KIND(text, quarnex_text, at->bytes ? (void)lua_pushlstring(L, at->bytes, at->length) : lua_pushnil(L))
KIND(phase, int32_t, lua_pushstring(L, quarnex_phase_name(*at)))
KIND(failure_kind, int32_t, lua_pushstring(L, quarnex_failure_kind_name(*at)))
KIND(outcome, int32_t, lua_pushstring(L, quarnex_outcome_name(*at)))
KIND(cause, int32_t, lua_pushstring(L, quarnex_cause_name(*at)))
KIND(event_type, int32_t, lua_pushstring(L, quarnex_event_name(*at)))
KIND(rule, int32_t, lua_pushstring(L, quarnex_rule_name(*at)))

// Numbers of texts by the name of their cause, without those that are 0.
static void push_causes(lua_State* L, const uint64_t (*counts)[QUARNEX_CAUSES]) {
  lua_newtable(L);
  for (int32_t cause = 0; cause < QUARNEX_CAUSES; ++cause) {
    if ((*counts)[cause] == 0) continue;
    push_count(L, &(*counts)[cause]);
    lua_setfield(L, -2, quarnex_cause_name(cause));
  }
}

// STRUCT defines a function that pushes a struct as a table; its list has the kind and name of each member.
#define PUSH_MEMBER(kind, member) push_##kind(L, &at->member), lua_setfield(L, -2, #member);
#define STRUCT(kind, type, members)                       \
  static void push_##kind(lua_State* L, const type* at) { \
    lua_newtable(L);                                      \
    members(PUSH_MEMBER)                                  \
  }
// clang-format off
#define FAILURE(M) M(failure_kind, kind) M(integer, number) M(phase, phase) M(time, at) M(text, text)
#define RECEIPT(M) \
  M(count, from) M(count, to) M(outcome, outcome) M(cause, cause) M(small, frames) M(small, connection)
#define RANGE(M) M(count, from) M(count, to) M(truth, in_frame)
#define CHECK(M) M(rule, rule) M(truth, alone) M(truth, never) M(count, position) M(text, warning)
#define REPORT(M) \
  M(integer, code) M(integer, identifier) M(text, type) M(text, detail) M(integer, hour) M(integer, minute) \
  M(integer, second) M(integer, day) M(integer, month) M(integer, year)
#define OUTAGE(M) \
  M(small, number) M(small, attempts) M(time, start) M(time, end) M(failure, reason) M(causes, dropped) \
  M(text, why)
#define EVENT(M) \
  M(event_type, type) M(integer, link) M(time, at) M(signed, milliseconds) M(signed, count) \
  M(truth, has_reason) M(failure, reason) M(text, endpoint) M(truth, stays_queued) M(truth, timed_out) \
  M(receipt, receipt)
#define SNAPSHOT(M) \
  M(integer, index) M(integer, identifier) M(truth, client) M(truth, tcp) M(phase, phase) \
  M(integer, sub_state) M(truth, closing) M(integer, port) M(truth, message_received) M(truth, overdue) \
  M(integer, outbound) M(integer, inbound) M(integer, captured) M(truth, batch_in_flight) \
  M(truth, reported_down) M(integer, failures) M(truth, has_last_failure) M(failure, last_failure) \
  M(text, type) M(text, endpoint) M(text, last_error) M(text, why) M(time, since) M(time, deadline) \
  M(time, keep_alive_deadline) M(time, reply_deadline) M(time, last_heard) M(time, last_sent) \
  M(time, last_acknowledged) M(time, limit_since) M(count, texts_sent) M(count, texts_received) \
  M(count, acknowledged) M(causes, dropped) M(causes, unknown) M(count, undecided) \
  M(count, received_dropped) M(count, frames_sent) M(count, frames_received) M(count, repetitions) \
  M(count, bad_checksums) M(count, reconnections) M(count, bytes_held) M(count, bytes_unsent) \
  M(count, callers_refused)
// clang-format on
STRUCT(failure, quarnex_link_failure, FAILURE)
STRUCT(receipt, quarnex_receipt, RECEIPT)
STRUCT(range, quarnex_pending_texts, RANGE)
STRUCT(check, quarnex_text_check, CHECK)
STRUCT(report, quarnex_report, REPORT)
STRUCT(outage, quarnex_link_outage, OUTAGE)
STRUCT(event, quarnex_event, EVENT)
STRUCT(snapshot, quarnex_link_snapshot, SNAPSHOT)

// Pushes an array as a list.
#define PUSH_LIST(kind, first, count)        \
  lua_newtable(L);                           \
  for (size_t i_ = 0; i_ < (count); ++i_) {  \
    push_##kind(L, &(first)[i_]);            \
    lua_rawseti(L, -2, (lua_Integer)i_ + 1); \
  }

// Methods. Most take nothing, a link or a text, and return nothing or one value.

#define METHOD(name) static int name(lua_State* L)
#define COMMAND(name)    \
  METHOD(name) {         \
    CALL(name, self(L)); \
    return 0;            \
  }
#define LINK_COMMAND(name)           \
  METHOD(name) {                     \
    CALL(name, self(L), link_of(L)); \
    return 0;                        \
  }
#define QUESTION(name, kind, type) \
  METHOD(name) {                   \
    type result = {0};             \
    CALL(name, self(L), &result);  \
    push_##kind(L, &result);       \
    return 1;                      \
  }
#define LINK_QUESTION(name, kind, type)       \
  METHOD(name) {                              \
    type result = {0};                        \
    CALL(name, self(L), link_of(L), &result); \
    push_##kind(L, &result);                  \
    return 1;                                 \
  }
#define TEXT_QUESTION(name, kind, type, empty)             \
  METHOD(name) {                                           \
    const quarnex_text text = text_at(L, 2);               \
    type result = empty;                                   \
    CALL(name, self(L), text.bytes, text.length, &result); \
    push_##kind(L, &result);                               \
    return 1;                                              \
  }
#define SIZED(type) \
  { .size = sizeof(type) }

// clang-format off
COMMAND(Uscita) COMMAND(AttivaLog)
LINK_COMMAND(Apri) LINK_COMMAND(Chiudi) LINK_COMMAND(DisattivaLog)
LINK_COMMAND(AttivaDebug) LINK_COMMAND(DisattivaDebug)
QUESTION(ProntoPerUscire, integer, int32_t) QUESTION(fd, integer, int32_t) QUESTION(events_waiting, size, size_t)
LINK_QUESTION(Connesso, truth, int32_t) LINK_QUESTION(MessaggioArrivato, truth, int32_t)
LINK_QUESTION(GetMessaggioArrivato, text, quarnex_text) LINK_QUESTION(GetDebug, text, quarnex_text)
LINK_QUESTION(report_waits, truth, int32_t)
LINK_QUESTION(accepted, count, uint64_t) LINK_QUESTION(decided_up_to, count, uint64_t)
TEXT_QUESTION(check_text, check, quarnex_text_check, SIZED(quarnex_text_check))
TEXT_QUESTION(parse_report, report, quarnex_report, SIZED(quarnex_report))
TEXT_QUESTION(encode_text, text, quarnex_text, {0}) TEXT_QUESTION(decode_text, text, quarnex_text, {0})
    // clang-format on

    METHOD(Add) {
  const quarnex_text type = text_at(L, 2);
  int32_t link = 0;
  CALL(Add, self(L), type.bytes, type.length, number_at(L, 3), lua_toboolean(L, 4), lua_toboolean(L, 5),
       &link);
  lua_pushinteger(L, link);
  return 1;
}

METHOD(Init) {
  const quarnex_text prefix = text_at(L, 2);
  CALL(Init, self(L), prefix.bytes, prefix.length);
  return 0;
}

METHOD(Invia) {
  const quarnex_text text = text_at(L, 3);
  CALL(Invia, self(L), link_of(L), text.bytes, text.length);
  return 0;
}

// Returns the number of the text and ""; or 0 and the name of the refusal.
METHOD(send) {
  const quarnex_text text = text_at(L, 3);
  uint64_t number = 0;
  int32_t refusal = 0;
  CALL(send, self(L), link_of(L), text.bytes, text.length, &number, &refusal);
  push_count(L, &number);
  lua_pushstring(L, quarnex_refusal_name(refusal));
  return 2;
}

// Returns the oldest received item and whether it is a report; or nil.
METHOD(next_item) {
  int32_t kind = 0;
  quarnex_text item = {0};
  CALL(next_item, self(L), link_of(L), &kind, &item);
  if (kind == QUARNEX_ITEM_NONE) return 0;
  push_text(L, &item);
  lua_pushboolean(L, kind == QUARNEX_ITEM_REPORT);
  return 2;
}

METHOD(links_with_news) {
  const int16_t* links = NULL;
  size_t count = 0;
  CALL(links_with_news, self(L), &links, &count);
  PUSH_LIST(short, links, count)
  return 1;
}

METHOD(pending) {
  const quarnex_pending_texts* ranges = NULL;
  size_t count = 0;
  CALL(pending, self(L), link_of(L), &ranges, &count);
  PUSH_LIST(range, ranges, count)
  return 1;
}

METHOD(outages) {
  quarnex_link_outage outage = SIZED(outage);
  size_t count = 0;
  CALL(outages, self(L), link_of(L), &count);
  lua_newtable(L);
  for (size_t i = 0; i < count; ++i) {
    CALL(outage, self(L), link_of(L), i, &outage);
    push_outage(L, &outage);
    lua_rawseti(L, -2, (lua_Integer)i + 1);
  }
  return 1;
}

// Returns nil for an index without a link.
METHOD(snapshot) {
  quarnex_link_snapshot link = SIZED(link);
  CALL(snapshot, self(L), link_of(L), &link);
  if (link.index != 0) push_snapshot(L, &link);
  return link.index != 0;
}

METHOD(enable_events) {
  CALL(enable_events, self(L), link_of(L), lua_isnone(L, 3) || lua_toboolean(L, 3));
  return 0;
}

// Returns the oldest event, or nil.
METHOD(next_event) {
  quarnex_event event = SIZED(event);
  int32_t taken = 0;
  CALL(next_event, self(L), &event, &taken);
  if (!taken) return 0;
  push_event(L, &event);
  PUSH_LIST(receipt, event.receipts, event.receipts_count)
  lua_setfield(L, -2, "receipts");
  return 1;
}

METHOD(drain_and_close) {
  CALL(drain_and_close, self(L), link_of(L), milliseconds_at(L, 3));
  return 0;
}

METHOD(drain_and_leave) {
  CALL(drain_and_leave, self(L), milliseconds_at(L, 2));
  return 0;
}

METHOD(turn) {
  CALL(turn, self(L), milliseconds_at(L, 2));
  return 0;
}

// Returns the seconds that the host may sleep, negative for no limit.
METHOD(next_deadline) {
  int64_t ms = 0;
  CALL(next_deadline, self(L), &ms);
  lua_pushnumber(L, (lua_Number)ms / 1000);
  return 1;
}

METHOD(close) {
  quarnex_destroy(self(L));
  *handle(L) = NULL;
  return 0;
}

METHOD(create) {
  quarnex_instance** const created = lua_newuserdatauv(L, sizeof(quarnex_instance*), 0);
  *created = NULL;
  luaL_setmetatable(L, TYPE_NAME);
  CALL(create, created);
  return 1;
}

METHOD(record_flight) {
  const quarnex_text path = text_at(L, 1);
  CALL(record_flight, path.bytes, path.length, NULL);
  return 0;
}

// clang-format off
#define ENTRY(name) {#name, name}
static const luaL_Reg kMethods[] = {
  ENTRY(Add), ENTRY(GetMessaggioArrivato), ENTRY(ProntoPerUscire), ENTRY(Invia), ENTRY(Apri), ENTRY(Chiudi),
  ENTRY(Init), ENTRY(Uscita), ENTRY(MessaggioArrivato), ENTRY(GetDebug), ENTRY(AttivaDebug),
  ENTRY(DisattivaDebug), ENTRY(AttivaLog), ENTRY(DisattivaLog), ENTRY(Connesso),
  ENTRY(turn), ENTRY(next_deadline), ENTRY(fd), ENTRY(next_item), ENTRY(report_waits), ENTRY(links_with_news),
  ENTRY(parse_report), ENTRY(send), ENTRY(accepted), ENTRY(decided_up_to), ENTRY(pending), ENTRY(outages),
  ENTRY(snapshot), ENTRY(enable_events), ENTRY(next_event), ENTRY(events_waiting), ENTRY(check_text),
  ENTRY(encode_text), ENTRY(decode_text), ENTRY(drain_and_close), ENTRY(drain_and_leave), ENTRY(close),
  {"__gc", close}, {"__close", close}, {NULL, NULL}};
// clang-format on
static const luaL_Reg kFunctions[] = {ENTRY(create), ENTRY(record_flight), {NULL, NULL}};

QUARNEX_C_API int luaopen_quarnex(lua_State* L);

QUARNEX_C_API int luaopen_quarnex(lua_State* L) {
  luaL_newmetatable(L, FAILURE_NAME);
  lua_pushcfunction(L, failure_to_string);
  lua_setfield(L, -2, "__tostring");
  luaL_newmetatable(L, TYPE_NAME);
  luaL_setfuncs(L, kMethods, 0);
  lua_pushvalue(L, -1);
  lua_setfield(L, -2, "__index");
  luaL_newlib(L, kFunctions);
  lua_pushstring(L, quarnex_version());
  lua_setfield(L, -2, "version");
  return 1;
}
