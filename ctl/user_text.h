// Online users as text for people and as JSON for programs. Everything here is safe for a terminal,
// whatever a name holds; times are local.
#pragma once

#include <ctime>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "ctl/user_list.h"

namespace webauth {

/// "2031-12-31 23:59:59".
std::string time_text(std::time_t time);

/// "0:59:59", "23:59:59", "2d 03:04"; "-" of a negative number.
std::string duration_text(std::int64_t seconds);

/// Seconds since a login; negative when the clock was set back.
std::int64_t online_seconds(const ListedUser& user, std::time_t now);

/// A heading, and one line per user; the name comes last.
std::string user_heading();
std::string user_row(const ListedUser& user, std::time_t now);
std::string user_table(const UserList& list, std::time_t now, bool heading);

/// user, ip, mac, login_time, mode (number), mode_name.
nlohmann::ordered_json user_object(const ListedUser& user);

/// One array on one line of such objects and their online_seconds.
std::string user_json(const UserList& list, std::time_t now);

/// A value on one line. All but ASCII is escaped, DEL too: no control and no direction character is
/// left. Bytes that are no UTF-8 are replaced.
std::string json_line(const nlohmann::ordered_json& value);

}  // namespace webauth
