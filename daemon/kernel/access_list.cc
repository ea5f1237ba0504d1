#include "daemon/kernel/access_list.h"

#include <algorithm>
#include <cstdio>

namespace webauth {
namespace {

bool are_bytes(const unsigned* first, const unsigned* last) {
  return std::all_of(first, last, [](unsigned v) { return v <= 255; });
}

// An address as a number that counts upwards.
std::uint32_t number_of(const unsigned (&n)[8], int first) {
  return n[first] << 24 | n[first + 1] << 16 | n[first + 2] << 8 | n[first + 3];
}

}  // namespace

std::optional<IpRange> read_ip_range(const char* line) {
  unsigned n[8];
  const int count = std::sscanf(line, "%u.%u.%u.%u-%u.%u.%u.%u", &n[0], &n[1], &n[2], &n[3], &n[4],
                                &n[5], &n[6], &n[7]);
  if (count < 4 || !are_bytes(n, n + 4)) return std::nullopt;
  const std::uint32_t first = number_of(n, 0);
  // Whatever keeps the line from being a range, its first address stands for itself.
  if (count < 8 || !are_bytes(n + 4, n + 8)) return IpRange{first, first};
  const std::uint32_t last = number_of(n, 4);
  if (last < first || last - first >= LONGEST_RANGE) return std::nullopt;
  return IpRange{first, last};
}

}  // namespace webauth
