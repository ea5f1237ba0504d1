#include "ctl/validity_text.h"

#include <chrono>
#include <cstdio>
#include <optional>

#include "common/terminal_text.h"
#include "ctl/operator_error.h"

namespace webauth {
namespace {

constexpr int SECONDS_PER_HOUR = 3600;
constexpr int HOURS_PER_DAY = 24;

std::optional<int> parse_digits(std::string_view text) {
  if (text.empty() || text.size() > 4) return {};
  int number = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return {};
    number = number * 10 + (c - '0');
  }
  return number;
}

bool is_calendar_date(int year, int month, int day) {
  if (month < 1 || month > 12 || day < 1 || day > 31) return false;
  return std::chrono::year_month_day(std::chrono::year(year),
                                     std::chrono::month(static_cast<unsigned>(month)),
                                     std::chrono::day(static_cast<unsigned>(day)))
      .ok();
}

bool is_calendar_date(std::string_view text) {
  if (text.size() != 10 || text[4] != '-' || text[7] != '-') return false;
  const auto year = parse_digits(text.substr(0, 4));
  const auto month = parse_digits(text.substr(5, 2));
  const auto day = parse_digits(text.substr(8, 2));
  return year && month && day && is_calendar_date(*year, *month, *day);
}

std::string hours_fault(const AccountLimit& limit, std::string_view validity) {
  const std::string shown = "'" + terminal_text(validity) + "'";
  if (validity == "*\r") return "the CR at the end of the line makes '*' 0 hours a day";
  if (!parse_digits(validity)) {
    return "the validity " + shown + " is no number: it stands for " +
           std::to_string(limit.value / SECONDS_PER_HOUR) + " hours a day";
  }
  if (limit.value > HOURS_PER_DAY * SECONDS_PER_HOUR) return "a day has no " + shown + " hours";
  if (limit.value == 0) return "0 hours a day: nobody is let in";
  return {};
}

std::string date_fault(std::string_view validity) {
  int year = 0;
  int month = 0;
  int day = 0;
  const std::string text(validity);
  const std::string shown = "'" + terminal_text(validity) + "'";
  if (std::sscanf(text.c_str(), "%d-%d-%d.", &year, &month, &day) != 3) {
    return "the validity " + shown + " is no date: the account has expired for ever";
  }
  // chrono's years end at 32767; what lies beyond is no typing error of anybody.
  if (year < 0 || year > 9999 || !is_calendar_date(year, month, day)) {
    return "the calendar has no day " + shown;
  }
  return {};
}

}  // namespace

std::string validity_field_text(std::string_view validity) {
  if (validity == "*") return "*";
  const auto hours = parse_digits(validity);
  if (hours && validity.size() <= 2 && *hours <= HOURS_PER_DAY) return std::string(validity);
  if (is_calendar_date(validity)) return std::string(validity) + '.';
  throw OperatorError("validity is not '*', hours per day (0 to 24) or a date YYYY-MM-DD: '" +
                      terminal_text(validity) + "'");
}

std::string limit_words(const AccountLimit& limit, std::string_view validity, std::time_t now) {
  if (limit.type == LIMIT_NONE) return "no limit";
  if (limit.type == LIMIT_DAILY_TIME) {
    if (limit.value <= 0) return "0 hours a day: never let in";
    const int hours = limit.value / SECONDS_PER_HOUR;
    return std::to_string(hours) + (hours == 1 ? " hour a day" : " hours a day");
  }
  if (limit.value == EXPIRED_FOR_EVER) return "expired for ever: no date";
  const std::string day = terminal_text(validity.substr(0, validity.find('.')));
  return (local_date_key(now) > limit.value ? "expired, the last day was " : "until ") + day;
}

std::string validity_fault(const AccountLimit& limit, std::string_view validity) {
  if (limit.type == LIMIT_NONE) return {};
  return limit.type == LIMIT_DAILY_TIME ? hours_fault(limit, validity) : date_fault(validity);
}

}  // namespace webauth
