#include "quarn/commands/rpc_answer.h"

#include <limits>
#include <new>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>
#include <vector>

#include "host/method_table.h"
#include "recording/format/text_codes.h"

namespace quarnex::tool {
namespace {

using Json = nlohmann::json;

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

const Json* memberOf(const Json& object, const char* key) {
  const auto found = object.find(key);
  return found == object.end() ? nullptr : &*found;
}

bool isId(const Json& json) {
  return json.is_string() || json.is_number() || json.is_null();
}

std::string response(const Json* id, const std::string& member) {
  return R"({"jsonrpc":"2.0","id":)" + (id != nullptr && isId(*id) ? id->dump() : "null") + ',' + member +
         '}';
}

std::string errorResponse(const Json* id, const RpcError& error) {
  return response(id, R"("error":{"code":)" + std::to_string(error.code) + R"(,"message":)" +
                          recording::jsonString(error.message) + '}');
}

const Method& methodOf(const Json& request) {
  const Json* version = memberOf(request, "jsonrpc");
  const Json* name = memberOf(request, "method");
  if (version == nullptr || *version != "2.0") throw RpcError{kNoRequest, R"("jsonrpc" has to be "2.0")"};
  if (name == nullptr || !name->is_string()) throw RpcError{kNoRequest, R"("method" has to be a string)"};
  const Method* method = findMethod(name->get_ref<const std::string&>());
  if (method == nullptr) throw RpcError{kUnknownMethod, "there is no such method"};
  return *method;
}

std::optional<Value> toInteger16(const Json& json) {
  using Limits = std::numeric_limits<std::int16_t>;
  if (!json.is_number_integer()) return std::nullopt;
  if (json.is_number_unsigned() && json.get<std::uint64_t>() > Limits::max()) return std::nullopt;
  const auto value = json.get<std::int64_t>();
  if (value < Limits::min() || value > Limits::max()) return std::nullopt;
  return static_cast<std::int16_t>(value);
}

std::optional<Value> toText(Json& json) {
  if (!json.is_string()) return std::nullopt;
  std::string text = std::move(json.get_ref<std::string&>());
  if (!recording::toBytes(text)) return std::nullopt;
  return text;
}

std::optional<Value> toValue(Json& json, ValueKind kind) {
  switch (kind) {
    case ValueKind::Integer:
      return toInteger16(json);
    case ValueKind::Boolean:
      return json.is_boolean() ? std::optional<Value>(json.get<bool>()) : std::nullopt;
    case ValueKind::String:
      return toText(json);
    default:
      return std::nullopt;
  }
}

std::string inWords(ValueKind kind) {
  switch (kind) {
    case ValueKind::Integer:
      return "an integer from " + std::to_string(std::numeric_limits<std::int16_t>::min()) + " to " +
             std::to_string(std::numeric_limits<std::int16_t>::max());
    case ValueKind::Boolean:
      return "true or false";
    default:
      return "a string of characters with codes 0 to 255";
  }
}

std::vector<Value> parametersOf(Json& request, const Method& method) {
  Json none = Json::array();
  const auto found = request.find("params");
  Json& given = found == request.end() ? none : *found;
  if (!given.is_array() || given.size() != method.parameters.size()) {
    throw RpcError{kWrongParameters, R"("params" has to be an array of )" +
                                         std::to_string(method.parameters.size()) + " parameters"};
  }
  std::vector<Value> values;
  for (std::size_t i = 0; i < given.size(); ++i) {
    const Parameter& parameter = method.parameters[i];
    std::optional<Value> value = toValue(given[i], parameter.kind);
    if (!value) {
      throw RpcError{kWrongParameters, std::string(parameter.name) + " has to be " + inWords(parameter.kind)};
    }
    values.push_back(std::move(*value));
  }
  return values;
}

std::string toJson(const Value& value) {
  if (const auto* integer = std::get_if<std::int16_t>(&value)) return std::to_string(*integer);
  if (const auto* boolean = std::get_if<bool>(&value)) return *boolean ? "true" : "false";
  if (const auto* text = std::get_if<std::string>(&value)) return recording::jsonString(*text);
  return "null";
}

std::string callMethod(QuarnSocket& quarn, Json& request) {
  try {
    const Method& method = methodOf(request);
    return toJson(method.call(quarn, parametersOf(request, method)));
  } catch (const Failure& failure) {
    throw RpcError{failure.number(), failure.description()};
  } catch (const std::bad_alloc&) {
    throw RpcError{kOutOfMemory, kOutOfMemoryWords};
  } catch (const std::exception& exception) {
    throw RpcError{kInternalError, exception.what()};
  }
}

std::string answer(QuarnSocket& quarn, std::string_view line) {
  Json request = Json::parse(line, nullptr, false);
  if (request.is_discarded()) return errorResponse(nullptr, {kNoJson, "this line is not JSON"});
  if (!request.is_object()) return errorResponse(nullptr, {kNoRequest, "a request is one JSON object"});
  const Json* id = memberOf(request, "id");
  try {
    if (id != nullptr && !isId(*id)) throw RpcError{kNoRequest, R"("id" has to be a string or a number)"};
    const std::string result = callMethod(quarn, request);
    return id != nullptr ? response(id, R"("result":)" + result) : "";
  } catch (const RpcError& error) {
    return id != nullptr || error.code == kNoRequest ? errorResponse(id, error) : "";
  }
}

}  // namespace

std::string answerRequest(QuarnSocket& quarn, std::string_view line) {
  try {
    return answer(quarn, line);
  } catch (const std::bad_alloc&) {
    return errorResponse(nullptr, {kOutOfMemory, kOutOfMemoryWords});
  }
}

}  // namespace quarnex::tool
