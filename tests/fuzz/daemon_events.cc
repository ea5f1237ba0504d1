// Records of the kernel module, the web interface and front ends, one after the other, on tables
// that hold somebody. A byte before each says whose it is and sets mode and multi_user; the last
// may be cut.
#include "daemon/control/control_channel.h"
#include "daemon/core/settings.h"
#include "daemon/kernel/transport.h"
#include "daemon/login/account_file.h"
#include "daemon/login/dispatch.h"
#include "daemon/users/kernel_events.h"
#include "tests/support/neighbours.h"

using namespace webauth;

template <typename Record>
static Record take(std::string_view& bytes) {
  Record record{};
  bytes.remove_prefix(bytes.copy(reinterpret_cast<char*>(&record), sizeof record));
  return record;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const int kernel_side = (enter_sandbox(), open_kernel_side());
  if (netlink_fd < 0) netlink_fd = open_netlink_socket();
  AccountTable accounts;
  OnlineUserTable online_users;
  for (const char* validity : {"*", "1", "2020-02-29.", "2999-01-01.", "nonsense"}) {
    OnlineUser user = read_account(std::string("u") + validity[0] + " x x " + validity);
    append_user(accounts, user);
    user.online = 1;
    user.ip = std::string("10.0.0.") + validity[0];
    append_user(online_users, user);
  }
  for (std::string_view bytes(reinterpret_cast<const char*>(data), size); !bytes.empty();) {
    const auto choice = take<std::uint8_t>(bytes);
    auth_mode = static_cast<AuthMode>(choice % 4);
    multi_user = choice & 4 ? 1 : 0;
    if (choice < 0x60) {
      handle_kernel_event(take<KernelMessage>(bytes), accounts, online_users);
    } else if (choice < 0xc0) {
      handle_control_message(take<ControlMessage>(bytes), accounts, online_users);
    } else {
      dispatch_login(-1, take<LoginRequest>(bytes), accounts, online_users);
    }
    for (std::string sent; receive_now(kernel_side, sent);) {
    }
  }
  return 0;
}
