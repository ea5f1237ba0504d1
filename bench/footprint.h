// What a real daemon process costs while it does nothing: its memory with 10,000 users online, and
// how often it wakes.
#pragma once

namespace webauth {

/// Starts the daemon, logs the users in through the login socket, watches the process for
/// `idle_seconds` and prints both figures beside their goals.
void print_footprint(int idle_seconds);

}  // namespace webauth
