#include "ctl/restore_command.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <iostream>
#include <span>
#include <unordered_set>
#include <vector>

#include "common/clock.h"
#include "common/terminal_text.h"
#include "ctl/daemon_socket.h"
#include "ctl/operator_error.h"
#include "ctl/record_field.h"
#include "ctl/setting.h"
#include "ctl/user_list.h"
#include "daemon/core/setting_values.h"
#include "daemon/login/login_record.h"

namespace webauth {
namespace {

constexpr std::int64_t SECOND_US = 1'000'000;
constexpr int TRY_AGAIN_MS = 10;
// The list is read again this often, and not before each login: with many users that would take
// longer than the logins.
constexpr std::int64_t LIST_AGE_US = 50'000;

// Who is online already.
struct Online {
  std::unordered_set<std::string> addresses;
  std::unordered_set<std::string> names;
  std::int64_t read_at = 0;
};

struct Tally {
  std::size_t online = 0;
  std::size_t mail = 0;
  std::size_t other_mode = 0;
  std::vector<const ListedUser*> tried;
};

struct Restoring {
  RestoreOptions options;
  LoginMethod method;  ///< of the mode that is set
  bool several;        ///< an account may be online several times
  Online online;
  Tally tally;
};

std::int64_t deadline_of(const RestoreOptions& options) {
  return steady_microseconds() + options.timeout * SECOND_US;
}

bool is_gone(pid_t pid) { return pid != 0 && kill(pid, 0) != 0 && errno == ESRCH; }

// The list that an earlier daemon left is gone when the sockets of the new one are there.
void wait_for_daemon(const RestoreOptions& options) {
  const std::int64_t deadline = deadline_of(options);
  while (!daemon_runs()) {
    if (steady_microseconds() >= deadline || is_gone(options.daemon_pid)) {
      throw OperatorError("the daemon is not running; nobody was logged in", STATUS_DOWN);
    }
    (void)poll(nullptr, 0, TRY_AGAIN_MS);
  }
}

void look_who_is_online(Online& online) {
  const std::int64_t now = steady_microseconds();
  if (online.read_at != 0 && now - online.read_at < LIST_AGE_US) return;
  online = {};
  for (ListedUser& user : read_user_list().users) {
    online.addresses.insert(std::move(user.ip));
    online.names.insert(std::move(user.user));
  }
  online.read_at = now;
}

// A later login of the name would end the one that is there.
bool is_online(const Restoring& restoring, const ListedUser& user) {
  const Online& online = restoring.online;
  if (online.addresses.contains(user.ip)) return true;
  const bool is_account = restoring.method == LoginMethod::ACCOUNT;
  return is_account && !restoring.several && online.names.contains(user.user);
}

void log_in(const ListedUser& user, const RestoreOptions& options) {
  LoginRequest request{};
  request.type = LOGIN_REQUEST;
  fill_field(request.user, "user name", user.user);
  fill_field(request.ip, "IP address", user.ip);
  fill_field(request.mac, "MAC address", user.mac);
  LoginReply reply{};
  const ExchangeResult result =
      exchange_record(std::as_bytes(std::span(&request, 1)),
                      std::as_writable_bytes(std::span(&reply, 1)), deadline_of(options));
  if (result != ExchangeResult::TIMED_OUT) return;  // what came of it the list shows
  throw OperatorError("the daemon does not answer; who is left was not logged in");
}

void restore_user(Restoring& restoring, const ListedUser& user) {
  const LoginMethod method = mode_row(user.mode).method;
  if (method == LoginMethod::MAIL) {
    ++restoring.tally.mail;
    return;
  }
  if (method != restoring.method) {
    ++restoring.tally.other_mode;
    return;
  }
  look_who_is_online(restoring.online);
  if (is_online(restoring, user)) {
    ++restoring.tally.online;
    return;
  }
  log_in(user, restoring.options);
  restoring.online.addresses.insert(user.ip);
  restoring.online.names.insert(user.user);
  restoring.tally.tried.push_back(&user);
}

void print_left_out(std::size_t count, const char* why) {
  if (count > 0) std::cout << "left out: " << count << ' ' << why << '\n';
}

int print_tally(const Tally& tally) {
  Online online;
  look_who_is_online(online);
  std::size_t restored = 0;
  for (const ListedUser* user : tally.tried) {
    if (online.addresses.contains(user->ip)) {
      ++restored;
      continue;
    }
    std::cout << "not let in: " << terminal_text(user->ip) << ' ' << terminal_text(user->user)
              << '\n';
  }
  print_left_out(tally.online, "online already");
  print_left_out(tally.mail, "logged in by e-mail, and must do so again");
  print_left_out(tally.other_mode, "of another mode than is set now");
  std::cout << "restored: " << restored << '\n';
  return restored == tally.tried.size() ? STATUS_DONE : STATUS_UNCONFIRMED;
}

}  // namespace

int run_restore(const RestoreOptions& options) {
  const UserList saved = read_trusted_list(options.file.c_str());
  if (!saved.exists && !options.remove) throw OperatorError("there is no " + options.file);
  report_malformed(saved);
  if (!nvram_open()) throw OperatorError(std::string("cannot read ") + settings_path());
  Restoring restoring{.options = options,
                      .method = configured_mode().method,
                      .several = means_multi_user(setting("WEBAUTH_MULTIUSER")),
                      .online = {},
                      .tally = {}};
  wait_for_daemon(options);
  for (const ListedUser& user : saved.users) restore_user(restoring, user);
  const int status = print_tally(restoring.tally);
  if (options.remove) (void)unlink(options.file.c_str());
  return status;
}

}  // namespace webauth
