// The interface behind which the visitors are: its addresses and networks, and which MAC address a
// visitor has. Addresses are in network byte order.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/address_text.h"

namespace webauth {

struct Network {
  std::uint32_t address;  ///< the router's own
  std::uint32_t mask;
};

struct Lan {
  std::string name;
  int index = 0;
  std::vector<Network> networks;  ///< the first is where visitors are sent
};

/// The interface as it is now; no networks when it is gone or has no IPv4 address.
Lan read_lan(const std::string& name);

/// Whether `ip` is a host's address in one of the networks: none of the router's own there, nor the
/// address of a network, nor its broadcast address.
bool is_visitor(const Lan& lan, std::uint32_t ip);

/// Of the kernel's neighbour table; zeros when there is no entry.
MacAddress visitor_mac(const Lan& lan, int neighbour_socket, std::uint32_t ip);

}  // namespace webauth
