// What the gate prints for a walled-garden message.
#pragma once

#include <optional>
#include <string>

#include "gate/gate_socket.h"

namespace webauth {

/// "GARDEN_HOST_NAME host.example.org" or "GARDEN_HOST_ADDRESS host.example.org 10.0.0.1", with
/// what is not as it must be at the end. Nothing when the datagram is no garden message: then it
/// does not hold as many bytes as its header says, or its class and code are not a pair of theirs.
std::optional<std::string> garden_text(const Datagram& datagram);

}  // namespace webauth
