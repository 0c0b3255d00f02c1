#include "conformance/windows/component_bindings.h"

#include <functional>
#include <map>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "host/method_table.h"
#include "quarnex/failure.h"
#include "quarnex_idl.h"

namespace quarnex::test {

using nlohmann::json;

void OwnVariant::set(const json& value) {
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

// A parameter as a method declares it. VARIANT_BOOL is the same type as short.
template <class Type>
Type parameterOf(VARIANT& value) {
  if constexpr (std::is_same_v<Type, short>) {
    return value.iVal;
  } else if constexpr (std::is_same_v<Type, short*>) {
    return &value.iVal;
  } else if constexpr (std::is_same_v<Type, BSTR>) {
    return value.bstrVal;
  } else if constexpr (std::is_same_v<Type, BSTR*>) {
    return &value.bstrVal;
  } else {
    return &value;
  }
}

using Call = std::function<json(const json&)>;

/// Calls `method` with the parameters. After them comes the result, which the method declares as `type`,
/// unless it returns a variant or nothing.
template <class Interface, class... Types>
Call calling(const Reference<Interface>& object, HRESULT (STDMETHODCALLTYPE Interface::*method)(Types...),
             VARTYPE type = VT_EMPTY) {
  return [&object, method, type](const json& parameters) {
    OwnVariant values[sizeof...(Types) + 1];
    for (std::size_t i = 0; i < parameters.size(); ++i) values[i].set(parameters[i]);
    [&]<std::size_t... at>(std::index_sequence<at...>) {
      requireSuccess((object.get()->*method)(parameterOf<Types>(values[at])...));
    }
    (std::index_sequence_for<Types...>());
    OwnVariant& result = values[parameters.size()];
    if (type != VT_EMPTY) result.vt = type;
    return jsonOf(result);
  };
}

class EarlyBinding final : public Binding {
 public:
  std::string_view name() const override { return "early"; }
  json call(const std::string& method, const json& parameters) override {
    const json result = calls_.at(method)(parameters);
    return isAnswer(method) ? json::parse(result.get<std::string>()) : result;
  }
  void turn() override { requireSuccess(answers_->turn(200)); }

 private:
  Reference<_QuarnSocket> quarn_{createObject<_QuarnSocket>(L"Quarnex.QuarnSocket", __uuidof(_QuarnSocket))};
  Reference<_QuarnAnswers> answers_{
      createObject<_QuarnAnswers>(L"Quarnex.QuarnSocket", __uuidof(_QuarnAnswers))};
  const std::map<std::string, Call> calls_{
      {"Add", calling(quarn_, &_QuarnSocket::Add, VT_I2)},
      {"GetMessaggioArrivato", calling(quarn_, &_QuarnSocket::GetMessaggioArrivato, VT_BSTR)},
      {"ProntoPerUscire", calling(quarn_, &_QuarnSocket::ProntoPerUscire)},
      {"Invia", calling(quarn_, &_QuarnSocket::Invia)},
      {"Apri", calling(quarn_, &_QuarnSocket::Apri)},
      {"Chiudi", calling(quarn_, &_QuarnSocket::Chiudi)},
      {"Init", calling(quarn_, &_QuarnSocket::Init)},
      {"Uscita", calling(quarn_, &_QuarnSocket::Uscita)},
      {"MessaggioArrivato", calling(quarn_, &_QuarnSocket::MessaggioArrivato, VT_BOOL)},
      {"GetDebug", calling(quarn_, &_QuarnSocket::GetDebug, VT_BSTR)},
      {"AttivaDebug", calling(quarn_, &_QuarnSocket::AttivaDebug)},
      {"DisattivaDebug", calling(quarn_, &_QuarnSocket::DisattivaDebug)},
      {"AttivaLog", calling(quarn_, &_QuarnSocket::AttivaLog)},
      {"DisattivaLog", calling(quarn_, &_QuarnSocket::DisattivaLog)},
      {"Connesso", calling(quarn_, &_QuarnSocket::Connesso, VT_BOOL)},
      {"send", calling(answers_, &_QuarnAnswers::send, VT_BSTR)},
      {"pending", calling(answers_, &_QuarnAnswers::pending, VT_BSTR)},
      {"enableEvents", calling(answers_, &_QuarnAnswers::enableEvents, VT_BSTR)},
      {"nextEvent", calling(answers_, &_QuarnAnswers::nextEvent, VT_BSTR)},
      {"outages", calling(answers_, &_QuarnAnswers::outages, VT_BSTR)},
      {"drainAndClose", calling(answers_, &_QuarnAnswers::drainAndClose, VT_BSTR)},
      {"drainAndLeave", calling(answers_, &_QuarnAnswers::drainAndLeave, VT_BSTR)},
      {"receive", calling(answers_, &_QuarnAnswers::receive, VT_BSTR)},
      {"linksWithNews", calling(answers_, &_QuarnAnswers::linksWithNews, VT_BSTR)},
      {"snapshot", calling(answers_, &_QuarnAnswers::snapshot, VT_BSTR)},
      {"checkText", calling(answers_, &_QuarnAnswers::checkText, VT_BSTR)},
      {"encodeText", calling(answers_, &_QuarnAnswers::encodeText, VT_BSTR)},
      {"decodeText", calling(answers_, &_QuarnAnswers::decodeText, VT_BSTR)},
      {"accepted", calling(answers_, &_QuarnAnswers::accepted, VT_BSTR)},
      {"decidedUpTo", calling(answers_, &_QuarnAnswers::decidedUpTo, VT_BSTR)},
      {"eventsWaiting", calling(answers_, &_QuarnAnswers::eventsWaiting, VT_BSTR)},
      {"reportWaits", calling(answers_, &_QuarnAnswers::reportWaits, VT_BSTR)},
  };
};

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
    for (std::size_t i = 0; i < parameters.size(); ++i)
      arguments[parameters.size() - 1 - i].set(parameters[i]);
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
