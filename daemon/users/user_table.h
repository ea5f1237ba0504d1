// The two ordered tables of users: the local accounts, and the clients that are let through now.
//
// Tables keep their order and hold duplicates; every lookup takes the first match from the front
// and compares whole texts, byte for byte. A position is valid until its table next changes.
// Nothing here fails or ends the process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "daemon/users/online_user.h"

namespace webauth {

using Records = std::vector<std::unique_ptr<OnlineUser>>;

// A lookup runs over 32-bit hashes (position by position those of the records) and compares texts
// only where the hash agrees: 4 bytes a record instead of a record.
using Hashes = std::vector<std::uint32_t>;

/// Local accounts in the order of the file, then of addition. Use the functions below; they keep
/// what is derived from the records in step with them, here and in the other table.
struct AccountTable {
  Records users;
  Hashes user_hashes;
};

/// Sessions and kernel entries in the order of arrival.
struct OnlineUserTable {
  Records users;
  Hashes user_hashes;
  Hashes ip_hashes;
  // The published lines of the first listed_lengths.size() records, as they stand; published_list
  // adds the others.
  std::string listed_text;
  std::vector<std::uint32_t> listed_lengths;
};

using Position = std::optional<std::size_t>;

void append_user(AccountTable& table, OnlineUser user);
void remove_user(AccountTable& table, std::size_t position);
Position find_by_user(const AccountTable& table, std::string_view user);
/// To be changed in place, but for its name.
inline OnlineUser& user_at(AccountTable& table, std::size_t position) {
  return *table.users[position];
}

void append_user(OnlineUserTable& table, OnlineUser user);
void remove_user(OnlineUserTable& table, std::size_t position);
/// Removes many in one pass; the positions ascend.
void remove_users(OnlineUserTable& table, const std::vector<std::size_t>& positions);
inline const OnlineUser& user_at(const OnlineUserTable& table, std::size_t position) {
  return *table.users[position];
}

/// Brings what is derived from the record back in step with it; change_user calls it.
void note_user_changed(OnlineUserTable& table, std::size_t position);

/// Calls `change` with the record, to be changed in place.
template <typename Change>
void change_user(OnlineUserTable& table, std::size_t position, Change change) {
  change(*table.users[position]);
  note_user_changed(table, position);
}

/// The published lines of all who are online and web-authenticated (users/published_line.h), valid
/// until the table next changes.
const std::string& published_list(OnlineUserTable& table);

Position find_by_ip(const OnlineUserTable& table, std::string_view ip);
Position find_online_by_ip(const OnlineUserTable& table, std::string_view ip);
Position find_user_entry_by_ip(const OnlineUserTable& table, std::string_view ip);
/// The first match at or behind position `from`.
Position find_by_user(const OnlineUserTable& table, std::string_view user, std::size_t from = 0);
/// A record that is online and has an expiry date.
Position find_expiring_by_ip(const OnlineUserTable& table, std::string_view ip);
/// A record that is online, of this kind and not of ENTRY_USER.
Position find_kernel_entry(const OnlineUserTable& table, std::int32_t kind, std::string_view ip);

}  // namespace webauth
