// SHA-256 and HMAC-SHA-256 (RFC 2104).
#pragma once

#include <array>
#include <string_view>

namespace webauth {

using Digest = std::array<unsigned char, 32>;

Digest sha256(std::string_view text);

/// `key` fills exactly one digest.
Digest hmac_sha256(const Digest& key, std::string_view text);

}  // namespace webauth
