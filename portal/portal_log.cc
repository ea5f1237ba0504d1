#include "portal/portal_log.h"

#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>

#include <ctime>

#include "common/address_text.h"
#include "common/unix_address.h"

namespace webauth {
namespace {

constexpr char LOG_PATH[] = "/dev/log";
constexpr std::int64_t MINUTE = 60'000'000;

struct CauseRow {
  const char* text;
  int lines;  ///< a minute
};

// In the order of Cause. What attempts bound already may say more than what floods do.
constexpr CauseRow CAUSE_ROWS[] = {
    {"login refused: name or password is wrong", 10},
    {"login refused: name or password may not be sent", 1},
    {"login refused by the mail server or the name rule", 10},
    {"login refused: the account's time is used up", 10},
    {"login refused: not on the white list", 10},
    {"login not admitted", 10},
    {"the daemon cannot be reached", 1},
    {"cut off again: the daemon is still in mode USERS, restart it", 1},
    {"too many attempts", 1},
    {"too many logins wait", 1},
    {"a form that is not ours, or too old", 1},
    {"an address that may not log in", 1},
    {"connection closed to make room", 1},
};
static_assert(std::size(CAUSE_ROWS) == CAUSE_COUNT);

}  // namespace

void open_log(PortalLog& log) {
  log.fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
}

void log_line(const PortalLog& log, int priority, const std::string& text) {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  char stamp[32] = {};
  if (localtime_r(&now, &parts) != nullptr) std::strftime(stamp, sizeof stamp, "%h %e %T", &parts);
  const std::string line = '<' + std::to_string(LOG_DAEMON | priority) + '>' + stamp +
                           " webauth-portal[" + std::to_string(getpid()) + "]: " + text;
  const sockaddr_un address = unix_address(LOG_PATH);
  (void)sendto(log.fd, line.data(), line.size(), MSG_NOSIGNAL,
               reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

void log_refusal(PortalLog& log, Cause cause, std::uint32_t ip, std::int64_t now) {
  PortalLog::Minute& minute = log.minutes[static_cast<std::size_t>(cause)];
  const CauseRow& row = CAUSE_ROWS[static_cast<std::size_t>(cause)];
  if (minute.begin == 0 || now - minute.begin >= MINUTE) {
    minute.begin = now;
    minute.lines = 0;
  }
  if (++minute.lines > row.lines) {
    ++minute.left_out;
    return;
  }
  std::string text = ip_text(ip) + ": " + row.text;
  if (minute.left_out > 0) text += " (" + std::to_string(minute.left_out) + " more before)";
  minute.left_out = 0;
  log_line(log, LOG_NOTICE, text);
}

}  // namespace webauth
