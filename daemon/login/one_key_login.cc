#include "daemon/login/one_key_login.h"

#include <arpa/inet.h>
#include <syslog.h>

#include <string_view>

#include "common/clock.h"
#include "common/text_field.h"
#include "daemon/core/event_log.h"
#include "daemon/core/settings.h"
#include "daemon/kernel/transport.h"
#include "daemon/kernel/user_entry.h"
#include "daemon/login/login_reply.h"
#include "daemon/users/registration_file.h"
#include "daemon/users/user_log.h"

namespace webauth {
namespace {

constexpr char ONE_KEY_ONLINE_LINE[] =
    "@#@ log_info n %s  - webident - -v ident.onekeyident ident.webidentup";
// A refresh is reported as a local user's, although no local account has to do with it.
constexpr char REFRESH_LINE[] =
    "@#@ log_info n - -   - webident - -v ident.userident ident.webidentup  "
    "ident.useridentname + %s ";

void refresh_user(OnlineUserTable& online_users, std::size_t position, std::string_view mac) {
  change_user(online_users, position, [&](OnlineUser& user) {
    user.online = 1;
    user.login_time = now_seconds();
    user.mac = mac;
  });
  const OnlineUser& user = user_at(online_users, position);
  log_user(KEY_USER_ON, user);
  syslog(LOG_LINE_PRIORITY, REFRESH_LINE, user.user.c_str());
}

}  // namespace

int login_one_key(int connection, const LoginRequest& request, OnlineUserTable& online_users) {
  const std::string_view mac = field_text(request.mac);
  if (const Position known = find_by_ip(online_users, field_text(request.ip))) {
    refresh_user(online_users, *known, mac);
    return 0;
  }
  OnlineUser user;
  user.kind = ENTRY_USER;
  user.online = 1;
  user.login_time = now_seconds();
  user.ip = field_text(request.ip);
  user.mac = mac;

  const KernelMessage message = user_entry_message(ADD_ENTRY, user.ip.c_str());
  if (message.ip != INADDR_NONE) {
    (void)send_kernel_message(message);  // the visitor is answered and recorded all the same
    if (mode_row(auth_mode).replies) send_login_reply(connection, LOGIN_ACCEPTED);
    append_user(online_users, user);
    write_registration_file(REGISTRATION_TEMP_FILE, online_users);
  }
  log_user(KEY_USER_ON, user);
  syslog(LOG_LINE_PRIORITY, ONE_KEY_ONLINE_LINE, client_text(user).c_str());
  return 0;
}

}  // namespace webauth
