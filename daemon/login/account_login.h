// Login with a local account, mode USERS. The account must exist and have time left; its password
// is not checked.
#pragma once

#include "daemon/login/login_record.h"
#include "daemon/users/user_table.h"

namespace webauth {

/// Admits the client with what is left of the account's limit. With multi_user off an earlier
/// login of the same name is ended first, also when this one is then refused. An address that is
/// in the table already, online or not, is accepted at once; an unknown name gets no reply. Ends
/// the process when a kernel message cannot be sent. Returns 1 after a refusal, else 0.
int login_local_account(int connection, const LoginRequest& request, AccountTable& accounts,
                        OnlineUserTable& online_users);

}  // namespace webauth
