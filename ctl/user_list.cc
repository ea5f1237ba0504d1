#include "ctl/user_list.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <nlohmann/json.hpp>

#include "common/fd_guard.h"
#include "common/terminal_text.h"
#include "ctl/operator_error.h"

namespace webauth {
namespace {

constexpr std::size_t LIST_SIZE_LIMIT = std::size_t{256} << 20U;

const char* mode_name(const ListedUser& user) { return mode_row(user.mode).text; }

[[noreturn]] void fail(const char* path, const char* problem) {
  throw OperatorError(std::string("cannot read ") + path + ": " + problem);
}

std::string read_file(int fd, const char* path) {
  std::string text;
  char piece[65536];
  for (;;) {
    const ssize_t count = read(fd, piece, sizeof piece);
    if (count == 0) return text;
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) fail(path, std::strerror(errno));
    text.append(piece, static_cast<std::size_t>(count));
    if (text.size() > LIST_SIZE_LIMIT) fail(path, "it is far too large for a list of users");
  }
}

std::string time_text(std::int32_t seconds) {
  const auto value = static_cast<std::time_t>(seconds);
  std::tm parts{};
  char text[32];
  if (localtime_r(&value, &parts) == nullptr ||
      std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts) == 0) {
    return std::to_string(seconds);
  }
  return text;
}

std::string padded(std::string text, std::size_t width) {
  if (text.size() < width) text.append(width - text.size(), ' ');
  return text + "  ";
}

/// The name comes last: it is the only item of foreign length and width.
std::string table_row(const std::string& ip, const std::string& mac, const std::string& since,
                      const std::string& mode, const std::string& user) {
  return padded(ip, 15) + padded(mac, 17) + padded(since, 19) + padded(mode, 6) + user + '\n';
}

}  // namespace

std::optional<ListedUser> parse_listed_user(std::string_view line) {
  const auto read = read_published_line(line);
  if (!read) return {};
  return ListedUser{.user = std::string(read->user),
                    .ip = std::string(read->ip),
                    .mac = std::string(read->mac),
                    .login_time = read->login_time,
                    .mode = read->mode};
}

UserList parse_user_list(std::string_view text) {
  UserList list;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    auto user =
        end == std::string_view::npos ? std::nullopt : parse_listed_user(text.substr(0, end));
    if (user) {
      list.users.push_back(std::move(*user));
    } else {
      ++list.malformed;
    }
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return list;
}

UserList read_user_list(const char* path) {
  // O_NONBLOCK: the path lies in a directory where anybody may have put a pipe.
  const FdGuard fd(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (fd.get() < 0 && errno == ENOENT) return {};
  if (fd.get() < 0) fail(path, std::strerror(errno));
  struct stat status {};
  if (fstat(fd.get(), &status) != 0) fail(path, std::strerror(errno));
  if (!S_ISREG(status.st_mode)) fail(path, "not a regular file");
  return parse_user_list(read_file(fd.get(), path));
}

std::string user_table(const UserList& list) {
  std::string table = table_row("ADDRESS", "MAC", "SINCE", "MODE", "USER");
  for (const ListedUser& user : list.users) {
    table += table_row(terminal_text(user.ip), terminal_text(user.mac), time_text(user.login_time),
                       mode_name(user), user.user.empty() ? "-" : terminal_text(user.user));
  }
  return table;
}

std::string user_json(const UserList& list) {
  auto users = nlohmann::ordered_json::array();
  for (const ListedUser& user : list.users) {
    users.push_back({{"user", user.user},
                     {"ip", user.ip},
                     {"mac", user.mac},
                     {"login_time", user.login_time},
                     {"mode", static_cast<int>(user.mode)},
                     {"mode_name", mode_name(user)}});
  }
  return users.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + '\n';
}

}  // namespace webauth
