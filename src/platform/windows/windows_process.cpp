// Provides the Windows platform for the process's own library, and the facts about the process.
#include <windows.h>

#include <string>

#include "platform/common/host_platform.h"
#include "platform/windows/windows_platform.h"

namespace quarnex {
namespace {

// The characters of `bytes` in a code page; empty if the bytes break its rules.
std::wstring decoded(const std::string& bytes, UINT codePage) {
  const int size = static_cast<int>(bytes.size());
  const int length = ::MultiByteToWideChar(codePage, MB_ERR_INVALID_CHARS, bytes.data(), size, nullptr, 0);
  std::wstring text(static_cast<std::size_t>(length), L'\0');
  ::MultiByteToWideChar(codePage, MB_ERR_INVALID_CHARS, bytes.data(), size, text.data(), length);
  return text;
}

}  // namespace

std::unique_ptr<HostPlatform> makeHostPlatform() {
  return std::make_unique<WindowsPlatform>();
}

LocalTime localTimeOfSystem() {
  SYSTEMTIME now{};
  ::GetLocalTime(&now);
  return {now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond};
}

std::string programName() {
  std::wstring path(MAX_PATH, L'\0');
  path.resize(::GetModuleFileNameW(nullptr, path.data(), MAX_PATH));
  const std::u8string name = std::filesystem::path(path).stem().u8string();
  return {name.begin(), name.end()};
}

unsigned long processNumber() {
  return ::GetCurrentProcessId();
}

std::filesystem::path trustedFolder(const char* variable) {
  const wchar_t* const folder = ::_wgetenv(std::filesystem::path(variable).c_str());
  return folder == nullptr ? L"" : folder;
}

// UTF-8, as in the rest of the interface; otherwise the bytes of a host that uses the code page of the
// system.
std::filesystem::path pathOf(const std::string& name) {
  const std::wstring text = decoded(name, CP_UTF8);
  return text.empty() ? decoded(name, CP_ACP) : text;
}

}  // namespace quarnex
