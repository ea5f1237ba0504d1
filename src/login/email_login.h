// Login with the name and password of the organisation's mail server, mode EMAIL.
#pragma once

#include "login/login_record.h"
#include "users/online_user.h"

namespace webauth {

/// Admits the client when the mail server accepts the request's name and password; until the server
/// has answered, the daemon waits. An address that a visitor has already, online or
/// not, is accepted at once. With
/// multi_user off an earlier login of the same name is ended, which one line on standard output
/// tells. Every path replies once, but for those that end the process: a kernel message that cannot
/// be sent, and an address that does not parse after the server accepted. Returns 0.
int login_email(int connection, const LoginRequest& request, OnlineUserTable& online_users);

}  // namespace webauth
