// Gives a test a limit on a resource of its process: on file sizes, which acts as a full disk, or on
// descriptors.
#pragma once

#include <sys/resource.h>

namespace quarnex {

/// Limits a resource of this process while the object exists.
template <auto kResource>
class ResourceLimit {
 public:
  explicit ResourceLimit(rlim_t most) {
    ::getrlimit(kResource, &before_);
    const rlimit limit{most, before_.rlim_max};
    ::setrlimit(kResource, &limit);
  }
  ~ResourceLimit() { ::setrlimit(kResource, &before_); }
  ResourceLimit(const ResourceLimit&) = delete;
  ResourceLimit& operator=(const ResourceLimit&) = delete;

 private:
  rlimit before_{};
};

/// Limits every file to that number of bytes; a longer write is cut short.
using FileSizeLimit = ResourceLimit<RLIMIT_FSIZE>;

}  // namespace quarnex
