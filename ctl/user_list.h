// The published list of online users, as it is read. Reading throws OperatorError; a missing file
// is an empty list.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <ctime>
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

  bool operator==(const ListedUser&) const = default;
};

struct UserList {
  std::vector<ListedUser> users;
  std::size_t malformed = 0;  ///< lines that were left out
  bool exists = false;        ///< what follows is of a file that exists
  std::time_t written = 0;
  uid_t owner = 0;
};

/// One line without its line feed, split from its right end.
std::optional<ListedUser> parse_listed_user(std::string_view line);

/// A last line without its line feed is torn, and counts as malformed.
UserList parse_user_list(std::string_view text);

UserList read_user_list(const char* path = REGISTRATION_FILE);

/// The same, of a file from which users are logged in: one that belongs neither to root nor to the
/// caller throws, since anybody could have made it.
UserList read_trusted_list(const char* path);

/// The list that is published now; nothing when it cannot be read, which is said on standard error.
std::optional<UserList> try_read_user_list();

/// Says on standard error how many lines were left out, if any.
void report_malformed(const UserList& list);

bool is_listed(const UserList& list, std::string_view ip);

/// Whether a text, an address, a MAC address in any form or a whole name, means this user.
bool is_meant(const ListedUser& user, std::string_view who);

/// Whether both are the same MAC address, or at least the same text.
bool is_same_mac(std::string_view a, std::string_view b);

}  // namespace webauth
