#include "ctl/control_commands.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <iostream>
#include <optional>
#include <span>

#include "common/clock.h"
#include "ctl/daemon_socket.h"
#include "ctl/list_watch.h"
#include "ctl/operator_error.h"
#include "ctl/record_field.h"
#include "ctl/user_list.h"
#include "daemon/users/published_line.h"

namespace webauth {
namespace {

constexpr std::int64_t CONFIRM_PATIENCE_US = 2'000'000;

template <typename Record>
void send_record(const Record& record) {
  static_assert(is_control_record<Record>());
  send_datagram(CONTROL_SOCKET_PATH, std::as_bytes(std::span(&record, 1)));
}

template <typename Record>
void send_unconfirmed(const Record& record) {
  send_record(record);
  std::cout << "sent\n";
}

std::optional<int> parse_digits(std::string_view text) {
  if (text.empty() || text.size() > 4) return {};
  int number = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return {};
    number = number * 10 + (c - '0');
  }
  return number;
}

bool is_calendar_date(std::string_view text) {
  if (text.size() != 10 || text[4] != '-' || text[7] != '-') return false;
  const auto year = parse_digits(text.substr(0, 4));
  const auto month = parse_digits(text.substr(5, 2));
  const auto day = parse_digits(text.substr(8, 2));
  if (!year || !month || !day) return false;
  return std::chrono::year_month_day(std::chrono::year(*year),
                                     std::chrono::month(static_cast<unsigned>(*month)),
                                     std::chrono::day(static_cast<unsigned>(*day)))
      .ok();
}

/// How many listed users have `text` in `field`; nothing when the list cannot be read.
std::optional<std::ptrdiff_t> count_listed(std::string ListedUser::*field, std::string_view text) {
  try {
    const UserList list = read_user_list(REGISTRATION_FILE);
    return std::count_if(list.users.begin(), list.users.end(),
                         [&](const ListedUser& user) { return user.*field == text; });
  } catch (const OperatorError&) {
    return {};
  }
}

/// True when a list written after the message holds fewer such users than before. When it held none
/// before, any new list is taken for the daemon's answer.
bool wait_for_effect(ListWatch& watch, std::ptrdiff_t before, std::string ListedUser::*field,
                     std::string_view text) {
  const std::int64_t deadline = steady_microseconds() + CONFIRM_PATIENCE_US;
  for (;;) {
    const WatchResult result = watch.wait(deadline);
    if (result == WatchResult::TIMED_OUT || result == WatchResult::LOST) return false;
    // A list that is removed tells of a daemon that started anew, not of one that obeyed.
    if (result != WatchResult::REPLACED) continue;
    const auto now = count_listed(field, text);
    if (now && (before == 0 || *now < before)) return true;
  }
}

/// `always_written`: the daemon writes the list even when the message changes nothing in it.
template <typename Record>
void send_confirmed(const Record& record, std::string ListedUser::*field, std::string_view text,
                    bool always_written) {
  ListWatch watch(REGISTRATION_FILE);
  watch.skip_changes();
  const auto before = count_listed(field, text);
  send_record(record);
  const bool can_confirm = before && (*before > 0 || always_written);
  const bool confirmed = can_confirm && wait_for_effect(watch, *before, field, text);
  std::cout << (confirmed ? "done\n" : "sent, not confirmed\n");
}

}  // namespace

std::string validity_field_text(std::string_view validity) {
  if (validity == "*") return "*";
  const auto hours = parse_digits(validity);
  if (hours && validity.size() <= 2 && *hours <= 24) return std::string(validity);
  if (is_calendar_date(validity)) return std::string(validity) + '.';
  throw OperatorError("validity is not '*', hours per day (0 to 24) or a date YYYY-MM-DD: '" +
                      terminal_text(validity) + "'");
}

AddAccountMessage make_add_account(const AccountOptions& options) {
  if (options.user.empty()) throw OperatorError("user name is empty");
  AddAccountMessage message{};
  message.command = CTL_ADD_ACCOUNT;
  fill_plain_field(message.user, "user name", options.user);
  fill_plain_field(message.password, "password", options.password);
  fill_field(message.validity, "validity", validity_field_text(options.validity));
  fill_plain_field(message.note, "note", options.note);
  return message;
}

DeleteAccountMessage make_delete_account(std::string_view user) {
  DeleteAccountMessage message{};
  message.command = CTL_DELETE_ACCOUNT;
  fill_field(message.user, "user name", user);
  return message;
}

CutIpMessage make_cut_ip(std::string_view ip) {
  CutIpMessage message{};
  message.command = CTL_CUT_IP;
  fill_ip(message.ip, ip);
  return message;
}

void run_add_account(const AccountOptions& options) { send_unconfirmed(make_add_account(options)); }

void run_delete_account(const std::string& user) {
  send_confirmed(make_delete_account(user), &ListedUser::user, user, true);
}

void run_cut(const std::string& ip) { send_confirmed(make_cut_ip(ip), &ListedUser::ip, ip, false); }

void run_allow_mac(const std::string& mac) {
  AllowMacMessage message{};
  message.command = CTL_ALLOW_MAC;
  fill_mac(message.mac, mac);
  send_unconfirmed(message);
}

void run_remove_mac(const std::string& mac) {
  RemoveMacMessage message{};
  message.command = CTL_REMOVE_MAC;
  fill_mac(message.mac, mac);
  send_unconfirmed(message);
}

}  // namespace webauth
