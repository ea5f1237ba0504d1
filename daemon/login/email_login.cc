#include "daemon/login/email_login.h"

#include <arpa/inet.h>
#include <syslog.h>

#include <cstdio>
#include <string>
#include <string_view>

#include "common/clock.h"
#include "common/fatal.h"
#include "common/text_field.h"
#include "daemon/core/event_log.h"
#include "daemon/core/settings.h"
#include "daemon/kernel/transport.h"
#include "daemon/kernel/user_entry.h"
#include "daemon/login/earlier_login.h"
#include "daemon/login/email_group.h"
#include "daemon/login/login_reply.h"
#include "daemon/login/mail_probe.h"
#include "daemon/login/white_list.h"
#include "daemon/users/registration_file.h"
#include "daemon/users/user_log.h"

namespace webauth {
namespace {

constexpr std::size_t LONGEST_NAME_AND_SUFFIX = 88;

constexpr char EMAIL_ONLINE_LINE[] =
    "@#@ log_info n  %s  - webident - -v ident.emailident  ident.webidentup  "
    "ident.emailidentname + %s";
constexpr char EMAIL_REPLACED_LINE[] =
    "@#@ log_info n %s - webident - -v ident.emailident  ident.webidentdown  "
    "ident.emailidentname + %s ";
constexpr char REPLACED_NOTICE[] = "%s,%d ip: %s %s \r\n";
constexpr char REPLACED_NOTICE_NAME[] = "is_email_online_msg";
constexpr int REPLACED_NOTICE_NUMBER = 2932;

bool setting_is(const char* key, std::string_view value) { return setting_text(key) == value; }

bool is_name_too_long(const std::string& user) {
  const std::string_view suffix = setting_text("WEBAUTH_E_SUFFIX");
  return user.find(suffix) != std::string::npos &&
         user.size() + suffix.size() > LONGEST_NAME_AND_SUFFIX;
}

// The mail server's verdict: above 0 when it accepts.
int probe(const std::string& user, const std::string& password) {
  const bool tls = setting_is("WEBAUTH_POP3SSL", "YES");
  const bool imap = setting_is("WEBAUTH_E_PRO", "imap");
  const auto ask =
      tls ? (imap ? probe_imap_tls : probe_pop3_tls) : (imap ? probe_imap : probe_pop3);
  return ask(mail_server_host, mail_server_port, user.c_str(), password.c_str());
}

void report_replaced_email(const OnlineUser& user) {
  const std::string client = client_text(user);
  syslog(LOG_LINE_PRIORITY, EMAIL_REPLACED_LINE, client.c_str(), user.user.c_str());
  std::printf(REPLACED_NOTICE, REPLACED_NOTICE_NAME, REPLACED_NOTICE_NUMBER, client.c_str(),
              user.user.c_str());
  std::fflush(stdout);
}

}  // namespace

int login_email(int connection, const LoginRequest& request, OnlineUserTable& online_users) {
  OnlineUser user;
  user.kind = ENTRY_USER;
  user.user = field_text(request.user);
  user.online = 1;
  user.ip = field_text(request.ip);
  user.mac = field_text(request.mac);
  user.tag = request.tag;

  if (find_user_entry_by_ip(online_users, user.ip)) {
    send_login_reply(connection, LOGIN_ACCEPTED);
    return 0;
  }
  if (setting_is("EMAIL_ENABLE_WHITE_LIST", "YES") &&
      !is_white_listed(WHITE_LIST_FILE, user.user)) {
    send_login_reply(connection, LOGIN_NOT_LISTED);
    return 0;
  }
  const std::string password(field_text(request.password));
  if (is_name_too_long(user.user) || probe(user.user, password) <= 0) {
    send_login_reply(connection, LOGIN_REFUSED);
    return 0;
  }
  const KernelMessage admission = user_entry_message(ADD_ENTRY, user.ip.c_str());
  if (multi_user == 0) end_earlier_login(online_users, user.user, report_replaced_email);
  if (admission.ip == INADDR_NONE) end_process();  // only now: the earlier login has ended
  send_kernel_message_or_exit(admission);
  send_login_reply(connection, LOGIN_ACCEPTED);
  user.login_time = now_seconds();
  append_user(online_users, user);
  write_registration_file(REGISTRATION_TEMP_FILE, online_users);
  (void)email_group_update(EMAIL_GROUP_ADD, admission.ip);
  log_session(TITLE_USER, KEY_USER_ON, user);
  syslog(LOG_LINE_PRIORITY, EMAIL_ONLINE_LINE, client_text(user).c_str(), user.user.c_str());
  return 0;
}

}  // namespace webauth
