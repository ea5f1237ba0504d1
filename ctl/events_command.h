// `webauthctl events`: one line per arrival, departure and change of the published list, and when
// the daemon goes or comes back.
#pragma once

#include "ctl/list_follower.h"

namespace webauth {

/// Prints what a pass of the follower has found, as lines of text or of JSON. Throws OperatorError
/// when the output cannot be written.
void print_events(const Followed& found, bool json);

/// Ends with a signal, or returns STATUS_ERROR when nobody reads the output. Throws OperatorError.
int run_events(bool json);

}  // namespace webauth
