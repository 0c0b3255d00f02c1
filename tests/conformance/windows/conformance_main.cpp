// Holds the conversations with the registered component classes: conformance FREE_IDENTIFIER
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string>

#include "conformance/windows/component_bindings.h"
#include "quarnex/failure.h"

namespace quarnex::test {
namespace {

bool holdAll(std::unique_ptr<Binding> (*make)(), const Surroundings& surroundings) {
  bool right = true;
  for (const nlohmann::json& conversation : conversations()) {
    const auto binding = make();
    const std::string wrong = hold(*binding, conversation, surroundings);
    right = right && wrong.empty();
    std::printf("%s: %s%s%s\n", std::string(binding->name()).c_str(),
                conversation["name"].get<std::string>().c_str(),
                wrong.empty() ? "" : ": FAILED: ", wrong.c_str());
    std::fflush(stdout);
  }
  return right;
}

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

int run(int identifier) {
  const Surroundings surroundings{identifier, std::filesystem::temp_directory_path().string()};
  bool right = refusesAnotherThread() && leavesNothing();
  for (const auto make : {makeEarlyBinding, makeLateBinding, makeScriptBinding})
    right = holdAll(make, surroundings) && right;
  return right ? 0 : 1;
}

}  // namespace
}  // namespace quarnex::test

int main(int count, char** arguments) {
  if (count != 2) return 2;
  ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  int status = 1;
  try {
    status = quarnex::test::run(std::atoi(arguments[1]));
  } catch (const quarnex::Failure& failure) {
    std::printf("failure 0x%08lx: %s\n", static_cast<unsigned long>(failure.number()), failure.what());
  } catch (const std::exception& thrown) {
    std::printf("%s\n", thrown.what());
  }
  ::CoUninitialize();
  return status;
}
