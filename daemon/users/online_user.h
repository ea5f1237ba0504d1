// The one record type of everybody the daemon knows, and the two ordered tables of it: the local
// accounts, and the clients that are let through now.
//
// Tables keep their order and hold duplicates; every lookup takes the first match from the front
// and compares whole texts, byte for byte. A position is valid until its table next changes.
// Times are seconds since the epoch. Nothing here fails or ends the process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace webauth {

enum LimitType : std::int32_t {
  LIMIT_NONE = 0,
  LIMIT_EXPIRY_DATE = 1,  ///< `limit_value` is a date_key (users/account_limit.h)
  LIMIT_DAILY_TIME = 2,   ///< `limit_value` is seconds per day
};

struct OnlineUser {
  std::int32_t kind = 0;         ///< an EntryKind; what is neither MAC nor user counts as IP
  std::string user;              ///< account name or e-mail address; empty for one-key logins
  std::int32_t create_time = 0;  ///< when an account or a kernel entry was made
  std::string note;              ///< the account's
  std::string extra2;            ///< from the request of a local account
  std::uint8_t online = 0;       ///< 1 while the session lives
  std::string extra1;            ///< from the request of a local account
  std::int32_t login_time = 0;   ///< when the session began
  /// Of an account: end of its last session and day of used_seconds. Of a session: when its expiry
  /// date ended it.
  std::int32_t logout_time = 0;
  std::string ip;                 ///< dotted quad, as the front end or the kernel message gave it
  std::string mac;                ///< likewise
  std::int32_t used_seconds = 0;  ///< online time of a daily allowance on the day of logout_time
  std::int32_t limit_type = LIMIT_NONE;
  std::int32_t limit_value = 0;
  std::uint32_t tag = 0;  ///< from the request
};

/// Use the functions below; they keep what is derived from the records in step with them.
struct UserTable {
  std::vector<std::unique_ptr<OnlineUser>> users;
  // A lookup runs over one of these (position by position the same records) and compares texts
  // only where the hash agrees: 4 bytes a record instead of a record.
  std::vector<std::uint32_t> user_hashes;
  std::vector<std::uint32_t> ip_hashes;
  // The published lines of the first listed_lengths.size() records, as they stand; published_list
  // adds the others.
  std::string listed_text;
  std::vector<std::uint32_t> listed_lengths;
};

using AccountTable = UserTable;     ///< local accounts in the order of the file, then of addition
using OnlineUserTable = UserTable;  ///< sessions and kernel entries in the order of arrival

using Position = std::optional<std::size_t>;

inline const OnlineUser& user_at(const UserTable& table, std::size_t position) {
  return *table.users[position];
}

void append_user(UserTable& table, OnlineUser user);
void remove_user(UserTable& table, std::size_t position);
/// Removes many in one pass; the positions ascend.
void remove_users(UserTable& table, const std::vector<std::size_t>& positions);

/// The published lines of all records (users/published_line.h), valid until the table next changes.
const std::string& published_list(UserTable& table);

/// Brings what is derived from the record back in step with it; change_user calls it.
void note_user_changed(UserTable& table, std::size_t position);

/// Calls `change` with the record, to be changed in place.
template <typename Change>
void change_user(UserTable& table, std::size_t position, Change change) {
  change(*table.users[position]);
  note_user_changed(table, position);
}

Position find_by_ip(const UserTable& table, std::string_view ip);
Position find_online_by_ip(const UserTable& table, std::string_view ip);
Position find_user_entry_by_ip(const UserTable& table, std::string_view ip);
/// The first match at or behind position `from`.
Position find_by_user(const UserTable& table, std::string_view user, std::size_t from = 0);
/// A record that is online and has an expiry date.
Position find_expiring_by_ip(const UserTable& table, std::string_view ip);
/// A record that is online, of this kind and not of ENTRY_USER.
Position find_kernel_entry(const UserTable& table, std::int32_t kind, std::string_view ip);

}  // namespace webauth
