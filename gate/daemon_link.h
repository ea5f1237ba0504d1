// The gate's end of the netlink link: port GATE_PORT of NETLINK_USERSOCK, where the daemon looks
// for its kernel side when it is told to. Nothing here waits: a caller polls the descriptor.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string_view>

#include "daemon/kernel/kernel_message.h"
#include "gate/gate_event.h"

namespace webauth {

inline constexpr std::size_t DATAGRAM_LIMIT = 4096;

/// One message as it came: `bytes` holds the first DATAGRAM_LIMIT of the `size` bytes sent.
struct Datagram {
  std::string_view bytes;
  std::size_t size = 0;
  std::uint32_t sender_port = 0;  ///< 0 is the kernel
  bool from_us = false;  ///< the kernel says that the sender is root or the gate's own user
};

struct DaemonLink {
  int fd = -1;
  std::uint32_t port = 0;       ///< of the daemon; 0 while it is not known
  std::deque<GateEvent> queue;  ///< what the daemon has not taken yet, oldest first
  std::array<char, DATAGRAM_LIMIT> buffer;
};

/// Opens and binds the socket, with a receive buffer that takes a burst without holding the daemon
/// up. Throws std::runtime_error with a message for the operator.
int open_daemon_link();

/// The next message, which is valid until the next call. False when none is waiting; `errno` tells
/// why: EAGAIN, or what failed.
bool receive_datagram(DaemonLink& link, Datagram& datagram);

/// Sends what is in the queue, as far as the daemon takes it, and calls `settled` with each event
/// that is sent or dropped: without a daemon nothing is kept. Returns 0, EAGAIN when there is no
/// room for more: to be tried again a little later; or the error with which the rest was dropped.
int send_queue(
    DaemonLink& link,
    const std::function<void(const GateEvent&)>& settled = [](const GateEvent&) {});

}  // namespace webauth
