// The loop that serves everything: one select, then what is ready in a fixed order - the held login
// connection, a new login connection, a control datagram, a kernel message.
//
// Every handler runs to its end inside its pass, so a handler that waits delays everything else.
// Errors of select, accept and reads are ignored. Handlers may end the process.
#pragma once

#include <cstdint>

#include "daemon/users/user_table.h"

namespace webauth {

struct LoopState {
  int largest_socket = 0;   ///< of the three that are always open
  int held_connection = 0;  ///< an accepted login connection, not yet read; 0: none
  bool next_waits = false;  ///< somebody is known to wait at the listening socket
  /// Until when who waits there goes on waiting, in steady_microseconds; 0: nobody has to.
  std::int64_t rest_until = 0;
};

/// The state in which the loop begins: the sockets are open and no connection is held.
LoopState begin_main_loop();

/// Waits for at most a second, then serves each descriptor that is ready, once. A connection that
/// is accepted here is read in a later pass, once, and closed.
///
/// One connection is held at a time. While it is silent it keeps the next one waiting for a tenth
/// of a second; after that the next one takes its place. When it is served in a pass, the next one
/// is accepted in that same pass. Want of descriptors or memory is waited out a tenth of a second
/// at a time, since the connection that was not accepted stays ready.
void serve_one_pass(LoopState& loop, AccountTable& accounts, OnlineUserTable& online_users);

}  // namespace webauth
