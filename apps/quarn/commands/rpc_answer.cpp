#include "quarn/commands/rpc_answer.h"

#include <charconv>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "answers/json_values.h"
#include "quarn/commands/json_scanner.h"
#include "recording/format/text_codes.h"

namespace quarnex::tool {
namespace {

constexpr int kNoJson = -32700;
constexpr int kNoRequest = -32600;
constexpr int kUnknownMethod = -32601;
constexpr int kWrongParameters = -32602;
constexpr int kInternalError = -32603;
constexpr int kOutOfMemory = 7;
constexpr const char* kOutOfMemoryWords = "Out of memory";

struct RpcError {
  int code;
  std::string message;
};

// The values of one request as they were sent; empty where the request has no such member.
struct Request {
  std::string_view version, id, method, params;
};

bool isString(std::string_view json) {
  return json.starts_with('"');
}

bool isId(std::string_view json) {
  return isString(json) || json == "null" || json.find_first_of("-0123456789") == 0;
}

std::string response(std::string_view id, const std::string& member) {
  std::string line = R"({"jsonrpc":"2.0","id":)";
  line += isId(id) ? id : "null";
  return line + ',' + member + '}';
}

std::string errorResponse(std::string_view id, const RpcError& error) {
  return response(id, R"("error":{"code":)" + std::to_string(error.code) + R"(,"message":)" +
                          recording::jsonString(error.message) + '}');
}

// Nothing if `line` is not JSON. Of members with the same name the last one counts.
std::optional<Request> parseRequest(std::string_view line) {
  constexpr std::size_t kNameBytesMax = 64;  // more than any of the names has, with every character escaped
  Request request;
  const auto take = [&request](std::string_view name, std::string_view value) {
    if (!isString(name) || name.size() > kNameBytesMax) return;
    const std::string known = utf8OfString(name);
    if (known == "jsonrpc") request.version = value;
    if (known == "id") request.id = value;
    if (known == "method") request.method = value;
    if (known == "params") request.params = value;
  };
  if (!scanJson(line, take)) return std::nullopt;
  return request;
}

bool isObject(std::string_view json) {
  const std::size_t first = json.find_first_not_of(" \t\r\n");
  return first != json.npos && json[first] == '{';
}

const RpcMethod& methodOf(const Request& request) {
  if (!isString(request.version) || utf8OfString(request.version) != "2.0")
    throw RpcError{kNoRequest, R"("jsonrpc" has to be "2.0")"};
  if (!isString(request.method)) throw RpcError{kNoRequest, R"("method" has to be a string)"};
  const RpcMethod* method = findRpcMethod(utf8OfString(request.method));
  if (method == nullptr) throw RpcError{kUnknownMethod, "there is no such method"};
  return *method;
}

std::optional<Value> toInteger16(std::string_view json) {
  std::int16_t value = 0;
  const auto [end, error] = std::from_chars(json.data(), json.data() + json.size(), value);
  if (error != std::errc() || end != json.data() + json.size()) return std::nullopt;
  return value;
}

std::optional<Value> toBoolean(std::string_view json) {
  if (json != "true" && json != "false") return std::nullopt;
  return json == "true";
}

std::optional<Value> toText(std::string_view json, bool isPath) {
  if (!isString(json)) return std::nullopt;
  if (isPath) return utf8OfString(json);
  std::optional<std::string> bytes = bytesOfString(json);
  if (!bytes) return std::nullopt;
  return std::move(*bytes);
}

std::optional<Value> toValue(std::string_view json, ValueKind kind, bool isPath) {
  switch (kind) {
    case ValueKind::Integer:
      return toInteger16(json);
    case ValueKind::Boolean:
      return toBoolean(json);
    case ValueKind::String:
      return toText(json, isPath);
    default:
      return std::nullopt;
  }
}

std::string inWords(ValueKind kind, bool isPath) {
  switch (kind) {
    case ValueKind::Integer:
      return "an integer from -32768 to 32767";
    case ValueKind::Boolean:
      return "true or false";
    default:
      return isPath ? "a string" : "a string of characters with codes 0 to 255";
  }
}

// The elements of the array, at most one more than `most`.
std::optional<std::vector<std::string_view>> elementsOf(std::string_view params, std::size_t most) {
  std::vector<std::string_view> elements;
  if (params.empty()) return elements;
  if (!params.starts_with('[')) return std::nullopt;
  scanJson(params, [&](std::string_view, std::string_view value) {
    if (elements.size() <= most) elements.push_back(value);
  });
  return elements;
}

std::vector<Value> parametersOf(const Request& request, const RpcMethod& method) {
  const auto given = elementsOf(request.params, method.parameters.size());
  if (!given || given->size() != method.parameters.size()) {
    throw RpcError{kWrongParameters, R"("params" has to be an array of )" +
                                         std::to_string(method.parameters.size()) + " parameters"};
  }
  std::vector<Value> values;
  for (const Parameter& parameter : method.parameters) {
    std::optional<Value> value = toValue((*given)[values.size()], parameter.kind, method.takesPath);
    if (!value) {
      throw RpcError{kWrongParameters,
                     std::string(parameter.name) + " has to be " + inWords(parameter.kind, method.takesPath)};
    }
    values.push_back(std::move(*value));
  }
  return values;
}

std::string callMethod(RpcSession& session, const Request& request) {
  try {
    const RpcMethod& method = methodOf(request);
    const std::vector<Value> parameters = parametersOf(request, method);
    return method.call({session, method, parameters});
  } catch (const Failure& failure) {
    throw RpcError{failure.number(), failure.description()};
  } catch (const std::bad_alloc&) {
    throw RpcError{kOutOfMemory, kOutOfMemoryWords};
  } catch (const std::exception& exception) {
    throw RpcError{kInternalError, exception.what()};
  }
}

std::string answer(RpcSession& session, std::string_view line) {
  const std::optional<Request> request = parseRequest(line);
  if (!request) return errorResponse("", {kNoJson, "this line is not JSON"});
  if (!isObject(line)) return errorResponse("", {kNoRequest, "a request is one JSON object"});
  const std::string_view id = request->id;
  try {
    if (!id.empty() && !isId(id)) throw RpcError{kNoRequest, R"("id" has to be a string or a number)"};
    const std::string result = callMethod(session, *request);
    return id.empty() ? "" : response(id, R"("result":)" + result);
  } catch (const RpcError& error) {
    return !id.empty() || error.code == kNoRequest ? errorResponse(id, error) : "";
  }
}

}  // namespace

std::string notificationOf(const LinkEvent& event) {
  return R"({"jsonrpc":"2.0","method":"event","params":)" + toJson(event) + '}';
}

std::string refuseLongRequest() {
  return errorResponse("", {kNoRequest, "a request is a line of at most 1 MiB"});
}

std::string answerRequest(RpcSession& session, std::string_view line) {
  try {
    return answer(session, line);
  } catch (const std::bad_alloc&) {
    return errorResponse("", {kOutOfMemory, kOutOfMemoryWords});
  }
}

}  // namespace quarnex::tool
