// How often an address may try to log in. Pure: the clock is handed in, microseconds of the steady
// one. Nothing here fails but for want of memory, which is bounded by MOST_RATED addresses.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>

namespace webauth {

struct AttemptRate {
  int burst;              ///< so many at once, then
  std::int64_t interval;  ///< one each so many microseconds
};

inline constexpr AttemptRate PASSWORD_RATE = {5, 10'000'000};
inline constexpr AttemptRate ONE_KEY_RATE = {1, 1'000'000};

inline constexpr std::size_t MOST_RATED = 8192;

/// For each address, the time at which nothing is held against it any more.
struct Attempts {
  std::unordered_map<std::uint32_t, std::int64_t> clear_at;
};

/// Counts an attempt and returns 0, or counts nothing and returns after how many microseconds the
/// next one may come.
std::int64_t count_attempt(Attempts& attempts, const AttemptRate& rate, std::uint32_t ip,
                           std::int64_t now);

}  // namespace webauth
