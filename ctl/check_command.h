// `webauthctl check`: reads everything that the daemon reads, as it does, and says what is wrong or
// surprising. Nothing is sent, and no daemon need be running.
#pragma once

namespace webauth {

/// Prints one finding a line, as FILE:LINE: WORDS. Returns STATUS_ERROR when there is one.
int run_check();

}  // namespace webauth
