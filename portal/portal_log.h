// The portal's lines in the system log: what it did and why it refused, never what somebody typed.
// A flood makes a line a minute. Sent without waiting: a log that does not read loses lines, and
// the visitors lose nothing. Times are microseconds of the steady clock.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace webauth {

enum class Cause : std::uint8_t {
  WRONG_PASSWORD,
  BAD_TEXT,  ///< a name or password that may not be sent
  DAEMON_REFUSED,
  TIME_USED_UP,
  NOT_LISTED,
  NOT_ADMITTED,
  UNREACHABLE,
  OTHER_MODE,  ///< of the daemon than of the settings
  TOO_MANY_ATTEMPTS,
  QUEUE_FULL,
  FOREIGN_FORM,  ///< token or Origin
  OUTSIDE,       ///< an address that may not log in
  DISPLACED,     ///< connections
};

inline constexpr std::size_t CAUSE_COUNT = static_cast<std::size_t>(Cause::DISPLACED) + 1;

struct PortalLog {
  struct Minute {
    std::int64_t begin = 0;
    int lines = 0;
    unsigned left_out = 0;
  };
  int fd = -1;
  std::array<Minute, CAUSE_COUNT> minutes;
};

/// Opens the way to /dev/log; without one nothing is logged.
void open_log(PortalLog& log);

/// Writes a line at the priority of syslog(3), as LOG_NOTICE.
void log_line(const PortalLog& log, int priority, const std::string& text);

/// Writes a line about what was refused to an address, or counts it when the cause has had its
/// lines of this minute; the first of a later minute says how many were left out.
void log_refusal(PortalLog& log, Cause cause, std::uint32_t ip, std::int64_t now);

}  // namespace webauth
