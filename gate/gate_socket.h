// The gate's end of the netlink link: port GATE_PORT of NETLINK_USERSOCK, where the daemon looks
// for its kernel side when it is told to. Nothing here waits: a caller polls the descriptor.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "daemon/kernel/kernel_message.h"

namespace webauth {

/// One message as it came. `bytes` holds at most GATE_RECEIVE_LIMIT of the `size` bytes sent.
struct Datagram {
  std::vector<unsigned char> bytes;
  std::size_t size;
  std::uint32_t sender_port;  ///< 0 is the kernel
  bool from_us;               ///< the kernel says that the sender is root or the gate's own user
};

inline constexpr std::size_t GATE_RECEIVE_LIMIT = 4096;

/// Opens and binds the socket, with a receive buffer that takes a burst without holding the daemon
/// up. Throws std::runtime_error with a message for the operator.
int open_gate_socket();

/// The next message, or nothing when none is waiting. `errno` tells why: EAGAIN, or what failed.
std::optional<Datagram> receive_datagram(int fd);

/// Returns 0, or the error number; EAGAIN when the receiver's queue is full.
[[nodiscard]] int send_event(int fd, std::uint32_t port, const KernelMessage& event);

}  // namespace webauth
