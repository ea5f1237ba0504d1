// The frame of the programs here, which use the fixed paths of the daemon and of syslog.
#pragma once

namespace webauth {

/// Runs the program's main part. What it throws becomes a line on standard error and a failed exit
/// status.
int run_reporting(const char* program, int (*run)(int, char**), int argc, char** argv);

/// Makes this process ready to stand around a daemon. False, with a line on standard error, outside
/// scripts/sandbox.
bool begin_in_sandbox(const char* program);

}  // namespace webauth
