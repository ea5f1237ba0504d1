// Login with the name and password of the organisation's mail server, mode EMAIL. The daemon waits
// until the server has answered. Ends the process when a kernel message cannot be sent, and when
// the address does not parse after the server accepted.
#pragma once

#include "daemon/login/login_record.h"
#include "daemon/users/user_table.h"

namespace webauth {

/// Admits the client when the mail server accepts the request's name and password. An address that
/// a visitor has already, online or not, is accepted at once. With multi_user off an earlier login
/// of the same name is ended, which one line on standard output tells. Every path that returns has
/// replied once. Returns 0.
int login_email(int connection, const LoginRequest& request, OnlineUserTable& online_users);

}  // namespace webauth
