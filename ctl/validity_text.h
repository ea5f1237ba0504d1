// The validity of an account, as an operator writes it and as the daemon takes it.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

#include "daemon/users/validity.h"

namespace webauth {

/// "*", hours per day of 0 to 24, or a date YYYY-MM-DD of the calendar, into the form of the
/// channel and of the account file: a date gets its closing full stop. Throws OperatorError.
std::string validity_field_text(std::string_view validity);

/// What the daemon makes of a validity that stands in the file: "no limit", "8 hours a day", "until
/// 2031-12-31", "expired, the last day was 2020-01-01", "expired for ever". Safe for a terminal.
std::string limit_words(const AccountLimit& limit, std::string_view validity, std::time_t now);

/// What is wrong or surprising about a validity that stands in the file; empty: nothing.
std::string validity_fault(const AccountLimit& limit, std::string_view validity);

}  // namespace webauth
