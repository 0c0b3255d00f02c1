#include "answers/answers.h"

#include "answers/json_values.h"
#include "quarnex/host.h"

namespace quarnex {
namespace {

constexpr std::string_view kNumber = R"({"type":"integer","minimum":0})";
constexpr std::string_view kBoolean = R"({"type":"boolean"})";
constexpr std::string_view kTextOrNull = R"({"type":["string","null"]})";
constexpr std::string_view kIndexes = R"({"type":"array","items":{"type":"integer"}})";
constexpr std::string_view kObjects = R"({"type":"array","items":{"type":"object"}})";
constexpr std::string_view kObjectOrNull = R"({"type":["object","null"]})";

constexpr std::span<const Parameter> kNone;
constexpr Parameter kLink[] = {{"link", ValueKind::Integer}};
constexpr Parameter kLinkAndText[] = {{"link", ValueKind::Integer}, {"text", ValueKind::String}};
constexpr Parameter kLinkAndOn[] = {{"link", ValueKind::Integer}, {"on", ValueKind::Boolean}};
constexpr Parameter kLinkAndTime[] = {{"link", ValueKind::Integer}, {"withinSeconds", ValueKind::Integer}};
constexpr Parameter kTime[] = {{"withinSeconds", ValueKind::Integer}};
constexpr Parameter kOneText[] = {{"text", ValueKind::String}};

constexpr Answer kAnswers[] = {
    {"send", "queue a text like Invia and return its number, or 0 and the reason why it is refused",
     kLinkAndText, kObjectSchema,
     [](const AnswerCall& call) { return toJson(call.quarn.send(call.link(), call.text())); }},
    {"pending", "return the ranges of numbers whose texts have no outcome yet", kLink, kObjects,
     [](const AnswerCall& call) { return toJson(call.quarn.pending(call.link())); }},
    {"enableEvents", "start or stop queueing the events of a link", kLinkAndOn, kNullSchema,
     [](const AnswerCall& call) {
       call.quarn.enableEvents(call.link(), call.on());
       return std::string("null");
     }},
    {"nextEvent", "take the oldest event of all links, null if there is none", kNone, kObjectOrNull,
     [](const AnswerCall& call) { return toJson(call.quarn.nextEvent()); }},
    {"outages", "return the latest times without connection of a link", kLink, kObjects,
     [](const AnswerCall& call) { return toJson(call.quarn.outages(call.link())); }},
    {"drainAndClose", "close a link once each of its texts has an outcome, at the latest after this time",
     kLinkAndTime, kNullSchema,
     [](const AnswerCall& call) {
       call.quarn.drainAndClose(call.link(), call.seconds());
       return std::string("null");
     }},
    {"drainAndLeave", "do the same for all links, for good", kTime, kNullSchema,
     [](const AnswerCall& call) {
       call.quarn.drainAndLeave(call.seconds());
       return std::string("null");
     }},
    {"receive", "take the oldest received text and discard the reports before it, null if there is none",
     kLink, kTextOrNull,
     [](const AnswerCall& call) { return toJson(Link(call.quarn, call.link()).receive()); }},
    {"linksWithNews", "return the indexes of the links in which texts or reports wait", kNone, kIndexes,
     [](const AnswerCall& call) { return toJson(call.quarn.linksWithNews()); }},
    {"snapshot", "describe a link, null if there is no such link", kLink, kObjectOrNull,
     [](const AnswerCall& call) { return toJson(call.quarn.snapshot(call.link())); }},
    {"checkText", "name the first rule that a text breaks, and the place; rule \"\" if it arrives unchanged",
     kOneText, kObjectSchema, [](const AnswerCall& call) { return toJson(checkText(call.text())); }},
    {"encodeText", "convert any bytes to a text that arrives unchanged, null if it would be too long",
     kOneText, kTextOrNull, [](const AnswerCall& call) { return toJson(encodeText(call.text())); }},
    {"decodeText", "convert a text of encodeText back, null if it is not in that format", kOneText,
     kTextOrNull, [](const AnswerCall& call) { return toJson(decodeText(call.text())); }},
    {"accepted", "return the number of the last text that a link accepted", kLink, kNumber,
     [](const AnswerCall& call) { return toJson(call.quarn.accepted(call.link())); }},
    {"decidedUpTo", "return the number up to which all texts of a link have an outcome", kLink, kNumber,
     [](const AnswerCall& call) { return toJson(call.quarn.decidedUpTo(call.link())); }},
    {"eventsWaiting", "return the number of events in the queue", kNone, kNumber,
     [](const AnswerCall& call) { return toJson(call.quarn.eventsWaiting()); }},
    {"reportWaits", "return true if the oldest received item is a report of the library", kLink, kBoolean,
     [](const AnswerCall& call) { return toJson(call.quarn.reportWaits(call.link())); }},
};

}  // namespace

std::span<const Answer> answers() {
  return kAnswers;
}

}  // namespace quarnex
