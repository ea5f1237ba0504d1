// webauth-gate's command line.
#pragma once

namespace webauth {

/// Runs the gate and returns the exit status of the process: 1, with a message on standard error,
/// when it cannot start.
int run_webauth_gate(int argc, char** argv);

}  // namespace webauth
