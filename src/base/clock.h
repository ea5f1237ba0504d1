// The two clocks: calendar seconds as the records hold them, and a steady one for waiting.
#pragma once

#include <cstdint>
#include <ctime>

namespace webauth {

/// Seconds since the epoch, cut to the 32 bits that every record holds.
inline std::int32_t now_seconds() { return static_cast<std::int32_t>(std::time(nullptr)); }

/// Microseconds of a clock that nobody sets back.
inline std::int64_t steady_microseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::int64_t>(now.tv_sec) * 1'000'000 + now.tv_nsec / 1'000;
}

}  // namespace webauth
