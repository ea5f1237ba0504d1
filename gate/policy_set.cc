#include "gate/policy_set.h"

#include <algorithm>

namespace webauth {
namespace {

constexpr char SEEN[] = "flags dynamic,timeout; timeout 365d; size 1048576;";
constexpr char SEEN_LATELY[] = "flags dynamic,timeout; timeout 1h; size 131072;";
constexpr char GRACE[] = "flags timeout; timeout 5s; size 262144;";
constexpr char LISTED[] = "size 1048576;";  // the longest range of the daemon's lists

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
    {"users", "ipv4_addr", "flags timeout; size 131072;"},
    {"bound", "ipv4_addr . ether_addr", "size 131072;"},
    {"unbound", "ipv4_addr", "size 131072;"},
    {"user_macs", "ether_addr", "size 131072;"},
    {"macs", "ether_addr", LISTED},
    {"ips", "ipv4_addr", LISTED},
    {"garden", "ipv4_addr", LISTED},
    {"garden_learned", "ipv4_addr", "flags timeout; size 8192;"},
    {"grace_ips", "ipv4_addr", GRACE},
    {"grace_macs", "ether_addr", GRACE},
    {"reported", "ether_addr . ipv4_addr", "size 262144;"},
    {"seen_users", "ipv4_addr", SEEN},
    {"seen_ips", "ipv4_addr", SEEN},
    {"seen_macs", "ether_addr . ipv4_addr", SEEN},
    {"seen_macs_ip6", "ether_addr", SEEN},
    {"seen_ip6", "ether_addr . ipv6_addr", SEEN_LATELY},
    {"mac_ips", "ipv4_addr", SEEN},
    {"ip6_ok", "ipv6_addr", SEEN_LATELY},
};

ElementKey key_of(std::uint32_t ip) { return key_of_parts(ip); }
ElementKey key_of(const MacAddress& mac) { return key_of_parts(mac); }
ElementKey key_of(const Ip6Address& ip6) { return key_of_parts(ip6); }
ElementKey key_of(std::uint32_t ip, const MacAddress& mac) { return key_of_parts(ip, mac); }
ElementKey key_of(const MacAddress& mac, std::uint32_t ip) { return key_of_parts(mac, ip); }
ElementKey key_of(const MacAddress& mac, const Ip6Address& ip6) { return key_of_parts(mac, ip6); }

}  // namespace webauth
