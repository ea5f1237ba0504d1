// Walled-garden messages of the daemon, read and shown.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "gate/daemon_link.h"

namespace webauth {

struct GardenEntry {
  bool is_address = false;               ///< of GARDEN_HOST_ADDRESS, else of GARDEN_HOST_NAME
  std::string name;                      ///< labels behind their lengths, as they came
  std::optional<std::uint32_t> address;  ///< network byte order
  std::uint32_t sender_pid = 0;
  std::string problem;  ///< what is not as it must be; empty when nothing is
};

/// Nothing when the datagram is no garden message: then it does not hold as many bytes as its
/// header says, or its class and code are not a pair of theirs.
std::optional<GardenEntry> read_garden_message(const Datagram& datagram);

/// "GARDEN_HOST_NAME host.example.org" or "GARDEN_HOST_ADDRESS host.example.org 10.0.0.1".
std::string garden_text(const GardenEntry& entry);

}  // namespace webauth
