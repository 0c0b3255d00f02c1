#include "c/c_boundary.h"

#include <cstddef>
#include <exception>
#include <new>

#include "quarnex/failure.h"

namespace quarnex::c {
namespace {

constexpr std::int32_t kInvalidCall = 5, kOutOfMemory = 7, kInternalError = 51;

// A description that is cut still ends with a zero.
std::int32_t describe(quarnex_error* error, std::int32_t number, const char* description) {
  constexpr std::size_t beginning = offsetof(quarnex_error, description);
  if (error == nullptr || error->size <= beginning) return number;
  const std::size_t room = std::min<std::size_t>(error->size - beginning, sizeof error->description);
  const std::size_t length = std::min(std::strlen(description), room - 1);
  error->number = number;
  std::memcpy(error->description, description, length);
  error->description[length] = '\0';
  return number;
}

}  // namespace

std::int32_t settle(quarnex_error* error) noexcept {
  try {
    throw;
  } catch (const Failure& failure) {
    return describe(error, failure.number(), failure.what());
  } catch (const std::bad_alloc&) {
    return describe(error, kOutOfMemory, "Out of memory");
  } catch (const std::exception& thrown) {
    return describe(error, kInternalError, thrown.what());
  } catch (...) {
    return describe(error, kInternalError, "Internal error");
  }
}

void refuse(const char* reason) {
  throw Failure(kInvalidCall, std::string("Invalid procedure call or argument: ") + reason);
}

}  // namespace quarnex::c
