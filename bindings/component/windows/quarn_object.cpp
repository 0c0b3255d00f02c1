#include "component/windows/quarn_object.h"

#include <exception>
#include <new>
#include <string>
#include <vector>

#include "component/windows/module.h"
#include "quarnex/host_loop.h"

namespace quarnex {
namespace {

constexpr ULONG kFirstFailure = 0x800A0000;  // the range of the classic run-time failures
constexpr std::int32_t kInternalError = 51;

HRESULT failed(std::int32_t number, const std::string& description) {
  ICreateErrorInfo* error = nullptr;
  if (SUCCEEDED(::CreateErrorInfo(&error))) {
    const BSTR text = textOf(description);
    error->SetDescription(text);
    ::SysFreeString(text);
    error->SetSource(const_cast<LPOLESTR>(L"Quarnex.QuarnSocket"));
    IErrorInfo* information = nullptr;
    if (SUCCEEDED(error->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&information)))) {
      ::SetErrorInfo(0, information);
      information->Release();
    }
    error->Release();
  }
  return static_cast<HRESULT>(kFirstFailure + static_cast<ULONG>(number));
}

// Takes the error information of the last call.
void describe(HRESULT result, EXCEPINFO& failure) {
  failure = {};
  failure.scode = result;
  IErrorInfo* information = nullptr;
  if (::GetErrorInfo(0, &information) != S_OK) return;
  information->GetDescription(&failure.bstrDescription);
  information->GetSource(&failure.bstrSource);
  information->Release();
}

VARTYPE typeOf(ValueKind kind) {
  constexpr VARTYPE types[] = {VT_EMPTY, VT_I2, VT_BOOL, VT_BSTR};
  return types[static_cast<std::size_t>(kind)];
}

std::string narrow(LPCOLESTR name) {
  std::string text;
  for (; *name != 0; ++name) text += *name < 0x80 ? static_cast<char>(*name) : '?';
  return text;
}

struct ToVariant {
  void operator()(std::monostate) const {}
  void operator()(bool flag) const {
    V_VT(&result) = VT_BOOL;
    V_BOOL(&result) = flag ? VARIANT_TRUE : VARIANT_FALSE;
  }
  void operator()(std::int16_t number) const {
    V_VT(&result) = VT_I2;
    V_I2(&result) = number;
  }
  void operator()(const std::string& text) const {
    V_BSTR(&result) = isJson ? textOfUtf8(text) : textOf(text);
    V_VT(&result) = VT_BSTR;
  }
  void operator()(auto) const {}  // no method returns another kind

  VARIANT& result;
  bool isJson;
};

const ComponentMethod* methodWith(const ComponentClass& described, DISPID id) {
  for (const ComponentMethod& method : described.methods)
    if (method.dispatchId == id) return &method;
  return nullptr;
}

bool isInit(const ComponentMethod& method) {
  return method.method != nullptr && method.method->dispatchId == static_cast<std::int32_t>(DispatchId::Init);
}

}  // namespace

HRESULT guarded(const std::function<void()>& body) {
  try {
    body();
    return S_OK;
  } catch (const Failure& failure) {
    return failed(failure.number(), failure.description());
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (const std::exception& thrown) {
    return failed(kInternalError, thrown.what());
  }
}

HRESULT DispatchPart::idsOfNames(LPOLESTR* names, UINT count, DISPID* ids) const {
  for (UINT i = 0; i < count; ++i) ids[i] = DISPID_UNKNOWN;
  try {
    ids[0] = object_.dispatchIdOf(narrow(names[0]));
  } catch (const Failure&) {
    return DISP_E_UNKNOWNNAME;
  }
  return count == 1 ? S_OK : DISP_E_UNKNOWNNAME;  // parameters have no names in a call
}

// The last argument comes first. Arguments may be variables of a script, by reference inside a variant, so
// each is copied before it is converted.
HRESULT DispatchPart::invoke(DISPID id, WORD flags, const DISPPARAMS& parameters, VARIANT* result,
                             EXCEPINFO* failure, UINT* wrong) {
  const ComponentMethod* const method = methodWith(class_, id);
  if (method == nullptr || (flags & (DISPATCH_METHOD | DISPATCH_PROPERTYGET)) == 0)
    return DISP_E_MEMBERNOTFOUND;
  if (parameters.cNamedArgs != 0) return DISP_E_NONAMEDARGS;
  if (parameters.cArgs != method->parameters.size()) return DISP_E_BADPARAMCOUNT;
  std::vector<ComponentValue> values;
  for (UINT left = parameters.cArgs; left > 0; --left) {
    try {
      const ValueKind kind = method->parameters[values.size()].kind;
      values.push_back(convertedArgument(parameters.rgvarg[left - 1], typeOf(kind), isInit(*method)));
    } catch (const Failure& unfit) {
      if (wrong != nullptr) *wrong = left - 1;
      if (unfit.number() == 6) return DISP_E_OVERFLOW;
      if (unfit.number() == 13) return DISP_E_TYPEMISMATCH;
      if (failure != nullptr) describe(guarded([&] { throw unfit; }), *failure);
      return DISP_E_EXCEPTION;
    }
  }
  const HRESULT outcome = guarded([&] {
    const ComponentValue returned = object_.invoke(id, values);
    if (result == nullptr) return;
    ::VariantInit(result);
    std::visit(ToVariant{*result, method->answer != nullptr}, returned);
  });
  if (SUCCEEDED(outcome)) return outcome;
  if (failure != nullptr) describe(outcome, *failure);
  return DISP_E_EXCEPTION;
}

HRESULT DispatchPart::typeInfo(UINT which, ITypeInfo** info) const {
  if (which != 0) return DISP_E_BADINDEX;
  return typeInfoOf(class_.interfaceIdentifier, info);
}

BSTR DispatchPart::answer(std::string_view name, const std::vector<ComponentValue>& parameters) {
  return textOfUtf8(std::get<std::string>(object_.invoke(name, parameters)));
}

STDMETHODIMP QuarnSocketPart::Add(BSTR* Tipo, short* IdQUARN, VARIANT_BOOL* ConnessioneClient,
                                  VARIANT_BOOL* UsaTcp, short* result) {
  return guarded([&] {
    *result =
        quarn_.Add(bytesOf(*Tipo), *IdQUARN, *ConnessioneClient != VARIANT_FALSE, *UsaTcp != VARIANT_FALSE);
  });
}

STDMETHODIMP QuarnSocketPart::GetMessaggioArrivato(short* IdxQuarn, BSTR* result) {
  return guarded([&] { *result = textOf(quarn_.GetMessaggioArrivato(*IdxQuarn)); });
}

STDMETHODIMP QuarnSocketPart::ProntoPerUscire(VARIANT* result) {
  return guarded([&] {
    V_I2(result) = quarn_.ProntoPerUscire();
    V_VT(result) = VT_I2;
  });
}

STDMETHODIMP QuarnSocketPart::Invia(short* IdxQuarn, BSTR* s) {
  return guarded([&] { quarn_.Invia(*IdxQuarn, bytesOf(*s)); });
}

STDMETHODIMP QuarnSocketPart::Apri(short* IdxQuarn) {
  return guarded([&] { quarn_.Apri(*IdxQuarn); });
}

STDMETHODIMP QuarnSocketPart::Chiudi(short* IdxQuarn) {
  return guarded([&] { quarn_.Chiudi(*IdxQuarn); });
}

STDMETHODIMP QuarnSocketPart::Init(BSTR* s) {
  return guarded([&] { quarn_.Init(utf8Of(*s)); });
}

STDMETHODIMP QuarnSocketPart::Uscita() {
  return guarded([&] { quarn_.Uscita(); });
}

STDMETHODIMP QuarnSocketPart::MessaggioArrivato(short* IdxQuarn, VARIANT_BOOL* result) {
  return guarded([&] { *result = quarn_.MessaggioArrivato(*IdxQuarn) ? VARIANT_TRUE : VARIANT_FALSE; });
}

STDMETHODIMP QuarnSocketPart::GetDebug(short* IdxQuarn, BSTR* result) {
  return guarded([&] { *result = textOf(quarn_.GetDebug(*IdxQuarn)); });
}

STDMETHODIMP QuarnSocketPart::AttivaDebug(short* IdxQuarn) {
  return guarded([&] { quarn_.AttivaDebug(*IdxQuarn); });
}

STDMETHODIMP QuarnSocketPart::DisattivaDebug(short* IdxQuarn) {
  return guarded([&] { quarn_.DisattivaDebug(*IdxQuarn); });
}

STDMETHODIMP QuarnSocketPart::AttivaLog() {
  return guarded([&] { quarn_.AttivaLog(); });
}

STDMETHODIMP QuarnSocketPart::DisattivaLog(short* IdxQuarn) {
  return guarded([&] { quarn_.DisattivaLog(*IdxQuarn); });
}

STDMETHODIMP QuarnSocketPart::Connesso(short* IdxQuarn, VARIANT_BOOL* result) {
  return guarded([&] { *result = quarn_.Connesso(*IdxQuarn) ? VARIANT_TRUE : VARIANT_FALSE; });
}

STDMETHODIMP QuarnAnswersPart::turn(short maxWaitMilliseconds) {
  return guarded([&] { HostLoop().turn(std::chrono::milliseconds(maxWaitMilliseconds)); });
}

STDMETHODIMP QuarnAnswersPart::send(short link, BSTR text, BSTR* result) {
  return guarded([&] { *result = dispatch().answer("send", {link, bytesOf(text)}); });
}

STDMETHODIMP QuarnAnswersPart::checkText(BSTR text, BSTR* result) {
  return guarded([&] { *result = dispatch().answer("checkText", {bytesOf(text)}); });
}

STDMETHODIMP QuarnAnswersPart::encodeText(BSTR text, BSTR* result) {
  return guarded([&] { *result = dispatch().answer("encodeText", {bytesOf(text)}); });
}

STDMETHODIMP QuarnAnswersPart::decodeText(BSTR text, BSTR* result) {
  return guarded([&] { *result = dispatch().answer("decodeText", {bytesOf(text)}); });
}

STDMETHODIMP QuarnObject::QueryInterface(REFIID identifier, void** found) {
  if (found == nullptr) return E_POINTER;
  const bool answersFirst = &class_ == &quarnAnswersClass();
  *found = nullptr;
  if (identifier == IID_ISupportErrorInfo || identifier == IID_IUnknown) {
    *found = static_cast<ISupportErrorInfo*>(this);
  } else if (identifier == __uuidof(_QuarnSocket) || (identifier == IID_IDispatch && !answersFirst)) {
    *found = static_cast<_QuarnSocket*>(&quarn_);
  } else if (identifier == __uuidof(_QuarnAnswers) || identifier == IID_IDispatch) {
    *found = static_cast<_QuarnAnswers*>(&answers_);
  } else {
    return E_NOINTERFACE;
  }
  AddRef();
  return S_OK;
}

STDMETHODIMP_(ULONG) QuarnObject::Release() {
  const ULONG left = --references_;
  if (left == 0) delete this;
  return left;
}

STDMETHODIMP QuarnObject::InterfaceSupportsErrorInfo(REFIID identifier) {
  return identifier == __uuidof(_QuarnSocket) || identifier == __uuidof(_QuarnAnswers) ? S_OK : S_FALSE;
}

}  // namespace quarnex
