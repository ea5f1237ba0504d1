// The gate at work: receives and prints the daemon's messages, and obeys standard input.
#pragma once

namespace webauth {

/// Serves until a signal ends the process, or, with `exit_on_eof`, until standard input ends; then
/// returns 0. Throws std::runtime_error when it cannot start.
int run_gate(bool exit_on_eof);

}  // namespace webauth
