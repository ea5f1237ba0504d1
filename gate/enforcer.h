// The gate that holds back: keeps table inet webauth as the daemon wants it, and tells the daemon
// what the kernel module would.
#pragma once

#include <cstdint>
#include <string>

#include "gate/ruleset.h"

namespace webauth {

inline constexpr char DEFAULT_STATE_FOLDER[] = "/run/webauth-gate";

struct EnforceOptions {
  RulesetOptions rules;
  std::string state_folder = DEFAULT_STATE_FOLDER;
  bool verbose = false;  ///< print every message and event
};

/// Serves until SIGTERM or SIGINT and returns 0; the rules stay in force. Throws std::runtime_error
/// when it cannot start: then no rule has been changed.
int run_enforcer(const EnforceOptions& options);

/// Takes every rule and all state away. Throws std::runtime_error.
void remove_enforcement(const std::string& state_folder);

}  // namespace webauth
