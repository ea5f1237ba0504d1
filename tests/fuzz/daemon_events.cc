// Records of the kernel module, the web interface and front ends, one after the other, on tables
// that hold somebody. A byte before each says whose it is and sets mode and multi_user; the last
// may be cut.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "daemon/control/control_channel.h"
#include "daemon/core/settings.h"
#include "daemon/kernel/transport.h"
#include "daemon/login/account_file.h"
#include "daemon/login/dispatch.h"
#include "daemon/platform/kernel_endpoint.h"
#include "daemon/users/kernel_events.h"

using namespace webauth;

// A netlink socket that the daemon's messages arrive at; opens netlink_fd too.
static int open_kernel_side() {
  const sockaddr_nl address = netlink_address(GATE_PORT);
  const int fd = socket(AF_NETLINK, SOCK_RAW, NETLINK_USERSOCK);
  setenv("WEBAUTHD_KERNEL_PORT", "1195463749", 1);
  if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) std::abort();
  if ((netlink_fd = open_netlink_socket()) < 0) std::abort();
  return fd;
}

template <typename Record>
static Record take(const std::uint8_t*& data, std::size_t& size) {
  Record record{};
  const std::size_t count = std::min(size, sizeof record);
  std::memcpy(&record, data, count);
  data += count, size -= count;
  return record;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const int kernel_side = open_kernel_side();
  AccountTable accounts;
  OnlineUserTable online_users;
  for (const char* validity : {"*", "1", "2020-02-29.", "2999-01-01.", "nonsense"}) {
    OnlineUser user = read_account(std::string("u") + validity[0] + " x x " + validity);
    append_user(accounts, user);
    user.online = 1;
    user.ip = std::string("10.0.0.") + validity[0];
    append_user(online_users, user);
  }
  while (size > 0) {
    const auto choice = take<std::uint8_t>(data, size);
    auth_mode = static_cast<AuthMode>(choice % 4);
    multi_user = choice & 4 ? 1 : 0;
    if (choice < 0x60) {
      handle_kernel_event(take<KernelMessage>(data, size), accounts, online_users);
    } else if (choice < 0xc0) {
      handle_control_message(take<ControlMessage>(data, size), accounts, online_users);
    } else {
      dispatch_login(-1, take<LoginRequest>(data, size), accounts, online_users);
    }
    char sink[sizeof(KernelMessage)];
    while (recv(kernel_side, sink, sizeof sink, MSG_DONTWAIT) > 0) {
    }
  }
  return 0;
}
