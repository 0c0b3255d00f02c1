#include <dlfcn.h>

#include <string>

#include "platform/common/system_zlib.h"
#include "quarnex/failure.h"

namespace quarnex {

SystemFunction zlibFunction(const char* name) {
  static void* const library = ::dlopen("libz.so.1", RTLD_NOW);
  if (library != nullptr) return reinterpret_cast<SystemFunction>(::dlsym(library, name));
  throw Failure(53, std::string("cannot be compressed or decompressed without zlib: ") + ::dlerror());
}

}  // namespace quarnex
