// What the gate tells the daemon: records as the kernel module sends them, and their text.
#pragma once

#include <cstdint>
#include <string>

#include "common/address_text.h"
#include "daemon/kernel/kernel_message.h"

namespace webauth {

/// An event without its record. `ip` is in network byte order.
struct GateEvent {
  KernelEvent code;
  std::uint32_t ip;
  std::uint32_t kind = 0;  ///< of ENTRY_ONLINE only, as is `mac`
  MacAddress mac{};

  bool operator==(const GateEvent&) const = default;
};

/// The daemon does not look at the header, but it is complete.
KernelMessage event_message(const GateEvent& event);

/// "ENTRY_ONLINE mac 10.0.0.5 00:11:22:33:44:55" and the like.
std::string event_text(const GateEvent& event);

}  // namespace webauth
