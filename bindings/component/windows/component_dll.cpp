// The server DLL: its class factory and the four entry points.
#include <windows.h>

#include <memory>
#include <new>
#include <string>
#include <vector>

#include "component/windows/module.h"
#include "component/windows/quarn_object.h"

namespace quarnex {
namespace {

class ObjectFactory final : public IClassFactory {
 public:
  explicit ObjectFactory(const ComponentClass& described) : class_(described) {}
  virtual ~ObjectFactory() = default;
  ObjectFactory(const ObjectFactory&) = delete;
  ObjectFactory& operator=(const ObjectFactory&) = delete;

  STDMETHODIMP QueryInterface(REFIID identifier, void** found) override {
    const bool known = identifier == IID_IUnknown || identifier == IID_IClassFactory;
    *found = known ? this : nullptr;
    if (known) AddRef();
    return known ? S_OK : E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references_; }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }
  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID identifier, void** created) override;
  STDMETHODIMP LockServer(BOOL lock) override;

 private:
  const ComponentClass& class_;
  ULONG references_ = 1;
  std::shared_ptr<void> use_ = processOwner().uses;
};

// Of LockServer, for the whole process.
std::vector<std::shared_ptr<void>>& locks() {
  static std::vector<std::shared_ptr<void>> all;
  return all;
}

// The links belong to the thread of the first object, and two libraries of a process could not use the same
// ports.
void requireThreadOfObjects() {
  static DWORD thread = 0;
  if (!processOwner().inUse()) thread = ::GetCurrentThreadId();
  if (thread != ::GetCurrentThreadId())
    throw Failure(429, "Component can't create object: its links belong to another thread");
}

STDMETHODIMP ObjectFactory::CreateInstance(IUnknown* outer, REFIID identifier, void** created) {
  *created = nullptr;
  if (outer != nullptr) return CLASS_E_NOAGGREGATION;
  QuarnObject* object = nullptr;
  const HRESULT result = guarded([&] {
    requireThreadOfObjects();
    object = new QuarnObject(class_);
  });
  if (FAILED(result)) return result;
  const HRESULT found = object->QueryInterface(identifier, created);
  object->Release();
  return found;
}

STDMETHODIMP ObjectFactory::LockServer(BOOL lock) {
  return guarded([&] {
    if (lock != FALSE)
      locks().push_back(processOwner().uses);
    else if (!locks().empty())
      locks().pop_back();
  });
}

std::wstring wide(const std::string& ascii) {
  return {ascii.begin(), ascii.end()};
}

LSTATUS enter(const RegistryEntry& entry, const std::wstring& text) {
  HKEY key = nullptr;
  LSTATUS status = ::RegCreateKeyExW(HKEY_CLASSES_ROOT, wide(entry.key).c_str(), 0, nullptr, 0, KEY_SET_VALUE,
                                     nullptr, &key, nullptr);
  if (status != ERROR_SUCCESS) return status;
  status =
      ::RegSetValueExW(key, wide(entry.name).c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                       static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
  ::RegCloseKey(key);
  return status;
}

constexpr const char* kModulePlace = "?";  // stands for the path, which may have any characters

// The first two parts of a key: what belongs to this server alone.
std::string rootOf(const std::string& key) {
  const std::size_t first = key.find('\\');
  const bool isOwn = key.compare(0, first, "CLSID") == 0 || key.compare(0, first, "Interface") == 0 ||
                     key.compare(0, first, "TypeLib") == 0;
  return isOwn ? key.substr(0, key.find('\\', first + 1)) : key.substr(0, first);
}

}  // namespace
}  // namespace quarnex

using quarnex::kModulePlace;

STDAPI DllRegisterServer() {
  for (const quarnex::RegistryEntry& entry : quarnex::registryEntries(kModulePlace)) {
    const std::wstring text = entry.text == kModulePlace ? quarnex::modulePath() : quarnex::wide(entry.text);
    if (const LSTATUS status = quarnex::enter(entry, text); status != ERROR_SUCCESS)
      return HRESULT_FROM_WIN32(static_cast<DWORD>(status));
  }
  return S_OK;
}

STDAPI DllUnregisterServer() {
  for (const quarnex::RegistryEntry& entry : quarnex::registryEntries(kModulePlace)) {
    const LSTATUS status =
        ::RegDeleteTreeW(HKEY_CLASSES_ROOT, quarnex::wide(quarnex::rootOf(entry.key)).c_str());
    if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND)
      return HRESULT_FROM_WIN32(static_cast<DWORD>(status));
  }
  return S_OK;
}

STDAPI DllGetClassObject(REFCLSID wanted, REFIID identifier, void** found) {
  *found = nullptr;
  // The compiler's exceptions for 32-bit programs open up to three handles for each load, and never close
  // them.
  if constexpr (sizeof(void*) == 4) quarnex::keepLoaded();
  for (const auto* described : {&quarnex::quarnSocketClass(), &quarnex::quarnAnswersClass()}) {
    if (wanted != quarnex::guidOf(described->identifier)) continue;
    auto* const factory = new (std::nothrow) quarnex::ObjectFactory(*described);
    if (factory == nullptr) return E_OUTOFMEMORY;
    const HRESULT result = factory->QueryInterface(identifier, found);
    factory->Release();
    return result;
  }
  return CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllCanUnloadNow() {
  return quarnex::ComponentServer().canUnload() ? S_OK : S_FALSE;
}
