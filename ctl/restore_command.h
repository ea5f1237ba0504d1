// `webauthctl save` and `webauthctl restore`: the daemon keeps no state, so who was online before a
// restart is put aside and logged in again after it.
//
// The file that is saved has the form of the published list. What a list does not say is not kept:
// the time of the login (the maximum counts from anew), what an account has used of its hours
// today, and the texts that a front end gave along. Nobody's password is known, so a login by
// e-mail cannot be repeated.
#pragma once

#include <sys/types.h>

#include <string>

namespace webauth {

struct SaveOptions {
  std::string file;
  bool add = false;  ///< who is in the file and not in the list stays in it
};

/// Copies the published list; a list that is missing is empty. Throws OperatorError, also when list
/// or file belong to another user than root and the caller.
int run_save(const SaveOptions& options);

struct RestoreOptions {
  std::string file;
  bool remove = false;   ///< the file, after everybody was tried; one that is missing is empty
  pid_t daemon_pid = 0;  ///< no longer waited for when that process is gone; 0: not known
  int timeout = 60;      ///< seconds for the daemon to start, and then for each answer
};

/// Waits for the daemon, then logs in again who is in the file, one after the other. Leaves out who
/// is online already, by address or (unless an account may be online several times) by name; logins
/// by e-mail; and everybody whose way to log in is not that of the mode that is set now. Says who
/// could not be logged in, and returns STATUS_UNCONFIRMED then. Throws OperatorError, with
/// STATUS_DOWN when the daemon does not start or ends.
int run_restore(const RestoreOptions& options);

}  // namespace webauth
