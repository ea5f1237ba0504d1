#include "ctl/users_command.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <iostream>

#include "ctl/daemon_socket.h"
#include "ctl/events_command.h"
#include "ctl/list_follower.h"
#include "ctl/operator_error.h"
#include "ctl/user_text.h"

namespace webauth {
namespace {

UserList meant_users(const UserList& list, const UsersOptions& options) {
  UserList meant;
  for (const ListedUser& user : list.users) {
    if (options.any || is_meant(user, options.who)) meant.users.push_back(user);
  }
  return meant;
}

void print_list(const UserList& list, const UsersOptions& options) {
  const std::time_t now = std::time(nullptr);
  std::cout << (options.json ? user_json(list, now) : user_table(list, now, options.heading))
            << std::flush;
  if (!std::cout) throw OperatorError("cannot write the output");
}

std::size_t terminal_lines() {
  winsize size{};
  constexpr std::size_t USUAL = 24;
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0 ? size.ws_row : USUAL;
}

// As many users as the terminal holds, the latest last. Lines are cut at its right edge, not
// wrapped; that is set back with each drawing, since a signal may end the next.
void draw(const UserList& list, bool daemon_is_up) {
  const std::time_t now = std::time(nullptr);
  const std::size_t room = std::max<std::size_t>(terminal_lines(), 4) - 3;
  const std::size_t left_out = list.users.size() - std::min(list.users.size(), room);
  const auto end_line = [](std::string line) { return line.insert(line.size() - 1, "\033[K"); };
  std::string text = "\033[H\033[?7l" + end_line(user_heading());
  for (std::size_t i = left_out; i < list.users.size(); ++i) {
    text += end_line(user_row(list.users[i], now));
  }
  text += std::to_string(list.users.size()) + " online";
  if (left_out > 0) text += ", the latest " + std::to_string(room) + " are shown";
  if (!daemon_is_up) text += "; the daemon is not running";
  if (!(std::cout << text << "\033[K\n\033[J\033[?7h" << std::flush)) {
    throw OperatorError("cannot write the output");
  }
}

int watch_list(const UsersOptions& options) {
  ListFollower follower;
  const bool on_terminal = isatty(STDOUT_FILENO) == 1 && !options.json;
  if (!on_terminal) print_list(meant_users(follower.list(), options), options);
  Followed found;
  do {
    if (on_terminal) {
      draw(meant_users(follower.list(), options), follower.daemon_is_up());
    } else {
      std::erase_if(found.changes, [&](const ListChange& change) {
        return !options.any && !is_meant(change.user, options.who);
      });
      print_events(found, options.json);
    }
  } while (follower.follow(found));
  return STATUS_ERROR;
}

}  // namespace

int run_users(const UsersOptions& options) {
  if (options.watch) return watch_list(options);
  const bool down = !daemon_runs();
  const UserList list = read_user_list();
  report_malformed(list);
  const UserList meant = meant_users(list, options);
  print_list(meant, options);
  if (down) {
    std::cerr << "webauthctl: the daemon is not running";
    if (list.exists) std::cerr << "; this is the list that it left at " << time_text(list.written);
    std::cerr << '\n';
    return STATUS_DOWN;
  }
  return meant.users.empty() && !options.any ? STATUS_NOBODY : STATUS_DONE;
}

}  // namespace webauth
