// Commands of the router's web interface at run time: local accounts, online users, MAC addresses.
// Nothing is ever answered.
#pragma once

#include "daemon/control/control_message.h"
#include "daemon/users/user_table.h"

namespace webauth {

/// Carries out one command; an unknown one is ignored. Ends the process when a kernel message
/// cannot be sent. Returns 0.
int handle_control_message(const ControlMessage& message, AccountTable& accounts,
                           OnlineUserTable& online_users);

}  // namespace webauth
