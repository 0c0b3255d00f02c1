#include <windows.h>

#include <filesystem>
#include <string>

#include "platform/common/system_zlib.h"
#include "platform/windows/this_module.h"
#include "quarnex/failure.h"

namespace quarnex {
namespace {

// Windows has no zlib of its own. Another folder of the search path could hold anybody's file.
HMODULE loadBesideThisModule() {
  std::wstring path(MAX_PATH, L'\0');
  path.resize(::GetModuleFileNameW(thisModule(), path.data(), MAX_PATH));
  const std::filesystem::path library = std::filesystem::path(path).parent_path() / L"zlib1.dll";
  return ::LoadLibraryExW(library.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
}

}  // namespace

SystemFunction zlibFunction(const char* name) {
  static const HMODULE library = loadBesideThisModule();
  if (library != nullptr) return reinterpret_cast<SystemFunction>(::GetProcAddress(library, name));
  throw Failure(53, "cannot be compressed or decompressed without zlib1.dll beside the program");
}

}  // namespace quarnex
