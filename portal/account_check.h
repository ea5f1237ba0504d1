// The passwords of local accounts: the daemon checks none, so the portal does. The file is read at
// every check and nothing of it is kept.
#pragma once

#include <string>
#include <string_view>

namespace webauth {

enum class AccountVerdict {
  RIGHT,
  WRONG,       ///< or no such account, or one without a password that anybody could have
  UNREADABLE,  ///< the file cannot be read
};

/// Compares with the second column of the first line of `user` in the file at `path`: as it stands
/// there, or as a hash of crypt(3) when it begins with "$5$" or "$6$". Takes as long for an account
/// that does not exist as for one that does, as far as the file's hashes allow.
AccountVerdict check_account(const char* path, std::string_view user, std::string_view password);

/// The same for one column alone.
bool is_password(std::string_view column, std::string_view password);

}  // namespace webauth
