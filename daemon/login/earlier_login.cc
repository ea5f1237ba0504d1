#include "daemon/login/earlier_login.h"

#include "daemon/core/event_log.h"
#include "daemon/kernel/user_entry.h"
#include "daemon/users/user_log.h"

namespace webauth {

void end_earlier_login(OnlineUserTable& online_users, std::string_view name,
                       void (*report)(const OnlineUser&)) {
  const Position earlier = find_by_user(online_users, name);
  if (!earlier) return;
  const OnlineUser& user = user_at(online_users, *earlier);
  remove_user_entry_or_exit(user.ip.c_str());
  log_session(TITLE_USER, KEY_USER_DOWN, user);
  report(user);
  remove_user(online_users, *earlier);
}

}  // namespace webauth
