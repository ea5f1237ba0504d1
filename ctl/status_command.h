// `webauthctl status` and `webauthctl metrics`: is the daemon running, and what does it do.
#pragma once

namespace webauth {

/// Prints the state of daemon, list and gate. Returns STATUS_DOWN when the daemon is not running.
int run_status(bool json);

/// Prints the same for a collector of metrics, in the text form of node-exporter. Returns
/// STATUS_DONE even when the daemon is not running: that is one of the metrics.
int run_metrics();

}  // namespace webauth
