#include "ctl/user_text.h"

#include <cstdio>
#include <nlohmann/json.hpp>

#include "common/clock.h"
#include "common/terminal_text.h"
#include "ctl/padded.h"

namespace webauth {
namespace {

constexpr int MINUTE = 60;
constexpr int HOUR = 60 * MINUTE;
constexpr int DAY = 24 * HOUR;

/// The name comes last: it is the only item of foreign length and width.
std::string table_row(const std::string& ip, const std::string& mac, const std::string& since,
                      const std::string& online, const std::string& mode, const std::string& user) {
  return padded(ip, 15) + padded(mac, 17) + padded(since, 19) + padded(online, 9) +
         padded(mode, 6) + user + '\n';
}

}  // namespace

std::string time_text(std::time_t time) {
  std::tm parts{};
  char text[64];
  if (localtime_r(&time, &parts) == nullptr ||
      std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts) == 0) {
    return std::to_string(time);
  }
  return text;
}

std::string duration_text(std::int64_t seconds) {
  if (seconds < 0) return "-";
  const auto days = static_cast<long long>(seconds / DAY);
  const auto rest = static_cast<int>(seconds % DAY);
  char text[48];
  if (days > 0) {
    std::snprintf(text, sizeof text, "%lldd %02d:%02d", days, rest / HOUR, rest / MINUTE % 60);
  } else {
    std::snprintf(text, sizeof text, "%d:%02d:%02d", rest / HOUR, rest / MINUTE % 60, rest % 60);
  }
  return text;
}

std::int64_t online_seconds(const ListedUser& user, std::time_t now) {
  return seconds_between(user.login_time, static_cast<std::int32_t>(now));
}

std::string user_heading() {
  return table_row("ADDRESS", "MAC", "SINCE", "ONLINE", "MODE", "USER");
}

std::string user_row(const ListedUser& user, std::time_t now) {
  return table_row(terminal_text(user.ip), terminal_text(user.mac),
                   time_text(calendar_time(user.login_time, now)),
                   duration_text(online_seconds(user, now)), mode_row(user.mode).text,
                   user.user.empty() ? "-" : terminal_text(user.user));
}

std::string user_table(const UserList& list, std::time_t now, bool heading) {
  std::string table = heading ? user_heading() : "";
  for (const ListedUser& user : list.users) table += user_row(user, now);
  return table;
}

nlohmann::ordered_json user_object(const ListedUser& user) {
  return {{"user", user.user},
          {"ip", user.ip},
          {"mac", user.mac},
          {"login_time", user.login_time},
          {"mode", static_cast<int>(user.mode)},
          {"mode_name", mode_row(user.mode).text}};
}

std::string user_json(const UserList& list, std::time_t now) {
  auto users = nlohmann::ordered_json::array();
  for (const ListedUser& user : list.users) {
    users.push_back(user_object(user));
    users.back()["online_seconds"] = online_seconds(user, now);
  }
  return json_line(users);
}

std::string json_line(const nlohmann::ordered_json& value) {
  return value.dump(-1, ' ', true, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}

}  // namespace webauth
