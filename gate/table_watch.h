// Tells when somebody else has changed the firewall, and whether table inet webauth is still as the
// gate left it. Nothing here waits.
#pragma once

#include <cstddef>
#include <cstdint>

#include "gate/nfnetlink.h"

namespace webauth {

/// A socket on which the kernel tells what is done to nftables by others than the owner of netlink
/// port `own_port`. Throws std::runtime_error.
Nfnetlink open_table_watch(std::uint32_t own_port);

/// Reads all that was told. Returns how many owners of a port have changed something of the table;
/// MANY_CHANGERS when that is not known. Each load of the rules is one of them.
std::size_t count_changers(Nfnetlink& watch);

inline constexpr std::size_t MANY_CHANGERS = 1'000;

/// Sets `stamp` to a number that is another one when something of the table but its elements has
/// come, gone or changed; 0 when there is no table. Returns 0 or the error.
int table_stamp(Nfnetlink& link, std::uint64_t& stamp);

}  // namespace webauth
