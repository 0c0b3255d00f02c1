#include "conformance/windows/component_bindings.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "host/method_table.h"
#include "quarnex/failure.h"
#include "quarnex_idl.h"

namespace quarnex::test {

using nlohmann::json;

OwnVariant::OwnVariant(const json& value) {
  ::VariantInit(this);
  if (value.is_boolean()) {
    vt = VT_BOOL;
    boolVal = value.get<bool>() ? VARIANT_TRUE : VARIANT_FALSE;
  } else if (value.is_string()) {
    vt = VT_BSTR;
    bstrVal = textOfJson(value);
  } else {
    vt = VT_I4;
    lVal = value.get<LONG>();
  }
}

json jsonOf(const VARIANT& value) {
  if (value.vt == VT_BOOL) return value.boolVal != VARIANT_FALSE;
  if (value.vt == VT_I2) return value.iVal;
  if (value.vt == VT_I4) return value.lVal;  // as a script knows every number
  if (value.vt == VT_BSTR) return utf8OfText(value.bstrVal);
  return value.vt == VT_EMPTY ? json(nullptr) : json("a result of type " + std::to_string(value.vt));
}

BSTR textOfJson(const json& text) {
  const auto utf8 = text.get<std::string>();
  const int length = static_cast<int>(utf8.size());
  const int size = ::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, nullptr, 0);
  BSTR made = ::SysAllocStringLen(nullptr, static_cast<UINT>(size));
  ::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, made, size);
  return made;
}

std::string utf8OfText(BSTR text) {
  std::string utf8;
  for (UINT i = 0; i < ::SysStringLen(text); ++i) appendUtf8(utf8, text[i]);
  return utf8;
}

bool isAnswer(const std::string& method) {
  return findMethod(method) == nullptr;
}

void requireSuccess(HRESULT result) {
  constexpr long kPlatformNumbers[][2] = {{DISP_E_OVERFLOW, 6}, {DISP_E_TYPEMISMATCH, 13}};
  if (SUCCEEDED(result)) return;
  for (const auto& [platform, number] : kPlatformNumbers)
    if (result == platform) throw Failure(static_cast<std::int32_t>(number), "by the platform");
  const bool isClassic = (static_cast<ULONG>(result) & 0xFFFF0000U) == 0x800A0000U;
  throw Failure(isClassic ? static_cast<std::int32_t>(result & 0xFFFF) : static_cast<std::int32_t>(result),
                "");
}

namespace {

// A text for one call.
struct CallText {
  explicit CallText(const json& value) : text(textOfJson(value)) {}
  ~CallText() { ::SysFreeString(text); }
  CallText(const CallText&) = delete;
  CallText& operator=(const CallText&) = delete;
  BSTR text;
};

// The result of a call that returns a text.
template <class Call>
json textResult(const Call& call) {
  OwnVariant result;
  result.vt = VT_BSTR;
  result.bstrVal = nullptr;
  requireSuccess(call(&result.bstrVal));
  return jsonOf(result);
}

template <class Call>
json booleanResult(const Call& call) {
  VARIANT_BOOL result = VARIANT_FALSE;
  requireSuccess(call(&result));
  return result != VARIANT_FALSE;
}

VARIANT_BOOL booleanOf(const json& value) {
  return value.get<bool>() ? VARIANT_TRUE : VARIANT_FALSE;
}

class EarlyBinding final : public Binding {
 public:
  std::string_view name() const override { return "early"; }
  json call(const std::string& method, const json& parameters) override {
    if (isAnswer(method)) return json::parse(answer(method, parameters).get<std::string>());
    if (const auto found = kIndexMethods.find(method); found != kIndexMethods.end()) {
      short index = parameters[0].get<short>();
      requireSuccess((quarn_.get()->*found->second)(&index));
      return nullptr;
    }
    return otherMethod(method, parameters);
  }
  void turn() override { requireSuccess(answers_->turn(200)); }

 private:
  json otherMethod(const std::string& method, const json& parameters);
  json answer(const std::string& method, const json& parameters);

  using IndexMethod = HRESULT (STDMETHODCALLTYPE _QuarnSocket::*)(short*);
  using Answer = HRESULT (STDMETHODCALLTYPE _QuarnAnswers::*)(BSTR*);
  using LinkAnswer = HRESULT (STDMETHODCALLTYPE _QuarnAnswers::*)(short, BSTR*);
  using TextAnswer = HRESULT (STDMETHODCALLTYPE _QuarnAnswers::*)(BSTR, BSTR*);
  static const std::map<std::string, IndexMethod> kIndexMethods;
  static const std::map<std::string, Answer> kAnswers;
  static const std::map<std::string, LinkAnswer> kLinkAnswers;
  static const std::map<std::string, TextAnswer> kTextAnswers;

  Reference<_QuarnSocket> quarn_{createObject<_QuarnSocket>(L"Quarnex.QuarnSocket", __uuidof(_QuarnSocket))};
  Reference<_QuarnAnswers> answers_{
      createObject<_QuarnAnswers>(L"Quarnex.QuarnSocket", __uuidof(_QuarnAnswers))};
};

const std::map<std::string, EarlyBinding::IndexMethod> EarlyBinding::kIndexMethods{
    {"Apri", &_QuarnSocket::Apri},
    {"Chiudi", &_QuarnSocket::Chiudi},
    {"AttivaDebug", &_QuarnSocket::AttivaDebug},
    {"DisattivaDebug", &_QuarnSocket::DisattivaDebug},
    {"DisattivaLog", &_QuarnSocket::DisattivaLog}};
const std::map<std::string, EarlyBinding::Answer> EarlyBinding::kAnswers{
    {"nextEvent", &_QuarnAnswers::nextEvent},
    {"linksWithNews", &_QuarnAnswers::linksWithNews},
    {"eventsWaiting", &_QuarnAnswers::eventsWaiting}};
const std::map<std::string, EarlyBinding::LinkAnswer> EarlyBinding::kLinkAnswers{
    {"pending", &_QuarnAnswers::pending},
    {"outages", &_QuarnAnswers::outages},
    {"drainAndLeave", &_QuarnAnswers::drainAndLeave},
    {"receive", &_QuarnAnswers::receive},
    {"snapshot", &_QuarnAnswers::snapshot},
    {"accepted", &_QuarnAnswers::accepted},
    {"decidedUpTo", &_QuarnAnswers::decidedUpTo},
    {"reportWaits", &_QuarnAnswers::reportWaits}};
const std::map<std::string, EarlyBinding::TextAnswer> EarlyBinding::kTextAnswers{
    {"checkText", &_QuarnAnswers::checkText},
    {"encodeText", &_QuarnAnswers::encodeText},
    {"decodeText", &_QuarnAnswers::decodeText}};

json EarlyBinding::otherMethod(const std::string& method, const json& parameters) {
  short index = !parameters.empty() && parameters[0].is_number() ? parameters[0].get<short>() : short{0};
  if (method == "GetMessaggioArrivato")
    return textResult([&](BSTR* text) { return quarn_->GetMessaggioArrivato(&index, text); });
  if (method == "GetDebug") return textResult([&](BSTR* text) { return quarn_->GetDebug(&index, text); });
  if (method == "MessaggioArrivato")
    return booleanResult([&](VARIANT_BOOL* flag) { return quarn_->MessaggioArrivato(&index, flag); });
  if (method == "Connesso")
    return booleanResult([&](VARIANT_BOOL* flag) { return quarn_->Connesso(&index, flag); });
  if (method == "ProntoPerUscire") {
    OwnVariant ready;
    requireSuccess(quarn_->ProntoPerUscire(&ready));
    return jsonOf(ready);
  }
  if (method == "Add") {
    CallText type(parameters[0]);
    short identifier = parameters[1].get<short>(), added = 0;
    VARIANT_BOOL client = booleanOf(parameters[2]), tcp = booleanOf(parameters[3]);
    requireSuccess(quarn_->Add(&type.text, &identifier, &client, &tcp, &added));
    return added;
  }
  if (method == "Uscita") return requireSuccess(quarn_->Uscita()), nullptr;
  if (method == "AttivaLog") return requireSuccess(quarn_->AttivaLog()), nullptr;
  CallText text(parameters.back());
  requireSuccess(method == "Init" ? quarn_->Init(&text.text) : quarn_->Invia(&index, &text.text));
  return nullptr;
}

json EarlyBinding::answer(const std::string& method, const json& parameters) {
  _QuarnAnswers* const answers = answers_.get();
  return textResult([&](BSTR* result) {
    if (const auto found = kAnswers.find(method); found != kAnswers.end())
      return (answers->*found->second)(result);
    if (const auto found = kTextAnswers.find(method); found != kTextAnswers.end())
      return (answers->*found->second)(CallText(parameters[0]).text, result);
    const short first = parameters[0].get<short>();
    if (const auto found = kLinkAnswers.find(method); found != kLinkAnswers.end())
      return (answers->*found->second)(first, result);
    if (method == "send") return answers->send(first, CallText(parameters[1]).text, result);
    if (method == "enableEvents") return answers->enableEvents(first, booleanOf(parameters[1]), result);
    return answers->drainAndClose(first, parameters[1].get<short>(), result);
  });
}

class LateBinding final : public Binding {
 public:
  std::string_view name() const override { return "late"; }
  json call(const std::string& method, const json& parameters) override {
    IDispatch* const object = isAnswer(method) ? answers_.get() : quarn_.get();
    OwnVariant result;
    invoke(object, method, parameters, result);
    return isAnswer(method) ? json::parse(utf8OfText(result.bstrVal)) : jsonOf(result);
  }
  void turn() override {
    OwnVariant none;
    invoke(answers_.get(), "turn", json{200}, none);
  }

 private:
  // In capital letters, because names ignore the case.
  static void invoke(IDispatch* object, const std::string& method, const json& parameters,
                     OwnVariant& result) {
    std::wstring name(method.begin(), method.end());
    for (wchar_t& letter : name) letter = static_cast<wchar_t>(::towupper(letter));
    LPOLESTR text = name.data();
    DISPID id = 0;
    requireSuccess(object->GetIDsOfNames(IID_NULL, &text, 1, LOCALE_USER_DEFAULT, &id));
    std::vector<OwnVariant> arguments(parameters.size());
    for (std::size_t i = 0; i < parameters.size(); ++i) {
      OwnVariant value(parameters[i]);
      std::swap(static_cast<VARIANT&>(value), static_cast<VARIANT&>(arguments[parameters.size() - 1 - i]));
    }
    DISPPARAMS passed{arguments.data(), nullptr, static_cast<UINT>(arguments.size()), 0};
    EXCEPINFO failure{};
    const HRESULT outcome = object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &passed,
                                           &result, &failure, nullptr);
    ::SysFreeString(failure.bstrDescription);
    ::SysFreeString(failure.bstrSource);
    requireSuccess(outcome == DISP_E_EXCEPTION ? failure.scode : outcome);
  }

  Reference<IDispatch> quarn_{createObject<IDispatch>(L"Quarnex.QuarnSocket", IID_IDispatch)};
  Reference<IDispatch> answers_{createObject<IDispatch>(L"Quarnex.QuarnAnswers", IID_IDispatch)};
};

}  // namespace

std::unique_ptr<Binding> makeEarlyBinding() {
  return std::make_unique<EarlyBinding>();
}

std::unique_ptr<Binding> makeLateBinding() {
  return std::make_unique<LateBinding>();
}

}  // namespace quarnex::test
