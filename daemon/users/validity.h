// The validity of a local account: no limit, hours per day, or an expiry date. Stands alone.
//
// Days and dates are local time. Nothing here fails or ends the process.
#pragma once

#include <cstdint>
#include <ctime>

namespace webauth {

enum LimitType : std::int32_t {
  LIMIT_NONE = 0,
  LIMIT_EXPIRY_DATE = 1,  ///< the value is a date_key
  LIMIT_DAILY_TIME = 2,   ///< the value is seconds per day
};

struct AccountLimit {
  std::int32_t type = LIMIT_NONE;  ///< a LimitType
  std::int32_t value = 0;
};

/// The value of an expiry date that no login meets: it lies before every date_key.
inline constexpr std::int32_t EXPIRED_FOR_EVER = -1;

/// Reads a validity: "*" for no limit, up to two characters for hours per day, or an expiry date
/// "year-month-day.". Three or more characters that do not hold three numbers are an account that
/// has expired for ever.
AccountLimit parse_validity(const char* text);

/// A number that orders as the calendar does: the later of two dates has the greater one. Takes any
/// numbers; what no calendar has (month 14, day 0) still compares rightly with every real date.
std::int32_t date_key(int year, int month, int day);

/// The date_key of a time's local day. Takes the system's time, which may be wider than a record's.
std::int32_t local_date_key(std::time_t time);

}  // namespace webauth
