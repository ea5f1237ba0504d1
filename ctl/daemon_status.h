// What can be told about the daemon from outside, for `status` and `metrics`.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

#include "ctl/daemon_socket.h"
#include "ctl/user_list.h"

namespace webauth {

struct DaemonStatus {
  bool runs = false;
  std::optional<bool> answers;       ///< within two seconds; unknown to who may not ask
  pid_t pid = 0;                     ///< 0: not known
  std::optional<std::time_t> since;  ///< when its process began
  AuthMode mode = AuthMode::LOCAL;   ///< of the list, which the daemon writes, or else the settings
  bool settings_changed = false;     ///< since the daemon read them
  UserList list;                     ///< what a daemon that is down left is no list
  std::string list_problem;          ///< why the list could not be read
};

/// Waits at most two seconds for an answer. Throws OperatorError.
DaemonStatus daemon_status();

}  // namespace webauth
