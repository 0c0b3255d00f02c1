// Something that stands between a library and its services, such as a recorder.
#pragma once

#include "services/services.h"

namespace quarnex {

struct Library;

/// Serves one library, which it outlives; the services outlive it.
class ServicesWrapper {
 public:
  virtual ~ServicesWrapper() = default;
  /// What the library is to be made on instead of `services`.
  virtual Services wrap(const Services& services) = 0;
  /// The library is there, and nobody has called it yet.
  virtual void watch(Library& library) = 0;
};

}  // namespace quarnex
