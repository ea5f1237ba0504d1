// The local accounts of mode USERS, as the router keeps them: account_line.h has the form of the
// file. The password is not stored: nobody checks it here.
#pragma once

#include <string_view>

#include "daemon/login/account_line.h"
#include "daemon/users/user_table.h"

namespace webauth {

/// Appends one account per line and logs each. With multi_user on, lines with a daily allowance
/// are left out. Returns how many were added, or -1 when the file cannot be opened.
[[nodiscard]] int load_accounts(const char* path, AccountTable& accounts);

/// Reads one line, with or without its newline, into a new record (all but `create_time`).
OnlineUser read_account(std::string_view line);

}  // namespace webauth
