#include "daemon/users/kernel_events.h"

#include <syslog.h>

#include <ctime>
#include <string>

#include "common/address_text.h"
#include "common/clock.h"
#include "daemon/core/event_log.h"
#include "daemon/core/settings.h"
#include "daemon/kernel/transport.h"
#include "daemon/kernel/user_entry.h"
#include "daemon/users/account_limit.h"
#include "daemon/users/registration_file.h"
#include "daemon/users/user_log.h"

namespace webauth {
namespace {

constexpr char KEY_MAC_ON[] = "syslog.webauth_onmac";
constexpr char KEY_MAC_DOWN[] = "syslog.webauth_downmac";
constexpr char KEY_IP_ON[] = "syslog.webauth_onip";

// The two lines of a MAC entry differ in one blank, and the line of the other modes calls every
// record that is no MAC entry a one-key login: e-mail users and IP entries too.
constexpr char USERS_MAC_OFFLINE_LINE[] =
    "@#@ log_info n - %s - webident - -v ident.macident  ident.webidentdown";
constexpr char USERS_OFFLINE_LINE[] =
    "@#@ log_info n %s  - webident - -v ident.userident  ident.webidentdown "
    "ident.useridentname + %s ";
constexpr char MAC_OFFLINE_LINE[] =
    "@#@ log_info n - %s - webident - -v ident.macident ident.webidentdown";
constexpr char OFFLINE_LINE[] =
    "@#@ log_info n  %s  - webident - -v ident.onekeyident  ident.webidentdown";

void log_entry(const char* title, const char* key, const std::string& address) {
  log_event(title, (std::string(key) + " " + address).c_str());
}

void log_mac_offline(const OnlineUser& entry) {
  log_entry(TITLE_MAC, KEY_MAC_DOWN, entry.mac);
  if (auth_mode == AuthMode::USERS) {
    syslog(LOG_LINE_PRIORITY, USERS_MAC_OFFLINE_LINE, entry.mac.c_str());
  } else {
    syslog(LOG_LINE_PRIORITY, MAC_OFFLINE_LINE, entry.mac.c_str());
  }
}

void log_offline(const OnlineUser& user) {
  log_session(TITLE_IP, KEY_USER_DOWN, user);
  if (auth_mode == AuthMode::USERS) {
    syslog(LOG_LINE_PRIORITY, USERS_OFFLINE_LINE, client_text(user).c_str(), user.user.c_str());
  } else {
    syslog(LOG_LINE_PRIORITY, OFFLINE_LINE, client_text(user).c_str());
  }
}

}  // namespace

int handle_kernel_event(const KernelMessage& message, AccountTable& accounts,
                        OnlineUserTable& online_users) {
  switch (message.command) {
    case ENTRY_ONLINE:
      on_entry_online(message, online_users);
      break;
    case ENTRY_OFFLINE:
      on_entry_offline(message, accounts, online_users);
      break;
    case CHECK_EXPIRY:
      on_check_expiry(message.ip, online_users);
      break;
    default:
      break;
  }
  return 0;
}

void on_entry_online(const KernelMessage& message, OnlineUserTable& online_users) {
  OnlineUser entry;
  entry.kind = static_cast<std::int32_t>(message.kind);
  entry.create_time = entry.login_time = now_seconds();
  entry.online = 1;
  entry.ip = ip_text(message.ip);
  entry.mac = mac_text(message.mac);
  if (const Position known = find_kernel_entry(online_users, entry.kind, entry.ip)) {
    change_user(online_users, *known, [&](OnlineUser& user) { user = entry; });
  } else {
    append_user(online_users, entry);
  }
  if (entry.kind == ENTRY_MAC) {
    log_entry(TITLE_MAC, KEY_MAC_ON, entry.mac);
  } else {
    log_entry(TITLE_IP, KEY_IP_ON, entry.ip);
  }
}

void on_entry_offline(const KernelMessage& message, AccountTable& accounts,
                      OnlineUserTable& online_users) {
  if (const Position found = find_online_by_ip(online_users, ip_text(message.ip))) {
    const OnlineUser& user = user_at(online_users, *found);
    if (auth_mode == AuthMode::USERS) charge_daily_time(accounts, user);
    if (user.kind == ENTRY_MAC) {
      log_mac_offline(user);
    } else {
      log_offline(user);
    }
    remove_user(online_users, *found);
  }
  write_registration_file(REGISTRATION_TEMP_FILE, online_users);
}

int on_check_expiry(std::uint32_t ip, OnlineUserTable& online_users) {
  const Position found = find_expiring_by_ip(online_users, ip_text(ip));
  if (!found) return 0;
  const OnlineUser& user = user_at(online_users, *found);
  if (local_date_key(std::time(nullptr)) <= user.limit_value) return 1;
  const KernelMessage removal = user_entry_message(REMOVE_ENTRY, user.ip.c_str());
  change_user(online_users, *found, [&](OnlineUser& expired) {
    expired.online = 0;
    expired.logout_time = now_seconds();
  });
  (void)send_kernel_message(removal);  // the session is over, whether or not the kernel heard it
  write_registration_file(REGISTRATION_TEMP_FILE, online_users);
  return 1;
}

}  // namespace webauth
