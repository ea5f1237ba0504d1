// Asks the mail server whether it accepts a name and password, over POP3 or IMAP, plain or with TLS
// from the first byte.
//
// Each probe is one conversation of at most three exchanges; login/mail_connection.h says how long
// it may wait. `server` is a host name or a dotted address, `port` in host byte order; the name and
// the password go to the server exactly as they are, without quoting. The result is 1 when the
// server accepts, -1 when it does not or any step fails. POP3 over TLS writes no log line; the
// others report an accepted or refused login. Nothing here ends the process.
#pragma once

namespace webauth {

int probe_pop3(const char* server, int port, const char* user, const char* password);
int probe_pop3_tls(const char* server, int port, const char* user, const char* password);
int probe_imap(const char* server, int port, const char* user, const char* password);
int probe_imap_tls(const char* server, int port, const char* user, const char* password);

}  // namespace webauth
