// One line of the file of local accounts: for the daemon, which knows the accounts, and for front
// ends, which check the passwords. Stands alone; nothing here fails.
//
// One account a line, at most 255 characters; a longer line is read in pieces, each an account.
// Every blank ends a field, so two in a row make an empty field: user (63 characters), password
// (15, or a hash of crypt(3)), a field without use, validity (15 characters), note (63 characters,
// "*" for none). Missing fields are empty; what follows the fifth is ignored. The first account of
// a name counts.
#pragma once

#include <string_view>

namespace webauth {

inline constexpr char ACCOUNT_FILE[] = "/disk/conf/qvuser.cfg";

/// What holds one piece of the file and its NUL.
inline constexpr int ACCOUNT_LINE_SIZE = 256;

/// Views into the line, cut to the lengths above but for the password.
struct AccountLine {
  std::string_view user;
  std::string_view password;
  std::string_view validity;
  bool has_validity = false;
  std::string_view note;  ///< empty for "*"
};

/// Reads one line, with or without its newline.
AccountLine read_account_line(std::string_view line);

}  // namespace webauth
