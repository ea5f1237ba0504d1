// What stands between the clients and the internet, as far as the kernel tells: the web-auth kernel
// module, or webauth-gate and its rules. Of the network namespace of the caller.
#pragma once

#include <cstdint>

namespace webauth {

enum class GateState : int {
  NONE = 0,
  MODULE = 1,      ///< the kernel module is loaded
  PRINTING = 2,    ///< webauth-gate runs, and has no rules
  ENFORCING = 3,   ///< webauth-gate runs, and its rules are in force
  RULES_ONLY = 4,  ///< the rules are in force, and no gate runs
  GATE = 5,        ///< webauth-gate runs; this user may not see whether it has rules
};

GateState gate_state();

/// Of /proc/net/netlink: port 0 is the kernel's own socket, which is there with its module.
bool has_netlink_socket(int protocol, std::uint32_t port);

/// One word for programs.
const char* gate_word(GateState state);

/// The same in words for people.
const char* gate_words(GateState state);

}  // namespace webauth
