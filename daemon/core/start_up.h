// Everything from the first instruction to the main loop, in its fixed order. What cannot be had
// ends the process, with exit status 1 and no message.
#pragma once

#include "daemon/users/user_table.h"

namespace webauth {

inline int login_listen_fd = -1;  ///< listening UNIX stream socket, one LoginRequest a connection
inline int control_fd = -1;       ///< UNIX datagram socket, one control command a datagram

/// Returns the bound stream socket; ends the process when it cannot be had. A file that is left at
/// the path is removed.
int open_login_socket(const char* path);

/// Returns the bound datagram socket, or -1: the caller ends the process. A file that is left at
/// the path is removed.
int open_control_socket(const char* path);

/// Reads the settings, opens the sockets and tells the kernel module what it must know. Ends the
/// process when the settings file cannot be read, the mail settings are too long, a socket cannot
/// be had or lies beyond FD_SETSIZE, or a kernel message cannot be sent. Files that are missing
/// count as empty.
void start_up(int argc, char** argv, AccountTable& accounts);

}  // namespace webauth
