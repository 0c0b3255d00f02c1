// Interface of objects that stand between a library and its services, such as a recorder.
#pragma once

#include "services/services.h"

namespace quarnex {

struct Library;

/// Wraps the services of one library. The wrapper outlives the library, and the services outlive the wrapper.
class ServicesWrapper {
 public:
  virtual ~ServicesWrapper() = default;
  /// Returns the services that the library is to use instead of `services`.
  virtual Services wrap(const Services& services) = 0;
  /// Called once the library exists, before its first host call.
  virtual void watch(Library& library) = 0;
};

}  // namespace quarnex
