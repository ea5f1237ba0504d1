// What the rules tell of packets, over NFLOG: the first ones of clients, and the answers that the
// router's DNS gives. Each comes at once, in a message of its own. Nothing here waits.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include "gate/nfnetlink.h"
#include "gate/session_table.h"

namespace webauth {

struct Notice {
  std::string_view prefix;   ///< LOG_USER and so on of gate/ruleset.h
  FirstPacket packet;        ///< addresses of the packet's sender
  std::string_view payload;  ///< the beginning of the packet from its IP header on
};

/// Throws std::runtime_error, as when another process has the group.
Nfnetlink open_activity();

/// Calls `take` with what has come; the texts are valid until it returns. A notice that is cut
/// short is passed over.
void read_activity(Nfnetlink& link, const std::function<void(const Notice&)>& take);

/// How many notices were lost so far, for want of room. (The error with which the kernel tells of
/// it comes once, however long that lasts.)
std::uint32_t count_lost(const Nfnetlink& link);

}  // namespace webauth
