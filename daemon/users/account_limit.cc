#include "daemon/users/account_limit.h"

#include <algorithm>
#include <limits>
#include <string>

#include "common/clock.h"

namespace webauth {

void set_validity(OnlineUser& account, std::string_view validity) {
  const AccountLimit limit = parse_validity(std::string(validity).c_str());
  account.limit_type = limit.type;
  account.limit_value = limit.value;
}

void charge_daily_time(AccountTable& accounts, const OnlineUser& session) {
  if (session.limit_type != LIMIT_DAILY_TIME) return;
  const Position account = find_by_user(accounts, session.user);
  if (!account) return;
  OnlineUser& user = user_at(accounts, *account);
  user.logout_time = now_seconds();
  const std::int64_t used =
      std::int64_t{user.used_seconds} + seconds_between(user.login_time, user.logout_time);
  user.used_seconds = static_cast<std::int32_t>(std::clamp<std::int64_t>(
      used, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()));
}

}  // namespace webauth
