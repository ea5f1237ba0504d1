#include "common/address_text.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace webauth {

std::string ip_text(std::uint32_t address) {
  unsigned char b[4];
  std::memcpy(b, &address, sizeof b);
  char text[16];
  std::snprintf(text, sizeof text, "%u.%u.%u.%u", b[0], b[1], b[2], b[3]);
  return text;
}

std::string mac_text(const MacAddress& mac) {
  char text[18];
  std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3],
                mac[4], mac[5]);
  return text;
}

std::optional<MacAddress> read_mac(const char* text) {
  unsigned n[6];
  const int count =
      std::sscanf(text, "%x:%x:%x:%x:%x:%x", &n[0], &n[1], &n[2], &n[3], &n[4], &n[5]);
  if (count != 6 || std::any_of(n, n + 6, [](unsigned v) { return v > 0xff; })) return std::nullopt;
  MacAddress mac;
  std::transform(n, n + 6, mac.begin(), [](unsigned v) { return static_cast<unsigned char>(v); });
  return mac;
}

}  // namespace webauth
