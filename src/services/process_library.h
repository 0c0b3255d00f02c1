// Provides the process's own library, composed on this system's adapter on first use.
#pragma once

#include <functional>
#include <memory>

#include "services/services.h"

namespace quarnex {

struct Library;

/// The library behind `QuarnSocket`'s default constructor; lives as long as the process. Throws `Failure`
/// 10024 if no descriptors are left for its loop; a later call tries again.
Library& processLibrary();

/// Calls `make` and wraps the services of the library, which is composed later, with the result. The wrapper
/// lives as long as the process. Throws `Failure` 5 if the library has been composed or wrapped already.
void wrapProcessServices(const std::function<std::unique_ptr<ServicesWrapper>()>& make);

}  // namespace quarnex
