// Provides the process's own library, composed on this system's adapter on first use.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "services/services.h"

namespace quarnex {

struct Library;

/// The library behind `QuarnSocket`'s default constructor; lives until `endProcessLibrary`
/// or the end of the process. Throws `Failure`
/// 10024 if no descriptors are left for its loop; a later call tries again.
Library& processLibrary();
/// The library if it has been composed, otherwise nullptr.
Library* composedLibrary();
/// Ends the library, its links and its files, so that the next use composes another one. Does nothing if none
/// has been composed, or if there is a stand-in. Not for use inside a turn.
void endProcessLibrary();

/// Calls `make` and wraps the services of the library, which is composed later, with the result. The wrapper
/// lives as long as the library. Throws `Failure` 5 if the library has been composed or wrapped already.
void wrapProcessServices(const std::function<std::unique_ptr<ServicesWrapper>()>& make);

/// Takes the place of the process's own library and loop, for tests of host programs in virtual time.
class ProcessStandIn {
 public:
  virtual ~ProcessStandIn() = default;
  virtual Library& library() = 0;
  /// Like `HostLoop::turn`.
  virtual void turn(std::chrono::milliseconds maxWait) = 0;
};

/// From now on `standIn` is used, or the process's own library again if it is nullptr. Returns false and
/// changes nothing if there is another stand-in. While there is one, `wrapProcessServices` does nothing.
bool replaceProcess(ProcessStandIn* standIn);

}  // namespace quarnex
