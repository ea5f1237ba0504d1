// A daemon's tables with somebody in them, and a kernel side that takes what is sent.
#pragma once

#include <sys/socket.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/settings.h"
#include "kernel/transport.h"
#include "login/account_file.h"
#include "platform/kernel_endpoint.h"
#include "users/online_user.h"

namespace webauth {

struct RunningTables {
  AccountTable accounts;
  OnlineUserTable online_users;
};

/// A netlink socket that the daemon's messages arrive at; opens netlink_fd too.
inline int open_kernel_side() {
  const sockaddr_nl address = netlink_address(GATE_PORT);
  const int fd = socket(AF_NETLINK, SOCK_RAW, NETLINK_USERSOCK);
  if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) std::abort();
  setenv("WEBAUTHD_KERNEL_PORT", "1195463749", 1);
  netlink_fd = open_netlink_socket();
  if (netlink_fd < 0) std::abort();
  return fd;
}

/// Takes the bytes as one record, zero-filled as the main loop does it; the byte after them chooses
/// mode and multi_user.
template <typename Record>
Record begin_input(const std::uint8_t* data, std::size_t size) {
  static const int kernel_side = open_kernel_side();
  char sink[sizeof(KernelMessage)];
  while (recv(kernel_side, sink, sizeof sink, MSG_DONTWAIT) > 0) {
  }
  Record record{};
  std::memcpy(&record, data, std::min(size, sizeof record));
  const unsigned choice = size > sizeof record ? data[sizeof record] : 0;
  auth_mode = static_cast<AuthMode>(choice % 4);
  multi_user = choice & 4 ? 1 : 0;
  return record;
}

inline RunningTables running_tables() {
  RunningTables tables;
  for (const char* validity : {"*", "1", "2020-02-29.", "2999-01-01.", "nonsense"}) {
    OnlineUser user = read_account(std::string("u") + validity[0] + " x x " + validity);
    append_user(tables.accounts, user);
    user.online = 1;
    user.ip = std::string("10.0.0.") + validity[0];
    append_user(tables.online_users, user);
  }
  return tables;
}

}  // namespace webauth
