#include "daemon/login/dispatch.h"

#include "daemon/core/settings.h"
#include "daemon/login/account_login.h"
#include "daemon/login/email_login.h"
#include "daemon/login/one_key_login.h"

namespace webauth {

int dispatch_login(int connection, const LoginRequest& request, AccountTable& accounts,
                   OnlineUserTable& online_users) {
  if (request.type != LOGIN_REQUEST) return 0;
  switch (mode_row(auth_mode).method) {
    case LoginMethod::ONE_KEY:
      (void)login_one_key(connection, request, online_users);
      break;
    case LoginMethod::ACCOUNT:
      (void)login_local_account(connection, request, accounts, online_users);
      break;
    case LoginMethod::MAIL:
      (void)login_email(connection, request, online_users);
      break;
  }
  return 0;
}

}  // namespace webauth
