#include "quarn/commands/rpc_methods.h"

#include <algorithm>
#include <iterator>

#include "answers/json_values.h"
#include "quarnex/version.h"

namespace quarnex::tool {
namespace {

constexpr std::string_view kInteger16 = R"({"type":"integer","minimum":-32768,"maximum":32767})";
constexpr std::string_view kBoolean = R"({"type":"boolean"})";
constexpr std::string_view kText =
    R"({"type":"string","description":"one character, code 0 to 255, is one byte"})";
constexpr std::string_view kPath =
    R"({"type":"string","description":"the beginning of a path, any Unicode text"})";

std::string_view schemaOf(ValueKind kind, bool isPath = false) {
  switch (kind) {
    case ValueKind::Integer:
      return kInteger16;
    case ValueKind::Boolean:
      return kBoolean;
    case ValueKind::String:
      return isPath ? kPath : kText;
    default:
      return kNullSchema;
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

std::string callAnswer(const RpcCall& call) {
  return call.method.answer->call({call.quarn(), call.values});
}

constexpr Parameter kOn[] = {{"on", ValueKind::Boolean}};

constexpr RpcMethod kMethodsOfTheSession[] = {
    {"subscribe",
     "from now on write each event as a notification \"event\", or keep the events for nextEvent", kOn,
     kNullSchema,
     [](const RpcCall& call) {
       call.session.subscribed = std::get<bool>(call.values.back());
       return std::string("null");
     }},
    {"rpc.discover",
     "return this list of methods as an OpenRPC document",
     {},
     kObjectSchema,
     [](const RpcCall&) { return openRpcDocument(); }},
};

std::vector<RpcMethod> makeTable() {
  std::vector<RpcMethod> table;
  for (const Method& method : methodTable()) {
    // The beginning of the log file's name is a path, in Unicode; every other text is one for the wire.
    const bool isPath = method.dispatchId == static_cast<std::int32_t>(DispatchId::Init);
    table.push_back({method.name, kHostSummaries[table.size()], method.parameters, schemaOf(method.result),
                     callHostMethod, &method, nullptr, isPath});
  }
  for (const Answer& answer : answers()) {
    table.push_back(
        {answer.name, answer.summary, answer.parameters, answer.resultSchema, callAnswer, nullptr, &answer});
  }
  table.insert(table.end(), std::begin(kMethodsOfTheSession), std::end(kMethodsOfTheSession));
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
