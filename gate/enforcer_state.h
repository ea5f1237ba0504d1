// What the parts of the enforcing gate share: its connections, its memory, and what is still to be
// done in the kernel.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <deque>
#include <string>

#include "gate/conntrack.h"
#include "gate/daemon_link.h"
#include "gate/enforcer.h"
#include "gate/nfnetlink.h"
#include "gate/output_lines.h"
#include "gate/session_table.h"

namespace webauth {

struct Enforcer {
  EnforceOptions options;
  DaemonLink daemon;
  Nfnetlink policy;    ///< the elements of the sets
  Nfnetlink activity;  ///< what the rules tell
  Nfnetlink watch;     ///< what others do to the firewall
  Conntrack conntrack;
  int neighbours = -1;

  SessionTable table;
  Surroundings around;
  std::uint32_t daemon_pid = 0;  ///< as the daemon named it at its start

  std::deque<Effects> pending;  ///< what the kernel has not taken yet, oldest first
  Millis retry_at = 0;          ///< when that is tried again; 0: nothing is wrong
  std::uint64_t stamp = 0;      ///< of the table as it was left
  Millis verify_at = 0;         ///< when it is compared; 0: nobody has changed anything
  Millis verified_at = 0;
  std::uint32_t lost = 0;   ///< notices, when the data path was asked last
  Millis reconcile_at = 0;  ///< when it is asked next; 0: nothing was lost

  OutputLines output{.fd = STDOUT_FILENO};
};

void say(Enforcer& gate, const std::string& line);

/// Puts the effects into the kernel, behind those that wait, and then carries the rest of them out.
void carry_out(Enforcer& gate, Effects effects);

/// Tries again what the kernel has not taken.
void carry_out_pending(Enforcer& gate);

/// Makes the table anew with everything that belongs into it. Until it is all there, packets are
/// dropped without a word. What fails is tried again.
void rebuild(Enforcer& gate);

/// Makes or changes the rules. Throws std::runtime_error.
void put_rules(Enforcer& gate, const RulesetOptions& options, bool anew = false);

/// Rebuilds the table if somebody has changed something of it. While that cannot be seen it is
/// looked at again.
void verify(Enforcer& gate);
void verify_soon(Enforcer& gate);

/// Takes over what an earlier gate left in the kernel, and loads the rules. Throws
/// std::runtime_error.
void take_over(Enforcer& gate);

/// Learns from the data path what its notices may have said while nobody listened.
void reconcile(Enforcer& gate);

}  // namespace webauth
