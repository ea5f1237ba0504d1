#include "daemon/login/account_login.h"

#include <arpa/inet.h>
#include <syslog.h>

#include <ctime>
#include <string>

#include "common/clock.h"
#include "common/text_field.h"
#include "daemon/core/event_log.h"
#include "daemon/core/settings.h"
#include "daemon/kernel/transport.h"
#include "daemon/kernel/user_entry.h"
#include "daemon/login/earlier_login.h"
#include "daemon/login/login_reply.h"
#include "daemon/users/account_limit.h"
#include "daemon/users/registration_file.h"
#include "daemon/users/user_log.h"

namespace webauth {
namespace {

constexpr std::uint32_t EXPIRY_RECHECK_SECONDS = 600;

constexpr char ACCOUNT_ONLINE_LINE[] =
    "@#@ log_info n %s  - webident - -v ident.userident  ident.webidentup "
    "ident.useridentname +  %s ";
// An earlier login that ends is reported with the key of one that begins.
constexpr char ACCOUNT_REPLACED_LINE[] =
    "@#@ log_info n %s  - webident - -v ident.userident  ident.webidentup "
    "ident.useridentname  + %s ";

void report_replaced_account(const OnlineUser& user) {
  syslog(LOG_LINE_PRIORITY, ACCOUNT_REPLACED_LINE, client_text(user).c_str(), user.user.c_str());
}

// Judges the account's limit and puts what is left of it into the admission. False: none is left.
bool grant_time(OnlineUser& account, KernelMessage& admission) {
  const std::time_t now = std::time(nullptr);
  const std::int32_t today = local_date_key(now);
  switch (account.limit_type) {
    case LIMIT_DAILY_TIME:
      if (local_date_key(calendar_time(account.logout_time, now)) != today) {
        account.used_seconds = 0;
      }
      if (account.limit_value <= account.used_seconds) return false;
      admission.time_allowance = static_cast<std::uint32_t>(account.limit_value) -
                                 static_cast<std::uint32_t>(account.used_seconds);
      return true;
    case LIMIT_EXPIRY_DATE:
      if (today > account.limit_value) return false;
      admission.recheck_interval = EXPIRY_RECHECK_SECONDS;
      return true;
    default:
      return true;
  }
}

void mark_online(OnlineUser& account, const LoginRequest& request) {
  account.online = 1;
  account.login_time = now_seconds();
  account.ip = field_text(request.ip);
  account.mac = field_text(request.mac);
  account.extra1 = field_text(request.extra1);
  account.extra2 = field_text(request.extra2);
}

}  // namespace

int login_local_account(int connection, const LoginRequest& request, AccountTable& accounts,
                        OnlineUserTable& online_users) {
  const std::string ip(field_text(request.ip));
  if (find_by_ip(online_users, ip)) {
    send_login_reply(connection, LOGIN_ACCEPTED);
    return 0;
  }
  if (multi_user == 0) {  // the online time of the earlier login is not charged to the account
    end_earlier_login(online_users, field_text(request.user), report_replaced_account);
  }

  const Position found = find_by_user(accounts, field_text(request.user));
  if (!found) return 0;
  KernelMessage admission = user_entry_message(ADD_ENTRY, ip.c_str());
  OnlineUser& account = user_at(accounts, *found);
  account.tag = request.tag;
  if (!grant_time(account, admission)) {
    send_login_reply(connection, LOGIN_TIME_EXHAUSTED);
    return 1;
  }
  mark_online(account, request);
  if (admission.ip != INADDR_NONE) {
    send_kernel_message_or_exit(admission);
    send_login_reply(connection, LOGIN_ACCEPTED);
    append_user(online_users, account);
    write_registration_file(REGISTRATION_TEMP_FILE, online_users);
  }
  log_session(TITLE_USER, KEY_USER_ON, account);
  syslog(LOG_LINE_PRIORITY, ACCOUNT_ONLINE_LINE, client_text(account).c_str(),
         account.user.c_str());
  return 0;
}

}  // namespace webauth
