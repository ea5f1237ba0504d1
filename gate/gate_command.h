// The commands that the gate reads from its operator, one per line:
//   online KIND IP MAC    (KIND: mac, ip, user or a number)
//   offline IP
//   check-expiry IP
//   list
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "daemon/kernel/kernel_message.h"

namespace webauth {

/// `event` is what goes to the daemon; `list` has none.
struct GateCommand {
  std::optional<KernelMessage> event;
};

/// Nothing when the line is no command; `problem` then says why, in one line safe to print.
std::optional<GateCommand> parse_gate_command(std::string_view line, std::string& problem);

/// "ENTRY_ONLINE mac 10.0.0.5 00:11:22:33:44:55" and the like.
std::string event_text(const KernelMessage& event);

}  // namespace webauth
