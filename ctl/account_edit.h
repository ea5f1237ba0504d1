// Lines of the account file, made and changed as the daemon will read them. Every function throws
// OperatorError when a text may not stand in the file.
#pragma once

#include <string>
#include <string_view>

namespace webauth {

struct NewAccount {
  std::string user;
  std::string password;  ///< as it is to stand in the file: plain, or a hash; empty: none
  std::string validity;  ///< of validity_field_text
  std::string note;
};

/// Appends an account. Throws also when the name is in the file already: its first line counts.
void add_account_line(std::string& text, const NewAccount& account);

/// Removes every line of the name and returns how many there were.
std::size_t remove_account_lines(std::string& text, std::string_view user);

/// Puts a password, plain or a hash, into the first line of the name. Throws when there is none.
void set_account_password(std::string& text, std::string_view user, std::string_view password);

/// Throws when a password may not stand in the file plainly. Nobody could type another one at a
/// login either, so a hash is made of such a one only.
void demand_password(std::string_view password);

/// Whether a password column holds a crypt(3) hash.
bool is_hash(std::string_view password);

}  // namespace webauth
