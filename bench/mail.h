// The mail server for the measured e-mail logins, and what a bare client must do to ask it.
//
// The servers are child processes on loopback, one plain and one with TLS. They accept everything:
// their answer is the same over POP3 and IMAP. What cannot be set up ends the program.
#pragma once

namespace webauth {

/// Makes the daemon ask the server in this way from now on. Touches the settings only when that is
/// a change, so that the daemon does not read them anew at every login.
void choose_mail_server(bool tls, bool imap);

/// The exchanges of a probe in bare calls: connection, handshake, greeting, commands, end.
void bare_mail_client(bool tls, bool imap);

}  // namespace webauth
