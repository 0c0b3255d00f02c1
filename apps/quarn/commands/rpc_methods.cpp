#include "quarn/commands/rpc_methods.h"

#include <algorithm>
#include <iterator>

#include "answers/json_values.h"
#include "quarnex/host.h"
#include "quarnex/version.h"

namespace quarnex::tool {
namespace {

constexpr std::string_view kNull = R"({"type":"null"})";
constexpr std::string_view kInteger16 = R"({"type":"integer","minimum":-32768,"maximum":32767})";
constexpr std::string_view kBoolean = R"({"type":"boolean"})";
constexpr std::string_view kText =
    R"({"type":"string","description":"one character, code 0 to 255, is one byte"})";
constexpr std::string_view kPath =
    R"({"type":"string","description":"the beginning of a path, any Unicode text"})";
constexpr std::string_view kTextOrNull = R"({"type":["string","null"]})";
constexpr std::string_view kIndexes = R"({"type":"array","items":{"type":"integer"}})";
constexpr std::string_view kObjects = R"({"type":"array","items":{"type":"object"}})";
constexpr std::string_view kObject = R"({"type":"object"})";
constexpr std::string_view kObjectOrNull = R"({"type":["object","null"]})";

std::string_view schemaOf(ValueKind kind, bool isPath = false) {
  switch (kind) {
    case ValueKind::Integer:
      return kInteger16;
    case ValueKind::Boolean:
      return kBoolean;
    case ValueKind::String:
      return isPath ? kPath : kText;
    default:
      return kNull;
  }
}

// In the order of methodTable.
constexpr std::string_view kHostSummaries[] = {
    "register a link and return its index; it calls (ConnessioneClient true) or listens, over TCP or inside",
    "take the oldest received text or report, \"\" if there is none",
    "return -1 if no link over TCP is in service any more, otherwise 0",
    "queue a text for the peer",
    "open a link: empty its queues, and listen or call after 10 seconds",
    "close a link",
    "set the beginning of the log file's name, and the number of failures before report 109 to 3",
    "close all links for good",
    "return true if a text or report waits in the inbound queue",
    "take the oldest captured trace text, \"\" if there is none",
    "start capturing the trace texts of a link",
    "stop capturing them",
    "open the log file",
    "close the log file",
    "return true if the link is connected or does not exist",
};
static_assert(std::size(kHostSummaries) == methodTable().size());

std::string callHostMethod(const RpcCall& call) {
  const auto toResult = [](const auto& held) -> std::string {
    if constexpr (std::is_same_v<std::decay_t<decltype(held)>, std::monostate>)
      return "null";
    else
      return toJson(held);
  };
  return std::visit(toResult, call.method.hostMethod->call(call.quarn(), call.values));
}

constexpr std::span<const Parameter> kNone;
constexpr Parameter kLink[] = {{"link", ValueKind::Integer}};
constexpr Parameter kLinkAndText[] = {{"link", ValueKind::Integer}, {"text", ValueKind::String}};
constexpr Parameter kLinkAndOn[] = {{"link", ValueKind::Integer}, {"on", ValueKind::Boolean}};
constexpr Parameter kLinkAndTime[] = {{"link", ValueKind::Integer}, {"withinSeconds", ValueKind::Integer}};
constexpr Parameter kTime[] = {{"withinSeconds", ValueKind::Integer}};
constexpr Parameter kOn[] = {{"on", ValueKind::Boolean}};
constexpr Parameter kOneText[] = {{"text", ValueKind::String}};

constexpr RpcMethod kEnglishMethods[] = {
    {"send", "queue a text like Invia and return its number, or 0 and the reason why it is refused",
     kLinkAndText, kObject,
     [](const RpcCall& call) { return toJson(call.quarn().send(call.link(), call.text())); }},
    {"pending", "return the ranges of numbers whose texts have no outcome yet", kLink, kObjects,
     [](const RpcCall& call) { return toJson(call.quarn().pending(call.link())); }},
    {"enableEvents", "start or stop queueing the events of a link", kLinkAndOn, kNull,
     [](const RpcCall& call) {
       call.quarn().enableEvents(call.link(), call.on());
       return std::string("null");
     }},
    {"nextEvent", "take the oldest event of all links, null if there is none", kNone, kObjectOrNull,
     [](const RpcCall& call) { return toJson(call.quarn().nextEvent()); }},
    {"subscribe",
     "from now on write each event as a notification \"event\", or keep the events for nextEvent", kOn, kNull,
     [](const RpcCall& call) {
       call.session.subscribed = call.on();
       return std::string("null");
     }},
    {"outages", "return the latest times without connection of a link", kLink, kObjects,
     [](const RpcCall& call) { return toJson(call.quarn().outages(call.link())); }},
    {"drainAndClose", "close a link once each of its texts has an outcome, at the latest after this time",
     kLinkAndTime, kNull,
     [](const RpcCall& call) {
       call.quarn().drainAndClose(call.link(), call.seconds());
       return std::string("null");
     }},
    {"drainAndLeave", "do the same for all links, for good", kTime, kNull,
     [](const RpcCall& call) {
       call.quarn().drainAndLeave(call.seconds());
       return std::string("null");
     }},
    {"receive", "take the oldest received text and discard the reports before it, null if there is none",
     kLink, kTextOrNull,
     [](const RpcCall& call) { return toJson(Link(call.quarn(), call.link()).receive()); }},
    {"linksWithNews", "return the indexes of the links in which texts or reports wait", kNone, kIndexes,
     [](const RpcCall& call) { return toJson(call.quarn().linksWithNews()); }},
    {"snapshot", "describe a link, null if there is no such link", kLink, kObjectOrNull,
     [](const RpcCall& call) { return toJson(call.quarn().snapshot(call.link())); }},
    {"checkText", "name the first rule that a text breaks, and the place; rule \"\" if it arrives unchanged",
     kOneText, kObject, [](const RpcCall& call) { return toJson(checkText(call.text())); }},
    {"encodeText", "convert any bytes to a text that arrives unchanged, null if it would be too long",
     kOneText, kTextOrNull, [](const RpcCall& call) { return toJson(encodeText(call.text())); }},
    {"decodeText", "convert a text of encodeText back, null if it is not in that format", kOneText,
     kTextOrNull, [](const RpcCall& call) { return toJson(decodeText(call.text())); }},
    {"rpc.discover", "return this list of methods as an OpenRPC document", kNone, kObject,
     [](const RpcCall&) { return openRpcDocument(); }},
};

std::vector<RpcMethod> makeTable() {
  std::vector<RpcMethod> table;
  for (const Method& method : methodTable()) {
    // The beginning of the log file's name is a path, in Unicode; every other text is one for the wire.
    const bool isPath = method.dispatchId == static_cast<std::int32_t>(DispatchId::Init);
    table.push_back({method.name, kHostSummaries[table.size()], method.parameters, schemaOf(method.result),
                     callHostMethod, &method, isPath});
  }
  table.insert(table.end(), std::begin(kEnglishMethods), std::end(kEnglishMethods));
  return table;
}

std::string describe(const RpcMethod& method) {
  const auto describeParameter = [&](const Parameter& parameter) {
    return JsonObject()
        .add("name", parameter.name)
        .add("required", true)
        .addJson("schema", schemaOf(parameter.kind, method.takesPath))
        .text();
  };
  return JsonObject()
      .add("name", method.name)
      .add("summary", method.summary)
      .add("paramStructure", "by-position")
      .addJson("params", jsonArray(method.parameters, describeParameter))
      .addJson("result", JsonObject().add("name", "result").addJson("schema", method.resultSchema).text())
      .text();
}

}  // namespace

std::span<const RpcMethod> rpcMethods() {
  static const std::vector<RpcMethod> table = makeTable();
  return table;
}

const RpcMethod* findRpcMethod(std::string_view name) {
  const auto found = std::ranges::find(rpcMethods(), name, &RpcMethod::name);
  return found == rpcMethods().end() ? nullptr : &*found;
}

std::string signatureOf(const RpcMethod& method) {
  std::string parameters;
  for (const Parameter& parameter : method.parameters)
    parameters.append(parameters.empty() ? "" : ", ").append(parameter.name);
  return std::string(method.name) + '(' + parameters + ')';
}

std::string openRpcDocument() {
  return JsonObject()
      .add("openrpc", "1.3.2")
      .addJson("info", JsonObject().add("title", "quarn rpc").add("version", QUARNEX_VERSION).text())
      .addJson("methods", jsonArray(rpcMethods(), describe))
      .text();
}

}  // namespace quarnex::tool
