// One datagram or one buffer in one system call: to and from the kernel module over netlink, and
// on the local UNIX sockets. Nothing is retried and partial transfers are not completed.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>

#include "daemon/kernel/kernel_message.h"

namespace webauth {

enum Transport : int {
  TRANSPORT_NETLINK = 0,  ///< addressed to the kernel module (or what stands in for it)
  TRANSPORT_LOCAL = 1,    ///< no address: the UNIX sockets, and netlink_fd's own peer
};

/// The netlink socket to the kernel module, opened once at start-up.
inline int netlink_fd = -1;

/// Opens a netlink socket to the endpoint of platform/kernel_endpoint.h, bound to the process id as
/// its port id. Returns the descriptor, or -1; the caller of a failure ends the process, so nothing
/// is closed.
[[nodiscard]] int open_netlink_socket();

/// Zeroes the message and fills its header, `length` and `command`.
void init_kernel_message(KernelMessage& message, std::uint32_t command);

/// The result of one sendmsg (recvmsg) without flags: bytes moved, or -1. Another transport than
/// the two gives -1 without a call.
[[nodiscard]] ssize_t send_message(int transport, int fd, const void* buffer, std::size_t length);
[[nodiscard]] ssize_t receive_message(int transport, int fd, void* buffer, std::size_t length);

/// Sends one message on netlink_fd, as it is. Returns what send_message does.
[[nodiscard]] ssize_t send_kernel_message(const KernelMessage& message);

/// The same for senders that must not go on without the kernel module: a failure ends the process.
void send_kernel_message_or_exit(const KernelMessage& message);

}  // namespace webauth
