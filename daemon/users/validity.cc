#include "daemon/users/validity.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace webauth {
namespace {

constexpr int LAST_YEAR = 999'999;  // keeps a date_key within 32 bits

}  // namespace

AccountLimit parse_validity(const char* text) {
  if (std::strcmp(text, "*") == 0) return {LIMIT_NONE, 0};
  if (std::strlen(text) <= 2) return {LIMIT_DAILY_TIME, std::atoi(text) * 3600};
  int year = 0;
  int month = 0;
  int day = 0;
  if (std::sscanf(text, "%d-%d-%d.", &year, &month, &day) != 3) {
    return {LIMIT_EXPIRY_DATE, EXPIRED_FOR_EVER};
  }
  return {LIMIT_EXPIRY_DATE, date_key(year, month, day)};
}

std::int32_t date_key(int year, int month, int day) {
  // One step beyond the calendar on either side stands for everything that lies there.
  if (year < 0) return 0;
  if (year > LAST_YEAR) return date_key(LAST_YEAR, 13, 32);
  return (year * 14 + std::clamp(month, 0, 13)) * 33 + std::clamp(day, 0, 32);
}

std::int32_t local_date_key(std::time_t time) {
  std::tm local{};
  localtime_r(&time, &local);
  return date_key(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday);
}

}  // namespace webauth
