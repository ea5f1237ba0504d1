// The command line of webauth-portal.
#pragma once

namespace webauth {

/// Runs the program and returns its exit status.
int run_webauth_portal(int argc, char** argv);

}  // namespace webauth
