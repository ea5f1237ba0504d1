// The local accounts of mode USERS, as the router keeps them.
//
// One account a line, at most 255 characters; a longer line is read in pieces, each an account.
// Every blank ends a field, so two in a row make an empty field: user (63 characters), password
// (not stored: nobody checks it here), a field without use, validity (15 characters, see
// parse_validity), note (63 characters, "*" for none). Missing fields are empty; what follows the
// fifth is ignored.
#pragma once

#include <string_view>

#include "daemon/users/user_table.h"

namespace webauth {

inline constexpr char ACCOUNT_FILE[] = "/disk/conf/qvuser.cfg";

/// Appends one account per line and logs each. With multi_user on, lines with a daily allowance
/// are left out. Returns how many were added, or -1 when the file cannot be opened.
[[nodiscard]] int load_accounts(const char* path, AccountTable& accounts);

/// Reads one line, with or without its newline, into a new record (all but `create_time`).
OnlineUser read_account(std::string_view line);

}  // namespace webauth
