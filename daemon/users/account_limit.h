// What limits a local account: nothing, an expiry date, or a number of online hours per day.
//
// Days and dates are local time. Nothing here fails or ends the process.
#pragma once

#include <cstdint>
#include <ctime>
#include <string_view>

#include "daemon/users/user_table.h"

namespace webauth {

struct AccountLimit {
  std::int32_t type = LIMIT_NONE;  ///< a LimitType
  std::int32_t value = 0;          ///< as OnlineUser::limit_value
};

/// Reads the validity of an account: "*" for no limit, up to two characters for hours per day, or
/// an expiry date "year-month-day.". Three or more characters that do not hold three numbers are
/// an account that has expired for ever.
AccountLimit parse_validity(const char* text);

/// Makes a validity the account's limit.
void set_validity(OnlineUser& account, std::string_view validity);

/// A number that orders as the calendar does: the later of two dates has the greater one. Takes any
/// numbers; what no calendar has (month 14, day 0) still compares rightly with every real date.
std::int32_t date_key(int year, int month, int day);

/// The date_key of a time's local day. Takes the system's time, which may be wider than a record's.
std::int32_t local_date_key(std::time_t time);

/// When `session` has a daily allowance and its account still exists: adds the seconds since the
/// account's login to the account's `used_seconds`, and sets its `logout_time` to now.
void charge_daily_time(AccountTable& accounts, const OnlineUser& session);

}  // namespace webauth
