// `webauthctl account add, delete, passwd`, and their old names: local accounts in the running
// daemon, and with `save` in the account file too, which the daemon reads at its start. Every
// function returns the exit status, and throws OperatorError before anything is sent or written
// when an argument does not fit.
#pragma once

#include <string>

namespace webauth {

struct AccountOptions {
  std::string user;
  std::string validity = "*";
  std::string note;
  bool password = false;     ///< asks for one, which is carried to the daemon
  bool no_password = false;  ///< saves an account without one
  bool hash = false;         ///< saves a crypt(3) hash instead of the password
  bool save = false;
};

/// With `save` asks for a password unless `no_password` says otherwise, and does not mind a daemon
/// that is not running.
int run_add_account(const AccountOptions& options);

/// Ends logins and deletes the account. STATUS_UNCONFIRMED when the daemon published no new list
/// within two seconds, or one with as many logins of the name as before.
int run_delete_account(const AccountOptions& options);

/// Changes the password in the file; the daemon knows none.
int run_account_password(const AccountOptions& options);

}  // namespace webauth
