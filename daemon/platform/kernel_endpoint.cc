#include "daemon/platform/kernel_endpoint.h"

#include <charconv>
#include <cstdlib>
#include <string_view>

namespace webauth {

KernelEndpoint kernel_endpoint() {
  const char* value = std::getenv("WEBAUTHD_KERNEL_PORT");
  if (value == nullptr) return {};
  const std::string_view text(value);
  std::uint32_t port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  if (error != std::errc{} || end != text.data() + text.size()) return {};
  return {.protocol = NETLINK_USERSOCK, .peer_port = port};
}

}  // namespace webauth
