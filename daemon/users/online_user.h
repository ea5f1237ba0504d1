// The one record type of everybody the daemon knows: local accounts, and the clients that are let
// through now. users/user_table.h has the tables of it. Times are seconds since the epoch.
#pragma once

#include <cstdint>
#include <string>

#include "daemon/users/validity.h"

namespace webauth {

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

}  // namespace webauth
