// The published list of online users, read and shown. Reading throws OperatorError; a missing file
// is an empty list.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "daemon/users/published_line.h"

namespace webauth {

/// Texts as published: they may hold any byte but a line feed.
struct ListedUser {
  std::string user;
  std::string ip;
  std::string mac;
  std::int32_t login_time;  ///< seconds since the epoch
  AuthMode mode;
};

struct UserList {
  std::vector<ListedUser> users;
  std::size_t malformed = 0;  ///< lines that were left out
};

/// One line without its line feed, split from its right end.
std::optional<ListedUser> parse_listed_user(std::string_view line);

/// A last line without its line feed is torn, and counts as malformed.
UserList parse_user_list(std::string_view text);

UserList read_user_list(const char* path);

/// A heading and one line per user, safe for a terminal; times are local.
std::string user_table(const UserList& list);

/// One array of objects on one line: user, ip, mac, login_time, mode (number), mode_name. Bytes
/// that are no UTF-8 are replaced.
std::string user_json(const UserList& list);

}  // namespace webauth
