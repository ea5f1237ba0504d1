// The text forms of IPv4 and MAC addresses as an operator types and reads them. Parsing is strict:
// the whole text is the address, or there is none.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace webauth {

using MacAddress = std::array<unsigned char, 6>;

/// A dotted quad, into network byte order. Short and octal forms are refused.
std::optional<std::uint32_t> parse_ipv4(std::string_view text);

/// An address in network byte order as a dotted quad.
std::string ipv4_text(std::uint32_t address);

/// Six hexadecimal numbers of one or two digits, separated by colons.
std::optional<MacAddress> parse_mac(std::string_view text);

std::string mac_text(const MacAddress& mac);

}  // namespace webauth
