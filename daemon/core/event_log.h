// What the daemon tells syslog: event records (log_event) and "@#@ log_info" lines, which the
// handlers write themselves with syslog(LOG_LINE_PRIORITY, template, ...).
//
// Both carry keys, not sentences; whatever reads the log knows their wording. Titles, keys and
// templates are an interface, doubled blanks included. A record comes right before the line of the
// same event. Logging never fails and never ends the process.
#pragma once

namespace webauth {

/// The priority of "@#@ log_info" lines: level LOG_EMERG and no facility of their own.
inline constexpr int LOG_LINE_PRIORITY = 0;

// Titles of event records.
inline constexpr char TITLE_DAEMON_STARTED[] = "syslog.webauth_enable";
inline constexpr char TITLE_USER[] = "syslog.webauth_userti";
inline constexpr char TITLE_MAC[] = "syslog.webauth_macti";
inline constexpr char TITLE_IP[] = "syslog.webauth_ipti";

// Message keys that several modules use.
inline constexpr char KEY_USER_ON[] = "syslog.webauth_onuser";
inline constexpr char KEY_USER_DOWN[] = "syslog.webauth_downuser";
inline constexpr char KEY_ACCOUNT[] = "syslog.webauth_user";

/// Writes one event record: LOG_LOCAL0, LOG_NOTICE, ident "user", text "R1 0 K5 <title> <text>".
/// The log connection is opened and closed around it.
void log_event(const char* title, const char* text);

}  // namespace webauth
