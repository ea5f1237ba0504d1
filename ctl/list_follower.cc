#include "ctl/list_follower.h"

#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include "common/clock.h"
#include "ctl/operator_error.h"

namespace webauth {
namespace {

// A daemon that dies leaves its list, so that is looked at even when nothing changes.
constexpr std::int64_t LOOK_AFTER_US = 1'000'000;

}  // namespace

ListFollower::ListFollower()
    : watch_(REGISTRATION_FILE), list_(read_user_list()), daemon_(running_daemon()) {}

std::optional<ListFollower::Daemon> ListFollower::running_daemon() {
  struct stat socket {};
  if (!daemon_runs() || stat(CONTROL_SOCKET_PATH, &socket) != 0) return {};
  return Daemon{socket.st_ino, socket.st_ctim.tv_sec, socket.st_ctim.tv_nsec};
}

bool ListFollower::follow(Followed& found) {
  found = {};
  const WatchResult result = watch_.wait(steady_microseconds() + LOOK_AFTER_US, STDOUT_FILENO);
  if (result == WatchResult::OUTPUT_GONE) return false;
  if (result == WatchResult::LOST) {
    throw OperatorError(std::string("cannot watch the directory of ") + REGISTRATION_FILE);
  }
  const auto daemon = running_daemon();
  if (daemon != daemon_) {
    if (daemon_) found.daemon.push_back(false);
    if (daemon) found.daemon.push_back(true);
    daemon_ = daemon;
  }
  if (result == WatchResult::TIMED_OUT) return true;
  UserList now = read_user_list();
  found.changes = list_changes(list_, now);
  list_ = std::move(now);
  return true;
}

}  // namespace webauth
