#include "portal/rate_limit.h"

#include <algorithm>

namespace webauth {
namespace {

// Forgets whom nothing is held against, or else him against whom the least is.
void make_room(Attempts& attempts, std::int64_t now) {
  auto& times = attempts.clear_at;
  if (times.size() < MOST_RATED) return;
  if (std::erase_if(times, [&](const auto& entry) { return entry.second <= now; }) > 0) return;
  times.erase(std::min_element(times.begin(), times.end(),
                               [](const auto& a, const auto& b) { return a.second < b.second; }));
}

}  // namespace

std::int64_t count_attempt(Attempts& attempts, const AttemptRate& rate, std::uint32_t ip,
                           std::int64_t now) {
  const auto found = attempts.clear_at.find(ip);
  const std::int64_t clear_at =
      found != attempts.clear_at.end() ? std::max(found->second, now) : now;
  const std::int64_t wait = clear_at - now - (rate.burst - 1) * rate.interval;
  if (wait > 0) return wait;
  if (found == attempts.clear_at.end()) make_room(attempts, now);
  attempts.clear_at[ip] = clear_at + rate.interval;
  return 0;
}

}  // namespace webauth
