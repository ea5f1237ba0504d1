// What a real daemon process costs while it does nothing: its memory with 10,000 users online, and
// how often it wakes; and what many TLS logins leave behind.
#pragma once

namespace webauth {

/// Starts the daemon, logs the users in through the login socket, watches the process for
/// `idle_seconds` and prints both figures beside their goals.
void print_footprint(int idle_seconds);

/// Logs in by e-mail over TLS `count` times in this process, after a tenth as often to warm up, and
/// prints its memory and its open descriptors before and after.
void print_tls_logins(int count);

}  // namespace webauth
