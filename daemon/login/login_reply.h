// The answer to a front end. The process must ignore SIGPIPE, as start_up has it.
#pragma once

#include "daemon/login/login_record.h"

namespace webauth {

/// Sends one reply. A front end that has gone is no error.
void send_login_reply(int connection, LoginResult result);

}  // namespace webauth
