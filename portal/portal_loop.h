// The program's life: everything opened, then one loop until SIGTERM.
#pragma once

#include "portal/portal.h"

namespace webauth {

/// Serves until SIGTERM or SIGINT and returns 0; SIGHUP loads branding and certificate again.
/// Throws std::runtime_error when it cannot begin; nothing has been served then.
int run_portal(const PortalOptions& options);

}  // namespace webauth
