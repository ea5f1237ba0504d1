// webauthctl's exit statuses. Those of `login` follow the daemon's verdicts, so that 3 to 5 mean
// something of their own there.
#pragma once

namespace webauth {

enum ExitStatus : int {
  STATUS_DONE = 0,         ///< done; of login: accepted
  STATUS_ERROR = 1,        ///< any error, with a message on standard error; of check: findings
  STATUS_REFUSED = 2,      ///< of login only
  STATUS_DOWN = 3,         ///< the daemon is not running; of login: time used up
  STATUS_NOBODY = 4,       ///< nobody who is online fits; of login: not on the white list
  STATUS_UNCONFIRMED = 5,  ///< sent, but its effect was not seen; of login: no reply
};

}  // namespace webauth
