// The commands that the gate reads from its operator, one per line:
//   online KIND IP MAC    (KIND: mac, ip, user or a number)
//   offline IP
//   check-expiry IP
//   list
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "gate/gate_event.h"

namespace webauth {

/// `event` is what goes to the daemon; `list` has none.
struct GateCommand {
  std::optional<GateEvent> event;
};

/// Nothing when the line is no command; `problem` then says why, in one line safe to print.
std::optional<GateCommand> parse_gate_command(std::string_view line, std::string& problem);

}  // namespace webauth
