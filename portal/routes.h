// Which request gets which answer. The order of the checks is the contract: the first that fits
// decides.
#pragma once

#include <optional>

#include "portal/portal.h"

namespace webauth {

/// By the head alone: a foreign Host, an address that may not log in, plain HTTP where there is
/// TLS, a body that cannot be read. Nothing: the request is for serve_request.
std::optional<Response> judge_request(Portal& portal, const Visit& visit);

/// With the body. Nothing: the visitor waits for the daemon, and settle_waiting answers.
std::optional<Response> serve_request(Portal& portal, const Visit& visit);

}  // namespace webauth
