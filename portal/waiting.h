// Those who wait for the daemon: answered when it has done what they asked, or when their patience
// ends. Times are microseconds of the steady clock.
#pragma once

#include <cstdint>

#include "portal/portal.h"

namespace webauth {

/// What the desk must know of the portal, and what it tells it.
DeskHooks make_desk_hooks(Portal& portal);

/// Answers those whose cut has been done, and those whose patience is at its end. Returns when to
/// be called again.
std::int64_t settle_waiting(Portal& portal, std::int64_t now);

}  // namespace webauth
