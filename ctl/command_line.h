// webauthctl's command line: which command, with which options.
#pragma once

namespace webauth {

/// Runs one command and returns the exit status of the process: 0, the verdict of a login (2 to 5),
/// or 1 for every error, with a message on standard error.
int run_webauthctl(int argc, char** argv);

}  // namespace webauth
