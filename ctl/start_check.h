// `webauthctl check --start`: the daemon ends without a word when it cannot start; this says why.
// Environment, network namespace and rights are to be the daemon's own, as in its unit.
#pragma once

namespace webauth {

/// Prints what keeps the daemon from starting, one reason a line, or that nothing does. Returns
/// STATUS_ERROR when something does.
int run_start_check();

}  // namespace webauth
