// Logging in and out: what is checked before the daemon hears of it. Nothing from these means that
// the visitor waits: for a login in the desk's queue, or for a cut.
#pragma once

#include <optional>

#include "portal/portal.h"

namespace webauth {

std::optional<Response> serve_login(Portal& portal, const Visit& visit);
std::optional<Response> serve_logout(Portal& portal, const Visit& visit);

/// Whether a login that has waited still fits the settings: another mode would take it for checked,
/// another protocol has other rules for its texts.
bool may_be_sent(const Login& login);

}  // namespace webauth
