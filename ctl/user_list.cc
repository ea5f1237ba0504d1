#include "ctl/user_list.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>

#include "common/address_input.h"
#include "common/fd_guard.h"
#include "common/file.h"
#include "ctl/operator_error.h"

namespace webauth {
namespace {

constexpr off_t LIST_SIZE_LIMIT = off_t{256} << 20U;

[[noreturn]] void fail_to_read(const char* path, const char* problem) {
  throw OperatorError(std::string("cannot read ") + path + ": " + problem);
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
  // O_NONBLOCK and O_NOFOLLOW: the path lies in a directory where anybody may have put a pipe or a
  // link.
  const FdGuard fd(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW));
  if (fd.get() < 0 && errno == ENOENT) return {};
  if (fd.get() < 0) fail_to_read(path, std::strerror(errno));
  struct stat status {};
  if (fstat(fd.get(), &status) != 0) fail_to_read(path, std::strerror(errno));
  if (!S_ISREG(status.st_mode)) fail_to_read(path, "not a regular file");
  if (status.st_size > LIST_SIZE_LIMIT)
    fail_to_read(path, "it is far too large for a list of users");
  std::string text;
  if (!read_whole(fd.get(), text)) fail_to_read(path, std::strerror(errno));
  UserList list = parse_user_list(text);
  list.exists = true;
  list.written = status.st_mtime;
  list.owner = status.st_uid;
  return list;
}

UserList read_trusted_list(const char* path) {
  UserList list = read_user_list(path);
  if (!list.exists || list.owner == 0 || list.owner == geteuid()) return list;
  throw OperatorError(std::string(path) + " belongs to user " + std::to_string(list.owner) +
                      ", who may have made it up");
}

std::optional<UserList> try_read_user_list() {
  try {
    return read_user_list();
  } catch (const OperatorError& error) {
    std::cerr << "webauthctl: " << error.what() << std::endl;
    return {};
  }
}

void report_malformed(const UserList& list) {
  if (list.malformed == 0) return;
  std::cerr << "webauthctl: malformed lines left out: " << list.malformed << std::endl;
}

bool is_listed(const UserList& list, std::string_view ip) {
  return std::any_of(list.users.begin(), list.users.end(),
                     [&](const ListedUser& user) { return user.ip == ip; });
}

bool is_meant(const ListedUser& user, std::string_view who) {
  return user.ip == who || user.user == who || is_same_mac(user.mac, who);
}

bool is_same_mac(std::string_view a, std::string_view b) {
  const auto first = parse_mac(a);
  return a == b || (first && first == parse_mac(b));
}

}  // namespace webauth
