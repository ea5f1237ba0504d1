#include "daemon/login/mail_probe.h"

#include <syslog.h>

#include "daemon/core/event_log.h"
#include "daemon/login/mail_connection.h"

namespace webauth {
namespace {

// Of POP3, and of IMAP over TLS.
constexpr char ACCEPTED_LINE[] =
    "@#@ log_info n - -  - webident - -v ident.emailident  ident.webidentup  "
    "ident.emailhostname + %s";
constexpr char POP3_USER_REFUSED_LINE[] =
    "@#@ log_info n - -  - webident - -v ident.emailident  ident.poplogusererr";
constexpr char POP3_PASSWORD_REFUSED_LINE[] =
    "@#@ log_info n - -  - webident - -v ident.emailident ident.poplogpwderr";
constexpr char IMAP_ACCEPTED_LINE[] =
    "@#@ log_info n - -  - webident - -v ident.emailident ident.webidentup "
    "ident.emailhostname  + %s";
constexpr char IMAP_REFUSED_LINE[] =
    "@#@ log_info n - -  - webident - -v ident.emailident ident.imapuserpwderr";
constexpr char IMAP_TLS_REFUSED_LINE[] =
    "@#@ log_info n - -  - webident - -v ident.emailident ident.imapsslusererr";

constexpr char USER_COMMAND[] = "USER %s\r\n";
constexpr char PASS_COMMAND[] = "PASS %s\r\n";
constexpr char LOGIN_COMMAND[] = "C1 LOGIN %s %s\r\n";

constexpr int ACCEPTED = 1;
constexpr int NOT_ACCEPTED = -1;

int refuse(const char* line) {
  syslog(LOG_LINE_PRIORITY, "%s", line);
  return NOT_ACCEPTED;
}

}  // namespace

int probe_pop3(const char* server, int port, const char* user, const char* password) {
  MailConnection mail;
  if (!mail_connect(mail, server, port)) return NOT_ACCEPTED;
  if (!pop3_reply_ok(mail)) return NOT_ACCEPTED;
  if (!mail_send_line(mail, USER_COMMAND, user) || !pop3_reply_ok(mail)) {
    return refuse(POP3_USER_REFUSED_LINE);
  }
  if (!mail_send_line(mail, PASS_COMMAND, password) || !pop3_reply_ok(mail)) {
    return refuse(POP3_PASSWORD_REFUSED_LINE);
  }
  syslog(LOG_LINE_PRIORITY, ACCEPTED_LINE, server);
  return ACCEPTED;
}

int probe_pop3_tls(const char* server, int port, const char* user, const char* password) {
  MailConnection mail;
  if (!mail_connect(mail, server, port)) return NOT_ACCEPTED;
  if (!mail_start_tls(mail)) return NOT_ACCEPTED;
  if (!pop3_reply_ok(mail)) return NOT_ACCEPTED;
  if (!mail_send_line(mail, USER_COMMAND, user) || !pop3_reply_ok(mail)) return NOT_ACCEPTED;
  if (!mail_send_line(mail, PASS_COMMAND, password) || !pop3_reply_ok(mail)) return NOT_ACCEPTED;
  return ACCEPTED;
}

int probe_imap(const char* server, int port, const char* user, const char* password) {
  MailConnection mail;
  if (!mail_connect(mail, server, port)) return NOT_ACCEPTED;
  if (!imap_reply_ok(mail)) return NOT_ACCEPTED;
  if (!mail_send_line(mail, LOGIN_COMMAND, user, password) || !imap_reply_ok(mail)) {
    return refuse(IMAP_REFUSED_LINE);
  }
  syslog(LOG_LINE_PRIORITY, IMAP_ACCEPTED_LINE, server);
  return ACCEPTED;
}

int probe_imap_tls(const char* server, int port, const char* user, const char* password) {
  MailConnection mail;
  if (!mail_connect(mail, server, port)) return NOT_ACCEPTED;
  if (!mail_start_tls(mail)) return NOT_ACCEPTED;
  if (!imap_reply_ok(mail)) return NOT_ACCEPTED;
  if (!mail_send_line(mail, LOGIN_COMMAND, user, password) || !imap_reply_ok(mail)) {
    return refuse(IMAP_TLS_REFUSED_LINE);
  }
  syslog(LOG_LINE_PRIORITY, ACCEPTED_LINE, server);
  return ACCEPTED;
}

}  // namespace webauth
