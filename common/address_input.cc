#include "common/address_input.h"

#include <arpa/inet.h>

#include <charconv>
#include <string>

namespace webauth {

std::optional<std::uint32_t> parse_ipv4(std::string_view text) {
  in_addr address{};
  if (inet_pton(AF_INET, std::string(text).c_str(), &address) != 1) return {};
  if (ip_text(address.s_addr) != text) return {};  // uClibc takes leading zeros
  return address.s_addr;
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

}  // namespace webauth
