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

void enlarge_receive_buffer(int fd, int bytes) {
  // The first form passes the system's limit and needs a privilege; the second takes what it gets.
  if (setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof bytes) != 0) {
    (void)setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
  }
}

}  // namespace webauth
