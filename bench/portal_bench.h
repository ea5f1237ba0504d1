// webauth-portal beside a bare loop that only accepts, reads, writes and closes, and beside the
// daemon alone; its memory, and visitors behind a thousand silent connections.
#pragma once

#include "bench/measure.h"

namespace webauth {

/// Starts a daemon, the portal and the bare loop, and prints a row each for a page and for a login,
/// from the form that is sent to the published list. Throws when one is not served.
void measure_portal(Table& table);

}  // namespace webauth
