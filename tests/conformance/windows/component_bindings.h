// Reaches the component classes through their interfaces, by dispatch, and from a script.
#pragma once

#include <windows.h>

#include <memory>

#include <oleauto.h>

#include "conformance/conversation.h"

namespace quarnex::test {

/// Owns a reference to an interface.
template <class Interface>
class Reference {
 public:
  Reference() = default;
  explicit Reference(Interface* owned) : pointer_(owned) {}
  ~Reference() {
    if (pointer_ != nullptr) pointer_->Release();
  }
  Reference(const Reference&) = delete;
  Reference& operator=(const Reference&) = delete;
  Interface* operator->() const { return pointer_; }
  Interface* get() const { return pointer_; }
  Interface** receive() { return &pointer_; }

 private:
  Interface* pointer_ = nullptr;
};

/// A variant that clears itself.
struct OwnVariant : VARIANT {
  OwnVariant() { ::VariantInit(this); }
  ~OwnVariant() { ::VariantClear(this); }
  OwnVariant(const OwnVariant&) = delete;
  OwnVariant& operator=(const OwnVariant&) = delete;
  /// Of a variant that has no value yet.
  void set(const nlohmann::json& value);
};

nlohmann::json jsonOf(const VARIANT& value);
BSTR textOfJson(const nlohmann::json& text);
std::string utf8OfText(BSTR text);
bool isAnswer(const std::string& method);

/// Throws `Failure` with the number that a host sees, if `result` is a failure.
void requireSuccess(HRESULT result);

/// An object of the class with this programmatic name, as `Interface`.
template <class Interface>
Interface* createObject(const wchar_t* name, REFIID identifier) {
  CLSID found{};
  requireSuccess(::CLSIDFromProgID(name, &found));
  Interface* created = nullptr;
  requireSuccess(::CoCreateInstance(found, nullptr, CLSCTX_INPROC_SERVER, identifier,
                                    reinterpret_cast<void**>(&created)));
  return created;
}

std::unique_ptr<Binding> makeEarlyBinding();
std::unique_ptr<Binding> makeLateBinding();
std::unique_ptr<Binding> makeScriptBinding();

}  // namespace quarnex::test
