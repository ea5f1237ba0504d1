// The lines of the account file, and what the daemon makes of each.
#pragma once

#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

#include "ctl/finding.h"

namespace webauth {

/// All texts are safe for a terminal. A line that is longer than the daemon reads at once makes
/// several of these.
struct AccountReading {
  std::size_t line = 0;  ///< from 1
  std::string name;
  std::string password;               ///< "plain", "hash", "none" or "too long", never itself
  std::string meaning;                ///< what the daemon lets such an account do
  std::vector<std::string> faults{};  ///< what is wrong or surprising about it
};

/// `several_sessions`: WEBAUTH_MULTIUSER is on.
std::vector<AccountReading> read_account_lines(std::FILE* file, bool several_sessions,
                                               std::time_t now);

}  // namespace webauth
