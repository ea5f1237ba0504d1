// One-key login, modes LOCAL, ADVERT and WEIXIN: every visitor who asks is let through.
// Nothing here ends the process.
#pragma once

#include "daemon/login/login_record.h"
#include "daemon/users/user_table.h"

namespace webauth {

/// Admits the client's address, or refreshes its entry when it has one: then nothing is sent to
/// anybody. An address that does not parse is logged only. Mode ADVERT sends no reply. A kernel
/// message that cannot be sent is not noticed. Returns 0.
int login_one_key(int connection, const LoginRequest& request, OnlineUserTable& online_users);

}  // namespace webauth
