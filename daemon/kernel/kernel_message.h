// The datagram that the daemon and the web-auth kernel module exchange over netlink, in both
// directions: 360 bytes, words of 32 bits in host byte order.
//
// A message is built from zeros, so that a field which a command does not use is 0. The receiver
// looks at `command` alone: the header and `length` of what the kernel module sends say nothing.
#pragma once

#include <linux/netlink.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "common/address_text.h"

namespace webauth {

/// What an entry of the kernel module admits by. Shared with OnlineUser::kind.
enum EntryKind : std::uint32_t {
  ENTRY_MAC = 0,   ///< a MAC address allowed without login
  ENTRY_IP = 1,    ///< an IPv4 address allowed without login
  ENTRY_USER = 2,  ///< a client that logged in
};

/// Daemon to kernel module. The same number means something else in the other direction.
enum KernelCommand : std::uint32_t {
  ADD_ENTRY = 0,     ///< `kind`; `ip` for ENTRY_IP and ENTRY_USER, `mac` for ENTRY_MAC
  REMOVE_ENTRY = 1,  ///< `ip`, `kind`
  DAEMON_START = 6,  ///< no fields
  SET_TIMEOUTS = 7,  ///< `ip`: idle time-out, `kind`: maximum online time, both in seconds
  REMOVE_MAC = 9,    ///< `kind` 0, `mac`
};

/// Kernel module to daemon.
enum KernelEvent : std::uint32_t {
  ENTRY_ONLINE = 0,   ///< `ip`, `kind`, `mac`: a listed client became active
  ENTRY_OFFLINE = 1,  ///< `ip`: a client went offline
  CHECK_EXPIRY = 8,   ///< `ip`: judge again the expiry date of the account at that address
};

struct KernelMessage {
  nlmsghdr header;        ///< see KERNEL_HEADER_LENGTH; `nlmsg_pid` is the sender's pid
  std::uint32_t length;   ///< KERNEL_MESSAGE_SIZE
  std::uint32_t command;  ///< KernelCommand or KernelEvent
  std::uint32_t ip;       ///< IPv4 address in network byte order
  std::uint32_t kind;     ///< EntryKind
  MacAddress mac;
  unsigned char reserved[2];       ///< 0
  std::uint32_t time_allowance;    ///< seconds left today for an account with a daily allowance
  std::uint32_t recheck_interval;  ///< seconds between checks of an expiry date, or 0
  unsigned char unused[312];       ///< 0
};

inline constexpr std::size_t KERNEL_MESSAGE_SIZE = 360;

/// `nlmsg_len` of every message. It counts the 16-byte header twice, so it is 16 more than the
/// datagram holds; the kernel module expects exactly this.
inline constexpr std::uint32_t KERNEL_HEADER_LENGTH = 376;

static_assert(sizeof(KernelMessage) == KERNEL_MESSAGE_SIZE);
static_assert(offsetof(KernelMessage, header) == 0);
static_assert(offsetof(KernelMessage, length) == 16);
static_assert(offsetof(KernelMessage, command) == 20);
static_assert(offsetof(KernelMessage, ip) == 24);
static_assert(offsetof(KernelMessage, kind) == 28);
static_assert(offsetof(KernelMessage, mac) == 32);
static_assert(offsetof(KernelMessage, reserved) == 38);
static_assert(offsetof(KernelMessage, time_allowance) == 40);
static_assert(offsetof(KernelMessage, recheck_interval) == 44);
static_assert(offsetof(KernelMessage, unused) == 48);
static_assert(std::is_trivially_copyable_v<KernelMessage>);
static_assert(std::has_unique_object_representations_v<KernelMessage>);

}  // namespace webauth
