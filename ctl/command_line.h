// webauthctl's command line: which command, with which options.
#pragma once

namespace webauth {

/// Runs one command and returns the exit status of the process (ctl/exit_status.h). Every error has
/// a message on standard error that begins with the program's name.
int run_webauthctl(int argc, char** argv);

}  // namespace webauth
