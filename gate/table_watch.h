// Tells when somebody else has changed the firewall, and whether table inet webauth is still as the
// gate left it. Nothing here waits.
#pragma once

#include <cstdint>
#include <optional>

#include "gate/nfnetlink.h"

namespace webauth {

/// A socket on which the kernel tells of every transaction of nftables, and of nothing else. Throws
/// std::runtime_error.
Nfnetlink open_table_watch();

/// Reads what was told. True when somebody but the owner of netlink port `own_port` has changed
/// something, or may have.
bool was_changed_by_others(Nfnetlink& watch, std::uint32_t own_port);

/// A number that is another one when a chain or a rule of the table has come or gone; nothing when
/// there is no table, or it cannot be had.
std::optional<std::uint64_t> table_stamp(Nfnetlink& link);

}  // namespace webauth
