// The daemon's two sockets, as one that never waits uses them. Nothing here ends the process.
#pragma once

#include <cstdint>
#include <string>

#include "daemon/login/login_record.h"

namespace webauth {

enum class Sending {
  SENT,
  BUSY,         ///< no room; try again
  UNREACHABLE,  ///< nobody is there, or it cannot be told
};

/// A connection that carries one login; `fd` is negative unless it was SENT.
struct LoginConnection {
  Sending sending = Sending::UNREACHABLE;
  int fd = -1;
};

/// Connects and sends the request, all 300 bytes in one go.
LoginConnection send_login(const LoginRequest& request);

/// A socket for send_cut, or a negative number.
int open_control_channel();

/// Tells the daemon to cut an address.
Sending send_cut(int control, const std::string& ip);

/// Whether the daemon has read all that was sent: it takes logins and cuts from different sockets,
/// and a login that is to follow a cut must not overtake it.
bool are_cuts_read(int control);

}  // namespace webauth
