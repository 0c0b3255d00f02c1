#include "platform/windows/windows_time.h"

#include <windows.h>

#include "quarnex/failure.h"

namespace quarnex {
namespace {

constexpr std::int64_t kUnitsPerSecond = 10'000'000;         // of a FILETIME
constexpr std::int64_t kSecondsBefore1970 = 11'644'473'600;  // since the first FILETIME, in 1601
constexpr std::int64_t kLastSecond = 253'402'300'799;        // of the year 9999

std::int64_t secondOf(const FILETIME& time) {
  const auto units = static_cast<std::int64_t>(std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime);
  return units / kUnitsPerSecond - kSecondsBefore1970;
}

FILETIME fileTimeOf(std::int64_t second) {
  const auto units = static_cast<std::uint64_t>((second + kSecondsBefore1970) * kUnitsPerSecond);
  return {static_cast<DWORD>(units), static_cast<DWORD>(units >> 32)};
}

}  // namespace

void WindowsTimer::setEvents(TimerEvents* events) {
  if (events == nullptr) return loop_.onTick(nullptr);
  loop_.onTick([events] { events->onTick(); });
}

void WindowsTimer::setPeriod(std::int16_t milliseconds) {
  if (milliseconds < 0) throw Failure(5, "Invalid procedure call or argument");
  loop_.setTick(milliseconds);
  period_ = milliseconds;
}

std::int64_t secondOfSystem() {
  FILETIME now{};
  ::GetSystemTimeAsFileTime(&now);
  return secondOf(now);
}

Moment WindowsClock::moment() {
  return {systemSecond_(), static_cast<std::int64_t>(::GetTickCount64())};
}

// Both conversions use the rules of the zone for the year of the instant.
std::int32_t WindowsClock::utcOffset(Instant instant) {
  const std::int64_t second = forward_.systemSecond(instant);
  if (second < -kSecondsBefore1970 || second > kLastSecond) return forward_.offsetOf(0);
  const FILETIME utc = fileTimeOf(second);
  SYSTEMTIME fields{};
  SYSTEMTIME local{};
  FILETIME shown{};
  const bool known = ::FileTimeToSystemTime(&utc, &fields) != FALSE &&
                     ::SystemTimeToTzSpecificLocalTime(nullptr, &fields, &local) != FALSE &&
                     ::SystemTimeToFileTime(&local, &shown) != FALSE;
  return forward_.offsetOf(known ? static_cast<std::int32_t>(secondOf(shown) - second) : 0);
}

}  // namespace quarnex
