#include "conformance/windows/component_checks.h"

#include <cstdio>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>

#include "conformance/windows/component_bindings.h"
#include "quarnex/failure.h"
#include "quarnex_idl.h"

namespace quarnex::test {
namespace {

// Objects load, work and go: the number of a fresh handle shows whether some remain.
bool leavesNothing() {
  const auto freshHandle = [] {
    const HANDLE event = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
    ::CloseHandle(event);
    return reinterpret_cast<std::uintptr_t>(event);
  };
  const auto work = [] {
    const auto binding = makeLateBinding();
    binding->call("Add", {"ABC", 5, true, true});
    binding->call("Apri", {1});
    try {
      binding->call("drainAndClose", {7, 1});  // fails: an exception inside the server
    } catch (const Failure&) {
    }
  };
  for (int i = 0; i < 10; ++i) work();
  const std::uintptr_t before = freshHandle();
  for (int i = 0; i < 1000; ++i) {
    work();
    ::CoFreeUnusedLibrariesEx(0, 0);
  }
  const std::uintptr_t after = freshHandle();
  std::printf("1000 objects: a fresh handle had the number %llu, now %llu\n",
              static_cast<unsigned long long>(before), static_cast<unsigned long long>(after));
  return after <= before + 16;
}

DWORD WINAPI createOnThread(void* result) {
  ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  CLSID found{};
  ::CLSIDFromProgID(L"Quarnex.QuarnSocket", &found);
  IDispatch* created = nullptr;
  *static_cast<HRESULT*>(result) = ::CoCreateInstance(found, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch,
                                                      reinterpret_cast<void**>(&created));
  ::CoUninitialize();
  return 0;
}

bool refusesAnotherThread() {
  const auto first = makeLateBinding();
  HRESULT outcome = S_OK;
  const HANDLE thread = ::CreateThread(nullptr, 0, createOnThread, &outcome, 0, nullptr);
  ::WaitForSingleObject(thread, INFINITE);
  ::CloseHandle(thread);
  std::printf("an object on a second thread: 0x%08lx\n", static_cast<unsigned long>(outcome));
  return static_cast<ULONG>(outcome) == 0x800A01AD;
}

// The type as the source of the type library writes it.
std::string typeOf(const TYPEDESC& type) {
  if (type.vt == VT_PTR) return typeOf(*type.lptdesc) + '*';
  for (const auto& [number, name] : {std::pair{VT_I2, "short"},
                                     {VT_BOOL, "VARIANT_BOOL"},
                                     {VT_BSTR, "BSTR"},
                                     {VT_VARIANT, "VARIANT"},
                                     {VT_HRESULT, "HRESULT"}})
    if (type.vt == number) return name;
  return "type " + std::to_string(type.vt);
}

std::string declarationOf(ITypeInfo& info, const FUNCDESC& function) {
  constexpr UINT kNamesMax = 8;
  BSTR names[kNamesMax];
  UINT count = 0;
  requireSuccess(info.GetNames(function.memid, names, kNamesMax, &count));
  std::ostringstream line;
  line << "[id(0x" << std::hex << function.memid << ")] " << typeOf(function.elemdescFunc.tdesc) << ' '
       << utf8OfText(names[0]) << '(';
  for (short i = 0; i < function.cParams; ++i) {
    const ELEMDESC& parameter = function.lprgelemdescParam[i];
    const bool isResult = (parameter.paramdesc.wParamFlags & PARAMFLAG_FRETVAL) != 0;
    line << (i > 0 ? ", " : "") << (isResult ? "[out, retval] " : "[in] ") << typeOf(parameter.tdesc) << ' '
         << utf8OfText(names[i + 1]);
  }
  line << ");\n";
  for (UINT i = 0; i < count; ++i) ::SysFreeString(names[i]);
  return line.str();
}

// The declarations of an interface's own methods in the compiled type library.
std::string declarationsOf(ITypeLib& library, REFIID identifier) {
  Reference<ITypeInfo> dispatch, info;
  requireSuccess(library.GetTypeInfoOfGuid(identifier, dispatch.receive()));
  HREFTYPE custom = 0;
  requireSuccess(dispatch->GetRefTypeOfImplType(static_cast<UINT>(-1), &custom));
  requireSuccess(dispatch->GetRefTypeInfo(custom, info.receive()));
  TYPEATTR* attributes = nullptr;
  requireSuccess(info->GetTypeAttr(&attributes));
  const UINT count = attributes->cFuncs;
  info->ReleaseTypeAttr(attributes);
  std::string all;
  for (UINT i = 0; i < count; ++i) {
    FUNCDESC* function = nullptr;
    requireSuccess(info->GetFuncDesc(i, &function));
    all += declarationOf(*info.get(), *function);
    info->ReleaseFuncDesc(function);
  }
  return all;
}

bool hasTypeLibrary() {
  GUID identifier{};
  ::CLSIDFromString(L"{6F0C5B0E-2B1D-4E57-9C0A-51D3A7A0E403}", &identifier);
  Reference<ITypeLib> library;
  requireSuccess(::LoadRegTypeLib(identifier, 1, 0, LOCALE_NEUTRAL, library.receive()));
  std::ifstream source(QUARNEX_TYPE_LIBRARY_SOURCE);
  std::string expected;
  for (std::string line; std::getline(source, line);)
    if (const std::size_t begin = line.find("[id("); begin != std::string::npos)
      expected += line.substr(begin) + '\n';
  const std::string compiled = declarationsOf(*library.get(), __uuidof(_QuarnSocket)) +
                               declarationsOf(*library.get(), __uuidof(_QuarnAnswers));
  std::printf("type library: %s\n", compiled == expected ? "as its source says" : compiled.c_str());
  return compiled == expected;
}

struct Errand {
  IStream* passed = nullptr;  // holds the interface on its way to another apartment
  short added = 0;
  HRESULT result = E_FAIL;
};

DWORD WINAPI callThroughProxy(void* parameter) {
  auto& errand = *static_cast<Errand*>(parameter);
  ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  {
    Reference<_QuarnSocket> proxy;
    errand.result = ::CoGetInterfaceAndReleaseStream(errand.passed, __uuidof(_QuarnSocket),
                                                     reinterpret_cast<void**>(proxy.receive()));
    BSTR type = ::SysAllocString(L"ABC");
    short identifier = 5;
    VARIANT_BOOL client = VARIANT_TRUE, tcp = VARIANT_FALSE;
    if (SUCCEEDED(errand.result))
      errand.result = proxy->Add(&type, &identifier, &client, &tcp, &errand.added);
    ::SysFreeString(type);
  }
  ::CoUninitialize();
  return 0;
}

bool servesAnotherThreadThroughAProxy() {
  const Reference<_QuarnSocket> quarn(
      createObject<_QuarnSocket>(L"Quarnex.QuarnSocket", __uuidof(_QuarnSocket)));
  Errand errand;
  requireSuccess(
      ::CoMarshalInterThreadInterfaceInStream(__uuidof(_QuarnSocket), quarn.get(), &errand.passed));
  const HANDLE thread = ::CreateThread(nullptr, 0, callThroughProxy, &errand, 0, nullptr);
  MSG message{};
  while (::MsgWaitForMultipleObjects(1, &thread, FALSE, 10'000, QS_ALLINPUT) == WAIT_OBJECT_0 + 1)
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) ::DispatchMessageW(&message);
  ::CloseHandle(thread);
  std::printf("a call from another apartment: 0x%08lx, link %d\n", static_cast<unsigned long>(errand.result),
              errand.added);
  return errand.result == S_OK && errand.added == 1;
}

// The classes' root is replaced by a key that has been deleted, so that every change fails.
bool reportsARegistryThatCannotBeWritten() {
  using EntryPoint = HRESULT(STDAPICALLTYPE*)();
  HKEY gone = nullptr;
  ::RegCreateKeyExW(HKEY_CURRENT_USER, L"QuarnexTest", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &gone,
                    nullptr);
  ::RegDeleteKeyW(HKEY_CURRENT_USER, L"QuarnexTest");
  const HMODULE server = ::LoadLibraryW(L"quarnex.dll");
  ::RegOverridePredefKey(HKEY_CLASSES_ROOT, gone);
  HRESULT results[2];
  for (const auto& [name, result] :
       {std::pair{"DllRegisterServer", &results[0]}, {"DllUnregisterServer", &results[1]}})
    *result = reinterpret_cast<EntryPoint>(reinterpret_cast<void*>(::GetProcAddress(server, name)))();
  ::RegOverridePredefKey(HKEY_CLASSES_ROOT, nullptr);
  ::RegCloseKey(gone);
  ::FreeLibrary(server);
  std::printf("a registry that cannot be written: 0x%08lx, 0x%08lx\n", static_cast<unsigned long>(results[0]),
              static_cast<unsigned long>(results[1]));
  return results[0] == HRESULT_FROM_WIN32(ERROR_KEY_DELETED) && FAILED(results[1]);
}

}  // namespace

bool checkClasses() {
  bool right = true;
  for (const auto check : {hasTypeLibrary, refusesAnotherThread, servesAnotherThreadThroughAProxy,
                           reportsARegistryThatCannotBeWritten, leavesNothing})
    right = check() && right;
  return right;
}

}  // namespace quarnex::test
