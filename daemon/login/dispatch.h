// Picks the login method for a request. All but the one-key login end the process when a kernel
// message cannot be sent, and the e-mail login waits for the mail server.
#pragma once

#include "daemon/login/login_record.h"
#include "daemon/users/user_table.h"

namespace webauth {

/// Handles one request of the login channel; `connection` is used to send the reply, if there is
/// one. A request of another type than LOGIN_REQUEST is ignored. Returns 0.
int dispatch_login(int connection, const LoginRequest& request, AccountTable& accounts,
                   OnlineUserTable& online_users);

}  // namespace webauth
