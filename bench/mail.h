// The mail servers for the measured e-mail logins, and what a bare client must do to ask one.
//
// They are processes on loopback, one plain and one with TLS, which accept everything: their answer
// is the same over POP3 and IMAP. What cannot be had is thrown as std::runtime_error.
#pragma once

namespace webauth {

struct MailWay {
  bool tls = false;
  bool imap = false;
};

/// Makes the daemon ask in this way from now on. The first call takes some seconds.
void choose_mail_server(MailWay way);

/// The exchanges of a probe in bare calls: connection, handshake, greeting, commands, end.
void bare_mail_client(MailWay way);

}  // namespace webauth
