// `webauthctl users`: prints the published list, once or at each change.
#pragma once

#include <string>

namespace webauth {

struct UsersOptions {
  std::string who;  ///< an address, a MAC address or a name
  bool any = true;  ///< everybody, whatever `who` is
  bool json = false;
  bool heading = true;
  bool watch = false;
};

/// Returns the exit status: STATUS_DOWN when the daemon is not running, STATUS_NOBODY when nobody
/// is meant. With `watch` it ends with a signal, or with STATUS_ERROR when nobody reads the output.
/// On a terminal it then draws the list anew at each change; elsewhere it prints it once, and then
/// the lines of `events`. Throws OperatorError when the list cannot be read or watched.
int run_users(const UsersOptions& options);

}  // namespace webauth
