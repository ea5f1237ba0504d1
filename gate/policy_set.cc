#include "gate/policy_set.h"

#include <algorithm>

namespace webauth {
namespace {

// A set that may time out is a table that grows; one that may not is as large from the start as it
// can ever be, megabytes of the kernel's memory. The data path's sets must have a limit.
constexpr char WRITTEN[] = "flags timeout; gc-interval 1h;";
constexpr char ENDING[] = "flags timeout; gc-interval 1m;";
constexpr char LEARNED[] = "flags timeout; gc-interval 1m; size 16384;";  // with expired ones
constexpr char GRACE_FLAGS[] = "flags timeout; timeout 5s;";
constexpr char SEEN[] = "flags dynamic,timeout; timeout 365d; gc-interval 1h; size 131072;";
constexpr char RATE[] = "flags dynamic,timeout; timeout 10m; gc-interval 1m; size 131072;";
constexpr char SEEN_LATELY[] = "flags dynamic,timeout; timeout 1h; gc-interval 1m; size 131072;";

template <typename Part>
void append_part(ElementKey& key, const Part& part) {
  constexpr std::size_t ALIGNMENT = 4;
  const std::size_t at = (key.size + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT;
  const auto* bytes = reinterpret_cast<const unsigned char*>(&part);
  std::copy(bytes, bytes + sizeof part, key.bytes.begin() + static_cast<std::ptrdiff_t>(at));
  key.size = static_cast<std::uint8_t>(at + sizeof part);
}

template <typename... Parts>
ElementKey key_of_parts(const Parts&... parts) {
  ElementKey key;
  (append_part(key, parts), ...);
  // The last part is padded too, where there are several.
  if (sizeof...(parts) > 1) key.size = static_cast<std::uint8_t>((key.size + 3) / 4 * 4);
  return key;
}

}  // namespace

const SetShape SET_SHAPES[POLICY_SET_COUNT] = {
    {"users", "ipv4_addr", ENDING},
    {"bound", "ipv4_addr . ether_addr", WRITTEN},
    {"unbound", "ipv4_addr", WRITTEN},
    {"user_macs", "ether_addr", ENDING},
    {"macs", "ether_addr", WRITTEN},
    {"ips", "ipv4_addr", WRITTEN},
    {"garden", "ipv4_addr", WRITTEN},
    {"garden_learned", "ipv4_addr", LEARNED},
    {"grace_ips", "ipv4_addr", GRACE_FLAGS},
    {"grace_macs", "ether_addr", GRACE_FLAGS},
    {"reported", "ether_addr . ipv4_addr", WRITTEN},
    {"ended", "ipv4_addr", WRITTEN},
    {"seen_users", "ipv4_addr", SEEN},
    {"seen_ips", "ipv4_addr", SEEN},
    {"seen_macs", "ether_addr . ipv4_addr", SEEN},
    {"seen_macs_ip6", "ether_addr", SEEN},
    {"seen_ip6", "ether_addr . ipv6_addr", SEEN_LATELY},
    {"mac_ips", "ipv4_addr", SEEN},
    {"ip6_ok", "ipv6_addr", SEEN_LATELY},
    {"asked", "ipv4_addr", "flags dynamic,timeout; timeout 10s; gc-interval 1m; size 131072;"},
    {"ip6_rate", "ether_addr", RATE},
    {"mac_rate", "ether_addr", RATE},
};

ElementKey key_of(std::uint32_t ip) { return key_of_parts(ip); }
ElementKey key_of(const MacAddress& mac) { return key_of_parts(mac); }
ElementKey key_of(const Ip6Address& ip6) { return key_of_parts(ip6); }
ElementKey key_of(std::uint32_t ip, const MacAddress& mac) { return key_of_parts(ip, mac); }
ElementKey key_of(const MacAddress& mac, std::uint32_t ip) { return key_of_parts(mac, ip); }
ElementKey key_of(const MacAddress& mac, const Ip6Address& ip6) { return key_of_parts(mac, ip6); }

}  // namespace webauth
