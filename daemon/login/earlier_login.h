// One login per name: what a newer login does to an earlier one of the same name.
//
// The order is fixed: the kernel module, the event record, what the login method reports besides,
// the table. The list is not published: the new login does that if it is admitted, and if not, the
// ended one stays listed until the next change. Ends the process when the kernel message cannot be
// sent.
#pragma once

#include <string_view>

#include "daemon/users/user_table.h"

namespace webauth {

/// Ends the first session of `name`, if there is one; `report` is called with its record before it
/// goes.
void end_earlier_login(OnlineUserTable& online_users, std::string_view name,
                       void (*report)(const OnlineUser&));

}  // namespace webauth
