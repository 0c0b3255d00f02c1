#include "component/windows/module.h"

#include <windows.h>

namespace quarnex {
namespace {

HMODULE thisModule() {
  HMODULE module = nullptr;
  ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&thisModule), &module);
  return module;
}

}  // namespace

std::wstring modulePath() {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = ::GetModuleFileNameW(thisModule(), path.data(), static_cast<DWORD>(path.size()));
    if (length < path.size()) return path.substr(0, length);
    path.resize(2 * path.size());
  }
}

void keepLoaded() {
  HMODULE module = nullptr;
  ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                       reinterpret_cast<LPCWSTR>(&thisModule), &module);
}

HRESULT typeInfoOf(std::string_view interfaceIdentifier, ITypeInfo** info) {
  *info = nullptr;
  ITypeLib* library = nullptr;
  HRESULT result = ::LoadTypeLibEx(modulePath().c_str(), REGKIND_NONE, &library);
  if (FAILED(result)) return result;
  result = library->GetTypeInfoOfGuid(guidOf(interfaceIdentifier), info);
  library->Release();
  return result;
}

GUID guidOf(std::string_view identifier) {
  GUID guid{};
  ::CLSIDFromString(std::wstring(identifier.begin(), identifier.end()).c_str(), &guid);
  return guid;
}

}  // namespace quarnex
