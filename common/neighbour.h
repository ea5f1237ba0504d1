// The kernel's neighbour table: which MAC address an IPv4 address on a link has. Needs no privilege
// and does not wait.
#pragma once

#include <cstdint>
#include <optional>

#include "common/address_text.h"

namespace webauth {

/// A socket for find_neighbour, or a negative number.
int open_neighbour_socket();

struct Neighbour {
  MacAddress mac;
  bool is_certain;  ///< heard of lately, or set by hand; otherwise it may be somebody else's by now
};

/// `ip` is in network byte order. Nothing when there is no entry with an address.
std::optional<Neighbour> find_neighbour(int socket, int interface_index, std::uint32_t ip);

}  // namespace webauth
