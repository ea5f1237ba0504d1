#include "text/address_text.h"

#include <arpa/inet.h>

#include <charconv>
#include <cstdio>

namespace webauth {

std::optional<std::uint32_t> parse_ipv4(std::string_view text) {
  if (text.find('\0') != std::string_view::npos) return {};
  in_addr address{};
  if (inet_pton(AF_INET, std::string(text).c_str(), &address) != 1) return {};
  return address.s_addr;
}

std::string ipv4_text(std::uint32_t address) {
  const in_addr raw{.s_addr = address};
  char text[INET_ADDRSTRLEN];
  return inet_ntop(AF_INET, &raw, text, sizeof text);
}

std::optional<MacAddress> parse_mac(std::string_view text) {
  MacAddress mac{};
  const char* at = text.data();
  const char* const end = at + text.size();
  for (std::size_t i = 0; i < mac.size(); ++i) {
    if (i > 0 && (at == end || *at++ != ':')) return {};
    const auto [next, error] = std::from_chars(at, end, mac[i], 16);
    if (error != std::errc{} || next - at > 2) return {};
    at = next;
  }
  if (at != end) return {};
  return mac;
}

std::string mac_text(const MacAddress& mac) {
  char text[18];
  std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3],
                mac[4], mac[5]);
  return text;
}

}  // namespace webauth
