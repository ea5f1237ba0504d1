// What the gate prints for a datagram of the daemon: one line, whatever the datagram holds.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "daemon/kernel/kernel_message.h"
#include "gate/daemon_link.h"

namespace webauth {

/// The record, when the datagram has its size and a command that the daemon can send.
std::optional<KernelMessage> known_message(const Datagram& datagram);

/// "ADD_ENTRY user 10.0.0.23 time_allowance 7200 s" and the like. What does not agree with the
/// documented layout is named at the end of the line; a datagram of another size or with an unknown
/// command is shown as its size and the first of its bytes in hexadecimal. `daemon_pid` is the
/// process id that the daemon named when it started, 0 while it is not known.
std::string datagram_text(const Datagram& datagram, std::uint32_t daemon_pid);

/// "mac", "ip", "user", or "kind N".
std::string kind_text(std::uint32_t kind);

}  // namespace webauth
