// Returns the program or component that contains this code.
#pragma once

#include <windows.h>

namespace quarnex {

/// Its handle, which need not be freed.
inline HINSTANCE thisModule() {
  static const char here = 0;
  HMODULE module = nullptr;
  ::GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       &here, &module);
  return module;
}

}  // namespace quarnex
