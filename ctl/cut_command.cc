#include "ctl/cut_command.h"

#include <algorithm>
#include <iostream>
#include <set>

#include "common/clock.h"
#include "common/fd_guard.h"
#include "ctl/daemon_socket.h"
#include "ctl/list_watch.h"
#include "ctl/operator_error.h"
#include "ctl/record_field.h"
#include "ctl/user_list.h"

namespace webauth {
namespace {

constexpr std::int64_t CUT_PATIENCE_US = 2'000'000;
// Long enough for a daemon at work to have written the list again.
constexpr std::int64_t QUIET_US = 200'000;
// The daemon removes the first record of an address, which need not be the one that is listed.
constexpr int MOST_ROUNDS = 4;

using Users = std::vector<ListedUser>;

CutIpMessage cut_message(std::string_view ip) {
  CutIpMessage message{};
  message.command = CTL_CUT_IP;
  fill_field(message.ip, "IP address", ip);
  return message;
}

bool is_wanted(const CutOptions& options, const ListedUser& user) {
  if (options.all) return true;
  if (!options.mac.empty()) return is_same_mac(user.mac, options.mac);
  if (!options.user.empty()) return user.user == options.user;
  const auto& addresses = options.addresses;
  return std::find(addresses.begin(), addresses.end(), user.ip) != addresses.end();
}

Users wanted_users(const UserList& list, const CutOptions& options) {
  Users wanted;
  std::copy_if(list.users.begin(), list.users.end(), std::back_inserter(wanted),
               [&](const ListedUser& user) { return is_wanted(options, user); });
  return wanted;
}

// One who has logged in anew since is another.
bool drop_gone(Users& users, const UserList& list) {
  std::set<std::pair<std::string_view, std::int32_t>> listed;
  for (const ListedUser& user : list.users) listed.emplace(user.ip, user.login_time);
  return std::erase_if(users, [&](const ListedUser& user) {
           return !listed.contains({user.ip, user.login_time});
         }) > 0;
}

// False when no new list has come.
bool wait_until_gone(ListWatch& watch, Users& users) {
  std::int64_t deadline = steady_microseconds() + CUT_PATIENCE_US;
  bool is_rewritten = false;
  for (;;) {
    const std::int64_t quiet = is_rewritten ? steady_microseconds() + QUIET_US : deadline;
    const WatchResult result = watch.wait(std::min(deadline, quiet));
    if (result == WatchResult::TIMED_OUT || result == WatchResult::LOST) return is_rewritten;
    // A list that is removed tells of a daemon that started anew, not of one that obeyed.
    if (result != WatchResult::REPLACED) continue;
    is_rewritten = true;
    const auto list = try_read_user_list();
    if (list && drop_gone(users, *list)) deadline = steady_microseconds() + CUT_PATIENCE_US;
    if (users.empty()) return true;
  }
}

void cut_listed(int control, ListWatch& watch, Users& users) {
  bool is_served = true;
  for (int round = 0; round < MOST_ROUNDS && is_served && !users.empty(); ++round) {
    for (const ListedUser& user : users) send_control(control, cut_message(user.ip));
    is_served = wait_until_gone(watch, users);
  }
}

// Sends the addresses that are not listed, and says so.
ExitStatus cut_unlisted(int control, const CutOptions& options, const UserList& list) {
  ExitStatus status = STATUS_DONE;
  for (const std::string& ip : options.addresses) {
    if (is_listed(list, ip)) continue;
    send_control(control, cut_message(ip));
    std::cout << "nobody is online at " << ip << '\n';
    status = STATUS_NOBODY;
  }
  return status;
}

// Whoever has made the list unreadable is not to keep an address from being cut.
ExitStatus cut_blindly(int control, const CutOptions& options) {
  for (const std::string& ip : options.addresses) {
    send_control(control, cut_message(ip));
    std::cout << "sent, not confirmed: " << ip << '\n';
  }
  return options.addresses.empty() ? STATUS_ERROR : STATUS_UNCONFIRMED;
}

void check_arguments(const CutOptions& options) {
  char field[16];
  for (const std::string& ip : options.addresses) fill_ip(field, ip);
  char mac[24];
  if (!options.mac.empty()) fill_mac(mac, options.mac);
}

}  // namespace

int run_cut(const CutOptions& options) {
  check_arguments(options);
  const FdGuard control(open_control_socket());
  ListWatch watch(REGISTRATION_FILE);
  watch.skip_changes();
  const auto list = try_read_user_list();
  if (!list) return cut_blindly(control.get(), options);
  report_malformed(*list);
  Users users = wanted_users(*list, options);
  const std::size_t count = users.size();
  const ExitStatus status = cut_unlisted(control.get(), options, *list);
  if (count == 0) {
    if (options.addresses.empty()) std::cout << "nobody of that kind is online\n";
    return STATUS_NOBODY;
  }
  cut_listed(control.get(), watch, users);
  for (const ListedUser& user : users) {
    std::cout << "sent, not confirmed: " << terminal_text(user.ip) << '\n';
  }
  if (count > users.size()) std::cout << "done: " << count - users.size() << " cut off\n";
  return users.empty() ? status : STATUS_UNCONFIRMED;
}

}  // namespace webauth
