// IPv4 and MAC addresses as an operator types them. Reading is strict: the whole text is the
// address, or there is none.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "common/address_text.h"

namespace webauth {

/// A dotted quad, into network byte order. Short and octal forms are refused.
std::optional<std::uint32_t> parse_ipv4(std::string_view text);

/// Six hexadecimal numbers of one or two digits, separated by colons.
std::optional<MacAddress> parse_mac(std::string_view text);

}  // namespace webauth
