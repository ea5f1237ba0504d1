#include "daemon/control/control_channel.h"

#include <arpa/inet.h>
#include <syslog.h>

#include <bit>
#include <string>
#include <string_view>
#include <vector>

#include "common/address_text.h"
#include "common/clock.h"
#include "common/text_field.h"
#include "daemon/core/event_log.h"
#include "daemon/core/settings.h"
#include "daemon/kernel/access_policy.h"
#include "daemon/kernel/transport.h"
#include "daemon/kernel/user_entry.h"
#include "daemon/login/email_group.h"
#include "daemon/users/account_limit.h"
#include "daemon/users/registration_file.h"
#include "daemon/users/user_log.h"

namespace webauth {
namespace {

constexpr char KEY_ACCOUNT_GONE[] = "syslog.webauth_logoutuser";

constexpr char ACCOUNT_ADDED_LINE[] =
    "@#@ log_info n - - - webident - -v ident.userident ident.webidentup  "
    "ident.useridentname + %s";
constexpr char ACCOUNT_GONE_LINE[] =
    "@#@ log_info n - - - webident - -v ident.userident ident.webidentdown  %s";
constexpr char CUT_LINE[] =
    "@#@ log_info n %s - webident - -v ident.webidentdown ident.identcuted ident.cutname + %s ";

void add_account(const AddAccountMessage& message, AccountTable& accounts) {
  OnlineUser account;
  account.kind = ENTRY_USER;
  account.note = field_text(message.note);
  account.user = field_text(message.user);
  account.create_time = now_seconds();
  set_validity(account, field_text(message.validity));
  append_user(accounts, account);
  log_user(KEY_ACCOUNT, account);
  syslog(LOG_LINE_PRIORITY, ACCOUNT_ADDED_LINE, account.user.c_str());
}

// Ends the first session of the name, or with multi_user all of them.
void remove_sessions(std::string_view name, OnlineUserTable& online_users) {
  std::vector<std::size_t> ended;
  Position session = find_by_user(online_users, name);
  while (session) {
    KernelMessage removal =
        user_entry_message(REMOVE_ENTRY, user_at(online_users, *session).ip.c_str());
    removal.kind = 0;  // not ENTRY_USER as elsewhere, and sent even if the address did not parse
    send_kernel_message_or_exit(removal);
    ended.push_back(*session);
    if (multi_user == 0) break;
    session = find_by_user(online_users, name, *session + 1);
  }
  remove_users(online_users, ended);
}

void delete_account(const DeleteAccountMessage& message, AccountTable& accounts,
                    OnlineUserTable& online_users) {
  remove_sessions(field_text(message.user), online_users);
  write_registration_file(REGISTRATION_TEMP_FILE, online_users);
  const Position found = find_by_user(accounts, field_text(message.user));
  if (!found) return;
  const OnlineUser& account = user_at(accounts, *found);
  log_user(KEY_ACCOUNT_GONE, account);
  syslog(LOG_LINE_PRIORITY, ACCOUNT_GONE_LINE, account.user.c_str());
  remove_user(accounts, *found);
}

void cut_ip(const CutIpMessage& message, AccountTable& accounts, OnlineUserTable& online_users) {
  const std::string ip(field_text(message.ip));
  const Position found = find_by_ip(online_users, ip);
  if (!found) return;
  const OnlineUser& user = user_at(online_users, *found);
  charge_daily_time(accounts, user);
  remove_user_entry_or_exit(user.ip.c_str());
  log_session(TITLE_USER, KEY_USER_DOWN, user);
  syslog(LOG_LINE_PRIORITY, CUT_LINE, client_text(user).c_str(), user.user.c_str());
  remove_user(online_users, *found);
  write_registration_file(REGISTRATION_TEMP_FILE, online_users);
  (void)email_group_update(EMAIL_GROUP_REMOVE, inet_addr(ip.c_str()));
}

// `field` is the one that the command keeps its MAC address in.
void push_mac_field(const char (&field)[24], int remove) {
  const std::string text(field_text(field));
  if (const auto mac = read_mac(text.c_str())) push_mac_entry(*mac, remove);
}

}  // namespace

int handle_control_message(const ControlMessage& message, AccountTable& accounts,
                           OnlineUserTable& online_users) {
  switch (message.command) {
    case CTL_ADD_ACCOUNT:
      add_account(std::bit_cast<AddAccountMessage>(message), accounts);
      break;
    case CTL_DELETE_ACCOUNT:
      delete_account(std::bit_cast<DeleteAccountMessage>(message), accounts, online_users);
      break;
    case CTL_CUT_IP:
      cut_ip(std::bit_cast<CutIpMessage>(message), accounts, online_users);
      break;
    case CTL_ALLOW_MAC:
      push_mac_field(std::bit_cast<AllowMacMessage>(message).mac, 0);
      break;
    case CTL_REMOVE_MAC:
      push_mac_field(std::bit_cast<RemoveMacMessage>(message).mac, 1);
      break;
    default:
      break;
  }
  return 0;
}

}  // namespace webauth
