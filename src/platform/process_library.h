// The process's own library on this system's adapter, composed on first use.
#pragma once

#include <functional>
#include <memory>

#include "component/library.h"

namespace quarnex {

Library& processLibrary();

/// Something that stands between the process's library and its services, such as a recorder.
class ServicesWrapper {
 public:
  virtual ~ServicesWrapper() = default;
  virtual Services wrap(const Services& services) = 0;
  virtual void watch(Library& library) = 0;
};

/// Makes the wrapper for the library that is composed later; it lives as long as the process. Failure 5 if
/// the library has been composed or wrapped already.
void wrapProcessServices(const std::function<std::unique_ptr<ServicesWrapper>()>& make);

}  // namespace quarnex
