// What the texts of settings mean. Stands alone, so that the programs beside the daemon judge a
// setting as it does. Nothing here fails.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace webauth {

/// Room for the mail server's name and port, each with its closing NUL. In mode EMAIL a longer text
/// ends the daemon at its start.
inline constexpr std::size_t MAIL_HOST_SIZE = 64;
inline constexpr std::size_t MAIL_PORT_SIZE = 7;

/// Of WEBAUTH_MULTIUSER: whether an account may be online several times.
constexpr bool means_multi_user(std::string_view text) { return text.starts_with("YES"); }

/// The time-outs of a setting that is empty.
inline constexpr std::uint32_t DEFAULT_IDLE = 1800;  // seconds, both
inline constexpr std::uint32_t DEFAULT_MAXIMUM = 7200;

/// The seconds of a time-out in minutes: its leading digits, without a range check.
inline std::uint32_t timeout_seconds(const char* minutes, std::uint32_t when_empty,
                                     std::uint32_t when_0) {
  if (*minutes == '\0') return when_empty;
  const auto count = static_cast<std::uint32_t>(std::atoi(minutes));
  return count == 0 ? when_0 : count * 60;
}

}  // namespace webauth
