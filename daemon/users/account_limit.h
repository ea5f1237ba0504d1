// What limits a local account, in its record. Nothing here fails or ends the process.
#pragma once

#include <string_view>

#include "daemon/users/user_table.h"
#include "daemon/users/validity.h"

namespace webauth {

/// Makes a validity the account's limit.
void set_validity(OnlineUser& account, std::string_view validity);

/// When `session` has a daily allowance and its account still exists: adds the seconds since the
/// account's login to the account's `used_seconds`, and sets its `logout_time` to now.
void charge_daily_time(AccountTable& accounts, const OnlineUser& session);

}  // namespace webauth
