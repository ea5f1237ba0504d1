// The two clocks: calendar seconds as the records hold them, and a steady one for waiting. Nothing
// here fails.
//
// A record's 32 bits run over in January 2038 and go on from their most negative number. What is
// computed with them is right all the same if it goes by differences, as the functions here do.
#pragma once

#include <cstdint>
#include <ctime>

namespace webauth {

/// Seconds since the epoch, cut to the 32 bits that every record holds.
inline std::int32_t now_seconds() { return static_cast<std::int32_t>(std::time(nullptr)); }

/// From one record's time to a later one's, seconds; negative when the clock was set back.
inline std::int32_t seconds_between(std::int32_t from, std::int32_t to) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(to) -
                                   static_cast<std::uint32_t>(from));
}

/// The system's time that a record's time stands for: of those with these 32 bits the nearest to
/// `now`.
inline std::time_t calendar_time(std::int32_t record, std::time_t now) {
  return now + seconds_between(static_cast<std::int32_t>(now), record);
}

/// Microseconds of a clock that nobody sets back.
inline std::int64_t steady_microseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::int64_t>(now.tv_sec) * 1'000'000 + now.tv_nsec / 1'000;
}

}  // namespace webauth
