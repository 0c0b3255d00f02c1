// Lists the methods of quarn rpc once, for its answers, its help and its OpenRPC document.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "answers/answers.h"

namespace quarnex::tool {

/// The host behind the requests of one process.
struct RpcSession {
  QuarnSocket& quarn;
  bool subscribed = false;  ///< events are written as notifications as soon as they arise
};

struct RpcMethod;

/// One call, with parameters of the kinds that its row lists.
struct RpcCall {
  QuarnSocket& quarn() const { return session.quarn; }

  RpcSession& session;
  const RpcMethod& method;
  std::span<const Value> values;
};

struct RpcMethod {
  std::string_view name;
  std::string_view summary;
  std::span<const Parameter> parameters;
  std::string_view resultSchema;  ///< a JSON Schema of the result
  /// Returns the result as JSON. Throws like the method of the library.
  std::string (*call)(const RpcCall& call);
  const Method* hostMethod = nullptr;  ///< of the rows that are methods of `methodTable`
  const Answer* answer = nullptr;      ///< of the rows of `answers`
  bool takesPath = false;              ///< its text is the beginning of a path, in Unicode
};

/// The 15 methods of `methodTable` in their order, those of `answers`, then those of the session.
std::span<const RpcMethod> rpcMethods();

/// The method with exactly this name, or nullptr.
const RpcMethod* findRpcMethod(std::string_view name);

/// "Invia(IdxQuarn, s)".
std::string signatureOf(const RpcMethod& method);

/// All methods as an OpenRPC document.
std::string openRpcDocument();

}  // namespace quarnex::tool
