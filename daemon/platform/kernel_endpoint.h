// Where the kernel side of the netlink link is: the web-auth kernel module, or a process that
// stands in for it on a machine without the module.
#pragma once

#include <linux/netlink.h>
#include <sys/socket.h>

#include <cstdint>

namespace webauth {

/// The web-auth kernel module's netlink protocol.
inline constexpr int NETLINK_WEBAUTH = 21;

/// The port id of webauth-gate, the user-space stand-in ("GATE" as four bytes).
inline constexpr std::uint32_t GATE_PORT = 0x47415445;

/// The address of a netlink port id, in no group.
inline sockaddr_nl netlink_address(std::uint32_t port) {
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_pid = port;
  return address;
}

struct KernelEndpoint {
  int protocol = NETLINK_WEBAUTH;
  std::uint32_t peer_port = 0;  ///< netlink port id that messages go to; 0 is the kernel
};

/// The kernel module, unless the environment variable WEBAUTHD_KERNEL_PORT holds a decimal port
/// id: then the peer is that port on NETLINK_USERSOCK. An empty or malformed value counts as unset.
KernelEndpoint kernel_endpoint();

/// Gives a socket room for `bytes` of waiting datagrams, or as much as the system lets it have.
void enlarge_receive_buffer(int fd, int bytes);

}  // namespace webauth
