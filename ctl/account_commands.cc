#include "ctl/account_commands.h"

#include <algorithm>
#include <iostream>
#include <optional>

#include "common/clock.h"
#include "common/fd_guard.h"
#include "ctl/account_edit.h"
#include "ctl/daemon_socket.h"
#include "ctl/line_file.h"
#include "ctl/list_watch.h"
#include "ctl/operator_error.h"
#include "ctl/password.h"
#include "ctl/record_field.h"
#include "ctl/setting.h"
#include "ctl/user_list.h"
#include "ctl/validity_text.h"
#include "daemon/core/setting_values.h"
#include "daemon/login/account_line.h"
#include "daemon/platform/settings_store.h"

namespace webauth {
namespace {

constexpr std::int64_t CHANGE_PATIENCE_US = 2'000'000;
constexpr mode_t ACCOUNT_FILE_MODE = 0600;  // it holds passwords

/// Nothing when the list cannot be read.
std::optional<std::ptrdiff_t> count_logins(const std::string& user) {
  const auto list = try_read_user_list();
  if (!list) return {};
  return std::count_if(list->users.begin(), list->users.end(),
                       [&](const ListedUser& online) { return online.user == user; });
}

/// True when a list written after the message holds fewer logins than before. When it held none
/// before, any new list is taken for the daemon's answer: it writes one with each deletion.
bool wait_for_fewer_logins(ListWatch& watch, std::ptrdiff_t before, const std::string& user) {
  const std::int64_t deadline = steady_microseconds() + CHANGE_PATIENCE_US;
  for (;;) {
    const WatchResult result = watch.wait(deadline);
    if (result == WatchResult::TIMED_OUT || result == WatchResult::LOST) return false;
    // A list that is removed tells of a daemon that started anew, not of one that obeyed.
    if (result != WatchResult::REPLACED) continue;
    const auto now = count_logins(user);
    if (now && (before == 0 || *now < before)) return true;
  }
}

std::string column_of(const std::string& password, bool hash) {
  demand_password(password);
  if (!hash && is_hash(password)) {
    throw OperatorError("the password would be taken for a hash: use --hash");
  }
  return hash ? hashed_password(password) : password;
}

// What was saved is not undone by a daemon that is not there: it reads the file when it starts.
bool is_down_but_saved(const AccountOptions& options) {
  if (!options.save || daemon_runs()) return false;
  std::cout << "saved; the daemon is not running and reads it at its start\n";
  return true;
}

void warn_if_left_out(const std::string& validity) {
  const bool several = nvram_open() && means_multi_user(setting("WEBAUTH_MULTIUSER"));
  if (!is_left_out(parse_validity(validity.c_str()), several)) return;
  std::cerr << "webauthctl: with WEBAUTH_MULTIUSER the daemon leaves accounts with hours per day "
               "out when it reads the file\n";
}

AddAccountMessage make_add_account(const AccountOptions& options, const std::string& password) {
  if (options.user.empty()) throw OperatorError("user name is empty");
  AddAccountMessage message{};
  message.command = CTL_ADD_ACCOUNT;
  fill_plain_field(message.user, "user name", options.user);
  if (!options.hash) fill_plain_field(message.password, "password", password, Shown::NO);
  fill_field(message.validity, "validity", validity_field_text(options.validity));
  fill_plain_field(message.note, "note", options.note);
  return message;
}

}  // namespace

int run_add_account(const AccountOptions& options) {
  (void)make_add_account(options, "");  // nothing is asked for in vain
  const bool asks = !options.no_password && (options.password || options.save);
  const std::string password = asks ? read_new_password() : "";
  const AddAccountMessage message = make_add_account(options, password);
  if (options.save) {
    warn_if_left_out(options.validity);
    const NewAccount account{.user = options.user,
                             .password = asks ? column_of(password, options.hash) : "",
                             .validity = validity_field_text(options.validity),
                             .note = options.note};
    (void)edit_file(ACCOUNT_FILE, ACCOUNT_FILE_MODE, [&](std::string& text) {
      add_account_line(text, account);
      return true;
    });
    if (is_down_but_saved(options)) return STATUS_DONE;
  }
  const FdGuard control(open_control_socket());
  send_control(control.get(), message);
  std::cout << (options.save ? "saved and sent\n" : "sent\n");
  return STATUS_DONE;
}

int run_delete_account(const AccountOptions& options) {
  DeleteAccountMessage message{};
  message.command = CTL_DELETE_ACCOUNT;
  fill_field(message.user, "user name", options.user);
  std::size_t removed = 0;
  if (options.save) {
    (void)edit_file(ACCOUNT_FILE, 0, [&](std::string& text) {
      removed = remove_account_lines(text, options.user);
      return removed > 0;
    });
    if (removed > 0 && is_down_but_saved(options)) return STATUS_DONE;
  }
  const FdGuard control(open_control_socket());
  ListWatch watch(REGISTRATION_FILE);
  watch.skip_changes();
  const auto before = count_logins(options.user);
  if (options.save) std::cout << (removed > 0 ? "saved\n" : "not in the account file\n");
  // The daemon deletes the first account of the name, and holds one for each line of it.
  for (std::size_t i = 0; i < std::max<std::size_t>(removed, 1); ++i) {
    send_control(control.get(), message);
  }
  const bool confirmed = before && wait_for_fewer_logins(watch, *before, options.user);
  std::cout << (confirmed ? "done\n" : "sent, not confirmed\n");
  return confirmed ? STATUS_DONE : STATUS_UNCONFIRMED;
}

int run_account_password(const AccountOptions& options) {
  if (options.user.empty()) throw OperatorError("user name is empty");
  const std::string column = column_of(read_new_password(), options.hash);
  const bool exists = edit_file(ACCOUNT_FILE, 0, [&](std::string& text) {
    set_account_password(text, options.user, column);
    return true;
  });
  if (!exists) throw OperatorError(std::string("there is no ") + ACCOUNT_FILE);
  std::cout << "saved\n";
  return STATUS_DONE;
}

}  // namespace webauth
