// The objects of both classes in the component model: `QuarnSocket`, whose default interface is
// `_QuarnSocket`, and `QuarnAnswers`. Each object offers both interfaces.
#pragma once

#include <functional>
#include <string_view>

#include "component/component_classes.h"
#include "component/windows/variants.h"
#include "quarnex/component.h"
#include "quarnex_idl.h"

namespace quarnex {

/// Runs `body` and returns S_OK, or the number of its failure (0x800A0000 and its number) after setting the
/// error information of the thread.
HRESULT guarded(const std::function<void()>& body);

/// What both interfaces inherit: calls by name or number through the tables of methods.
class DispatchPart {
 public:
  explicit DispatchPart(const ComponentClass& described)
      : class_(described), object_(described, processOwner()) {}

  HRESULT idsOfNames(LPOLESTR* names, UINT count, DISPID* ids) const;
  HRESULT invoke(DISPID id, WORD flags, const DISPPARAMS& parameters, VARIANT* result, EXCEPINFO* failure,
                 UINT* wrong);
  HRESULT typeInfo(UINT which, ITypeInfo** info) const;
  /// The JSON of an answer, as a new text.
  BSTR answer(std::string_view name, const std::vector<ComponentValue>& parameters);

 private:
  const ComponentClass& class_;
  DispatchObject object_;
};

class QuarnObject;

/// Implements an interface of an object as far as it does not depend on its methods.
template <class Interface>
class InterfacePart : public Interface {
 public:
  InterfacePart(QuarnObject& whole, const ComponentClass& described) : whole_(whole), dispatch_(described) {}

  STDMETHODIMP QueryInterface(REFIID identifier, void** found) override;
  STDMETHODIMP_(ULONG) AddRef() override;
  STDMETHODIMP_(ULONG) Release() override;
  STDMETHODIMP GetTypeInfoCount(UINT* count) override {
    *count = 1;
    return S_OK;
  }
  STDMETHODIMP GetTypeInfo(UINT which, LCID, ITypeInfo** info) override {
    return dispatch_.typeInfo(which, info);
  }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override {
    return dispatch_.idsOfNames(names, count, ids);
  }
  STDMETHODIMP Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* parameters, VARIANT* result,
                      EXCEPINFO* failure, UINT* wrong) override {
    return dispatch_.invoke(id, flags, *parameters, result, failure, wrong);
  }

 protected:
  DispatchPart& dispatch() { return dispatch_; }
  HRESULT answer(std::string_view name, const std::vector<ComponentValue>& parameters, BSTR* result) {
    return guarded([&] { *result = dispatch_.answer(name, parameters); });
  }

 private:
  QuarnObject& whole_;
  DispatchPart dispatch_;
};

/// The 15 methods.
class QuarnSocketPart final : public InterfacePart<_QuarnSocket> {
 public:
  explicit QuarnSocketPart(QuarnObject& whole) : InterfacePart(whole, quarnSocketClass()) {}

  STDMETHODIMP Add(BSTR* Tipo, short* IdQUARN, VARIANT_BOOL* ConnessioneClient, VARIANT_BOOL* UsaTcp,
                   short* result) override;
  STDMETHODIMP GetMessaggioArrivato(short* IdxQuarn, BSTR* result) override;
  STDMETHODIMP ProntoPerUscire(VARIANT* result) override;
  STDMETHODIMP Invia(short* IdxQuarn, BSTR* s) override;
  STDMETHODIMP Apri(short* IdxQuarn) override;
  STDMETHODIMP Chiudi(short* IdxQuarn) override;
  STDMETHODIMP Init(BSTR* s) override;
  STDMETHODIMP Uscita() override;
  STDMETHODIMP MessaggioArrivato(short* IdxQuarn, VARIANT_BOOL* result) override;
  STDMETHODIMP GetDebug(short* IdxQuarn, BSTR* result) override;
  STDMETHODIMP AttivaDebug(short* IdxQuarn) override;
  STDMETHODIMP DisattivaDebug(short* IdxQuarn) override;
  STDMETHODIMP AttivaLog() override;
  STDMETHODIMP DisattivaLog(short* IdxQuarn) override;
  STDMETHODIMP Connesso(short* IdxQuarn, VARIANT_BOOL* result) override;

 private:
  QuarnSocket quarn_{processOwner().library()};
};

/// The loop and the answers in JSON.
class QuarnAnswersPart final : public InterfacePart<_QuarnAnswers> {
 public:
  explicit QuarnAnswersPart(QuarnObject& whole) : InterfacePart(whole, quarnAnswersClass()) {}

  STDMETHODIMP turn(short maxWaitMilliseconds) override;
  STDMETHODIMP send(short link, BSTR text, BSTR* result) override;
  STDMETHODIMP pending(short link, BSTR* result) override { return answer("pending", {link}, result); }
  STDMETHODIMP enableEvents(short link, VARIANT_BOOL on, BSTR* result) override {
    return answer("enableEvents", {link, on != VARIANT_FALSE}, result);
  }
  STDMETHODIMP nextEvent(BSTR* result) override { return answer("nextEvent", {}, result); }
  STDMETHODIMP outages(short link, BSTR* result) override { return answer("outages", {link}, result); }
  STDMETHODIMP drainAndClose(short link, short seconds, BSTR* result) override {
    return answer("drainAndClose", {link, seconds}, result);
  }
  STDMETHODIMP drainAndLeave(short seconds, BSTR* result) override {
    return answer("drainAndLeave", {seconds}, result);
  }
  STDMETHODIMP receive(short link, BSTR* result) override { return answer("receive", {link}, result); }
  STDMETHODIMP linksWithNews(BSTR* result) override { return answer("linksWithNews", {}, result); }
  STDMETHODIMP snapshot(short link, BSTR* result) override { return answer("snapshot", {link}, result); }
  STDMETHODIMP checkText(BSTR text, BSTR* result) override;
  STDMETHODIMP encodeText(BSTR text, BSTR* result) override;
  STDMETHODIMP decodeText(BSTR text, BSTR* result) override;
  STDMETHODIMP accepted(short link, BSTR* result) override { return answer("accepted", {link}, result); }
  STDMETHODIMP decidedUpTo(short link, BSTR* result) override {
    return answer("decidedUpTo", {link}, result);
  }
  STDMETHODIMP eventsWaiting(BSTR* result) override { return answer("eventsWaiting", {}, result); }
  STDMETHODIMP reportWaits(short link, BSTR* result) override {
    return answer("reportWaits", {link}, result);
  }
};

/// One object. It lives until its last interface is released.
class QuarnObject final : public ISupportErrorInfo {
 public:
  /// `described` determines the default interface.
  explicit QuarnObject(const ComponentClass& described) : class_(described) {}
  virtual ~QuarnObject() = default;
  QuarnObject(const QuarnObject&) = delete;
  QuarnObject& operator=(const QuarnObject&) = delete;

  STDMETHODIMP QueryInterface(REFIID identifier, void** found) override;
  STDMETHODIMP_(ULONG) AddRef() override { return ++references_; }
  STDMETHODIMP_(ULONG) Release() override;
  STDMETHODIMP InterfaceSupportsErrorInfo(REFIID identifier) override;

 private:
  const ComponentClass& class_;
  ULONG references_ = 1;
  QuarnSocketPart quarn_{*this};
  QuarnAnswersPart answers_{*this};
};

template <class Interface>
STDMETHODIMP InterfacePart<Interface>::QueryInterface(REFIID identifier, void** found) {
  return whole_.QueryInterface(identifier, found);
}
template <class Interface>
STDMETHODIMP_(ULONG)
InterfacePart<Interface>::AddRef() {
  return whole_.AddRef();
}
template <class Interface>
STDMETHODIMP_(ULONG)
InterfacePart<Interface>::Release() {
  return whole_.Release();
}

}  // namespace quarnex
