// One login per name: what a newer login does to an earlier one of the same name.
//
// The order is fixed: the kernel module, the event record, what the login method reports besides,
// the table. The list is not published: the new login does that if it is admitted, and if not, the
// ended one stays listed until the next change. Ends the process when the kernel message cannot be
// sent.
#pragma once

#include <string_view>

#include "daemon/core/event_log.h"
#include "daemon/kernel/user_entry.h"
#include "daemon/users/online_user.h"
#include "daemon/users/user_log.h"

namespace webauth {

/// Ends the first session of `name`, if there is one; `report` is called with its record before it
/// goes.
template <typename Report>
void end_earlier_login(OnlineUserTable& online_users, std::string_view name, Report report) {
  const Position earlier = find_by_user(online_users, name);
  if (!earlier) return;
  const OnlineUser& user = user_at(online_users, *earlier);
  remove_user_entry_or_exit(user.ip.c_str());
  log_session(TITLE_USER, KEY_USER_DOWN, user);
  report(user);
  remove_user(online_users, *earlier);
}

}  // namespace webauth
