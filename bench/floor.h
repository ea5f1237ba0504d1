// The floors: what each operation must do whatever the daemon is made of, in bare calls on the same
// sockets and paths, with the bytes that the daemon itself left in World::traces.
//
// No select, no table, no text is made here. What fails ends the program.
#pragma once

#include "bench/world.h"

namespace webauth {

/// One connection with 300 bytes each way, one kernel message, the list, the log records.
void floor_login(World& world);

/// As floor_login, with the questions to the mail server and the e-mail group file.
void floor_mail_login(World& world, bool tls, bool imap);

/// One kernel message in, two log records, the list.
void floor_offline(World& world);

/// One control datagram in, one kernel message out, two log records, the list, a look at the size
/// of the e-mail group file.
void floor_cut(World& world);

}  // namespace webauth
