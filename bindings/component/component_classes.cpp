#include "component/component_classes.h"

#include <algorithm>
#include <chrono>
#include <sstream>

#include "answers/json_values.h"
#include "quarnex/component.h"
#include "quarnex/host_loop.h"

namespace quarnex {
namespace {

constexpr std::string_view kTypeLibraryName = "Quarnex";
constexpr std::string_view kTypeLibraryVersion = "1.0";
// The system's own marshaller, which reads the type library (oleaut32).
constexpr std::string_view kMarshallerIdentifier = "{00020424-0000-0000-C000-000000000046}";

Value turnLoop(const ComponentMethod&, QuarnSocket&, std::span<const Value> values) {
  HostLoop().turn(std::chrono::milliseconds(std::get<std::int16_t>(values[0])));
  return {};
}

Value callMethod(const ComponentMethod& method, QuarnSocket& quarn, std::span<const Value> values) {
  return method.method->call(quarn, values);
}

Value callAnswer(const ComponentMethod& method, QuarnSocket& quarn, std::span<const Value> values) {
  return method.answer->call({quarn, values});
}

std::vector<ComponentMethod> quarnMethods() {
  std::vector<ComponentMethod> methods;
  for (const Method& method : methodTable()) {
    methods.push_back({method.name, method.dispatchId, method.parameters, method.result, method.variantResult,
                       callMethod, &method});
  }
  return methods;
}

std::vector<ComponentMethod> answerMethods() {
  static constexpr Parameter kMaxWait[] = {{"maxWaitMilliseconds", ValueKind::Integer}};
  auto next = static_cast<std::int32_t>(DispatchId::Add);
  std::vector<ComponentMethod> methods{{"turn", next++, kMaxWait, ValueKind::None, false, turnLoop}};
  for (const Answer& answer : answers()) {
    methods.push_back(
        {answer.name, next++, answer.parameters, ValueKind::String, false, callAnswer, nullptr, &answer});
  }
  return methods;
}

std::string_view typeOf(ValueKind kind) {
  constexpr std::string_view types[] = {"void", "short", "VARIANT_BOOL", "BSTR"};
  return types[static_cast<std::size_t>(kind)];
}

std::string uuidOf(std::string_view identifier) {
  return "uuid(" + std::string(identifier.substr(1, identifier.size() - 2)) + ')';
}

void declare(std::ostream& source, const ComponentMethod& method) {
  source << "    [id(0x" << std::hex << method.dispatchId << std::dec << ")] HRESULT " << method.name << '(';
  const char* separator = "";
  for (const Parameter& parameter : method.parameters) {
    source << separator << "[in] " << typeOf(parameter.kind) << (parameter.byReference ? "* " : " ")
           << parameter.name;
    separator = ", ";
  }
  if (method.result != ValueKind::None) {
    source << separator << "[out, retval] " << (method.variantResult ? "VARIANT" : typeOf(method.result))
           << "* result";
  }
  source << ");\n";
}

void declareInterface(std::ostream& source, const ComponentClass& described) {
  source << "  [odl, " << uuidOf(described.interfaceIdentifier) << ", dual, oleautomation, hidden]\n"
         << "  interface " << described.interfaceName << " : IDispatch {\n";
  for (const ComponentMethod& method : described.methods) declare(source, method);
  source << "  };\n\n";
}

void declareClass(std::ostream& source, const ComponentClass& described, std::string_view besides) {
  source << "  [" << uuidOf(described.identifier) << "]\n  coclass " << described.name << " {\n"
         << "    [default] interface " << described.interfaceName << ";\n";
  if (!besides.empty()) source << "    interface " << besides << ";\n";
  source << "  };\n";
}

void addClass(std::vector<RegistryEntry>& entries, const ComponentClass& described,
              const std::string& module) {
  const std::string name = programmaticNameOf(described);
  const std::string identifier(described.identifier);
  const std::string key = "CLSID\\" + identifier;
  const std::string interfaceKey = "Interface\\" + std::string(described.interfaceIdentifier);
  const std::string library(kTypeLibraryIdentifier);
  const std::string version(kTypeLibraryVersion);
  const RegistryEntry added[] = {
      {name, "", std::string(described.name)},
      {name + "\\CLSID", "", identifier},
      {key, "", name},
      {key + "\\InprocServer32", "", module},
      {key + "\\InprocServer32", "ThreadingModel", "Apartment"},
      {key + "\\ProgID", "", name},
      {key + "\\TypeLib", "", library},
      {key + "\\Version", "", version},
      {interfaceKey, "", std::string(described.interfaceName)},
      {interfaceKey + "\\ProxyStubClsid32", "", std::string(kMarshallerIdentifier)},
      {interfaceKey + "\\TypeLib", "", library},
      {interfaceKey + "\\TypeLib", "Version", version}};
  entries.insert(entries.end(), std::begin(added), std::end(added));
}

}  // namespace

bool equalIgnoringCase(std::string_view one, std::string_view other) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  return std::ranges::equal(one, other, {}, lower, lower);
}

const ComponentClass& quarnSocketClass() {
  static const ComponentClass described{"QuarnSocket", "{6F0C5B0E-2B1D-4E57-9C0A-51D3A7A0E401}",
                                        "_QuarnSocket", "{6F0C5B0E-2B1D-4E57-9C0A-51D3A7A0E402}",
                                        quarnMethods()};
  return described;
}

const ComponentClass& quarnAnswersClass() {
  static const ComponentClass described{"QuarnAnswers", "{6F0C5B0E-2B1D-4E57-9C0A-51D3A7A0E405}",
                                        "_QuarnAnswers", "{6F0C5B0E-2B1D-4E57-9C0A-51D3A7A0E404}",
                                        answerMethods()};
  return described;
}

std::string programmaticNameOf(const ComponentClass& described) {
  return std::string(kTypeLibraryName) + '.' + std::string(described.name);
}

std::vector<RegistryEntry> registryEntries(const std::string& module) {
  std::vector<RegistryEntry> entries;
  addClass(entries, quarnSocketClass(), module);
  addClass(entries, quarnAnswersClass(), module);
  const std::string key =
      "TypeLib\\" + std::string(kTypeLibraryIdentifier) + '\\' + std::string(kTypeLibraryVersion);
  entries.push_back({key, "", std::string(kTypeLibraryName)});
  entries.push_back({key + (sizeof(void*) == 8 ? "\\0\\win64" : "\\0\\win32"), "", module});
  entries.push_back({key + "\\FLAGS", "", "0"});
  return entries;
}

std::string typeLibrarySource() {
  std::ostringstream source;
  source << "// Describes the component classes; made from the tables of methods, and compared with them by "
            "a test.\n"
         << "import \"oaidl.idl\";\n\n"
         << '[' << uuidOf(kTypeLibraryIdentifier) << ", version(" << kTypeLibraryVersion << ")]\nlibrary "
         << kTypeLibraryName << " {\n  importlib(\"stdole2.tlb\");\n\n";
  declareInterface(source, quarnSocketClass());
  declareInterface(source, quarnAnswersClass());
  declareClass(source, quarnSocketClass(), quarnAnswersClass().interfaceName);
  declareClass(source, quarnAnswersClass(), "");
  source << "};\n";
  return source.str();
}

}  // namespace quarnex
