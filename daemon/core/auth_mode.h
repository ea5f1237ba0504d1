// The authentication modes: what each is called, how its visitors log in, and which settings hold
// its time-outs. A new mode is a new row. Stands alone, so that the programs beside the daemon
// know the modes without linking it. Nothing here fails.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace webauth {

/// How visitors log in. The numbers appear in the published list.
enum class AuthMode : std::int32_t {
  LOCAL = 0,
  ADVERT = 1,
  WEIXIN = 2,
  USERS = 3,
  EMAIL = 4,
};

enum class LoginMethod {
  ONE_KEY,  ///< everybody who asks
  ACCOUNT,  ///< local accounts
  MAIL,     ///< the mail server's accounts
};

/// The settings of the idle time-out and the maximum online time, in minutes, and the seconds that
/// a 0 in them stands for.
struct TimeoutKeys {
  const char* idle;
  const char* maximum;
  std::uint32_t idle_for_0;
  std::uint32_t maximum_for_0;
};

inline constexpr std::uint32_t DEFAULT_IDLE = 1800;  // seconds, both
inline constexpr std::uint32_t DEFAULT_MAXIMUM = 7200;

/// Minutes in decimal as seconds of 32 bits, without a range check.
inline std::uint32_t timeout_seconds(const char* minutes, std::uint32_t when_empty,
                                     std::uint32_t when_0) {
  if (*minutes == '\0') return when_empty;
  const auto count = static_cast<std::uint32_t>(std::atoi(minutes));
  return count == 0 ? when_0 : count * 60;
}

inline constexpr TimeoutKeys GENERIC_TIMEOUTS = {"WEBSEC_TIMEOUT", "WEBAUTH_ALLTIME", 600,
                                                 30 * 24 * 3600};

struct ModeRow {
  AuthMode mode;
  const char* text;  ///< of WEBAUTH_SECTYPE, exact and case-sensitive
  LoginMethod method;
  bool replies;  ///< whether an accepted one-key login is answered
  bool garden;   ///< whether visitors may reach the walled garden before login
  TimeoutKeys timeouts;
};

/// One row a mode, in the order of the numbers.
inline constexpr ModeRow AUTH_MODES[] = {
    {AuthMode::LOCAL,
     "LOCAL",
     LoginMethod::ONE_KEY,
     true,
     false,
     {"WEBSEC_YJ_TIMEOUT", "WEBSEC_YJ_ALLTIME", 0, 0}},
    {AuthMode::ADVERT,
     "ADVERT",
     LoginMethod::ONE_KEY,
     false,
     false,
     {"WEBSEC_TP_TIMEOUT", "WEBSEC_TP_ALLTIME", 0, 0}},
    {AuthMode::WEIXIN,
     "WEIXIN",
     LoginMethod::ONE_KEY,
     true,
     true,
     {"WEBSEC_WX_TIMEOUT", "WEBSEC_WX_ALLTIME", 0, 0}},
    {AuthMode::USERS, "USERS", LoginMethod::ACCOUNT, true, false, GENERIC_TIMEOUTS},
    {AuthMode::EMAIL, "EMAIL", LoginMethod::MAIL, true, false, GENERIC_TIMEOUTS},
};

/// The row of a WEBAUTH_SECTYPE, or a null pointer for an empty or unknown text. Such a text means
/// mode LOCAL with GENERIC_TIMEOUTS.
constexpr const ModeRow* find_mode(std::string_view text) {
  for (const ModeRow& row : AUTH_MODES) {
    if (text == row.text) return &row;
  }
  return nullptr;
}

constexpr const ModeRow& mode_row(AuthMode mode) {
  return AUTH_MODES[static_cast<std::int32_t>(mode)];
}

}  // namespace webauth
