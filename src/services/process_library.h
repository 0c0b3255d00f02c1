// The process's own library on this system's adapter, composed on first use.
#pragma once

#include <functional>
#include <memory>

#include "services/services_wrapper.h"

namespace quarnex {

struct Library;

Library& processLibrary();

/// Makes the wrapper for the library that is composed later; it lives as long as the process. Failure 5 if
/// the library has been composed or wrapped already.
void wrapProcessServices(const std::function<std::unique_ptr<ServicesWrapper>()>& make);

}  // namespace quarnex
