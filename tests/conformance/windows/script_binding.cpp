// A small script host: runs statements of JScript that create the classes by name and pass variables.
#include <windows.h>

#include <activscp.h>

#include <string>

#include "conformance/windows/component_bindings.h"
#include "quarnex/failure.h"

namespace quarnex::test {
namespace {

using nlohmann::json;

// The object `Host` of the script, whose method `Result` takes the result of a statement.
class HostObject final : public IDispatch {
 public:
  virtual ~HostObject() = default;
  STDMETHODIMP QueryInterface(REFIID identifier, void** found) override {
    const bool known = identifier == IID_IUnknown || identifier == IID_IDispatch;
    *found = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return 2; }  // the binding owns it
  STDMETHODIMP_(ULONG) Release() override { return 1; }
  STDMETHODIMP GetTypeInfoCount(UINT* count) override {
    *count = 0;
    return S_OK;
  }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID* ids) override {
    ids[0] = 1;
    return S_OK;
  }
  STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS* parameters, VARIANT*, EXCEPINFO*,
                      UINT*) override {
    ::VariantClear(&result);
    return parameters->cArgs == 1 ? ::VariantCopyInd(&result, parameters->rgvarg) : S_OK;
  }

  OwnVariant result;
};

class ScriptSite final : public IActiveScriptSite {
 public:
  explicit ScriptSite(HostObject& host) : host_(host) {}
  virtual ~ScriptSite() = default;
  STDMETHODIMP QueryInterface(REFIID identifier, void** found) override {
    const bool known = identifier == IID_IUnknown || identifier == __uuidof(IActiveScriptSite);
    *found = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return 2; }
  STDMETHODIMP_(ULONG) Release() override { return 1; }
  STDMETHODIMP GetLCID(LCID*) override { return E_NOTIMPL; }
  STDMETHODIMP GetItemInfo(LPCOLESTR, DWORD mask, IUnknown** item, ITypeInfo** info) override {
    if (info != nullptr) *info = nullptr;
    if ((mask & SCRIPTINFO_IUNKNOWN) != 0) *item = &host_;
    return S_OK;
  }
  STDMETHODIMP GetDocVersionString(BSTR*) override { return E_NOTIMPL; }
  STDMETHODIMP OnScriptTerminate(const VARIANT*, const EXCEPINFO*) override { return S_OK; }
  STDMETHODIMP OnStateChange(SCRIPTSTATE) override { return S_OK; }
  STDMETHODIMP OnScriptError(IActiveScriptError* error) override {
    EXCEPINFO thrown{};
    error->GetExceptionInfo(&thrown);
    failure = thrown.scode;
    ::SysFreeString(thrown.bstrDescription);
    ::SysFreeString(thrown.bstrSource);
    return S_OK;
  }
  STDMETHODIMP OnEnterScript() override { return S_OK; }
  STDMETHODIMP OnLeaveScript() override { return S_OK; }

  HRESULT failure = S_OK;

 private:
  HostObject& host_;
};

template <class Interface>
Interface* scriptEngine() {
  CLSID language{};
  requireSuccess(::CLSIDFromProgID(L"JScript", &language));
  Interface* engine = nullptr;
  requireSuccess(::CoCreateInstance(language, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IActiveScript),
                                    reinterpret_cast<void**>(&engine)));
  return engine;
}

class ScriptBinding final : public Binding {
 public:
  ScriptBinding() {
    requireSuccess(
        engine_->QueryInterface(__uuidof(IActiveScriptParse), reinterpret_cast<void**>(parser_.receive())));
    requireSuccess(parser_->InitNew());
    requireSuccess(engine_->SetScriptSite(&site_));
    requireSuccess(engine_->AddNamedItem(L"Host", SCRIPTITEM_ISVISIBLE));
    requireSuccess(engine_->SetScriptState(SCRIPTSTATE_CONNECTED));
    run("var quarn = new ActiveXObject('Quarnex.QuarnSocket');"
        "var answers = new ActiveXObject('Quarnex.QuarnAnswers');");
  }
  ~ScriptBinding() override { engine_->Close(); }

  std::string_view name() const override { return "script"; }
  // Each parameter is a variable, which the engine passes by reference.
  json call(const std::string& method, const json& parameters) override {
    std::string variables, names;
    for (std::size_t i = 0; i < parameters.size(); ++i) {
      const std::string name = "p" + std::to_string(i);
      variables += "var " + name + " = " + parameters[i].dump(-1, ' ', true) + ";";
      names += (i > 0 ? ", " : "") + name;
    }
    run(variables + "Host.Result(" + (isAnswer(method) ? "answers." : "quarn.") + method + '(' + names +
        "));");
    const json result = jsonOf(host_.result);
    return isAnswer(method) && result.is_string() ? json::parse(result.get<std::string>()) : result;
  }
  void turn() override { run("answers.turn(200);"); }

 private:
  void run(const std::string& ascii) {
    site_.failure = S_OK;
    ::VariantClear(&host_.result);
    const std::wstring text(ascii.begin(), ascii.end());
    const HRESULT outcome = parser_->ParseScriptText(text.c_str(), nullptr, nullptr, nullptr, 0, 0,
                                                     SCRIPTTEXT_ISVISIBLE, nullptr, nullptr);
    requireSuccess(FAILED(site_.failure) ? site_.failure : outcome);
  }

  HostObject host_;
  ScriptSite site_{host_};
  Reference<IActiveScript> engine_{scriptEngine<IActiveScript>()};
  Reference<IActiveScriptParse> parser_;
};

}  // namespace

std::unique_ptr<Binding> makeScriptBinding() {
  return std::make_unique<ScriptBinding>();
}

}  // namespace quarnex::test
