// The texts that log lines make of a user record.
#pragma once

#include <string>

#include "daemon/users/online_user.h"

namespace webauth {

/// "<ip> <mac>", the client fields of a "@#@ log_info" line.
std::string client_text(const OnlineUser& user);

/// Writes the event record of TITLE_USER with "<key> <user>".
void log_user(const char* key, const OnlineUser& user);

/// Writes the event record of `title` with "<key> <user> IP: <ip> MAC: <mac>".
void log_session(const char* title, const char* key, const OnlineUser& user);

}  // namespace webauth
