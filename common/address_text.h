// Addresses as the texts that records, files and log lines hold. Nothing here fails or ends the
// process but for want of memory.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace webauth {

/// Six raw bytes in written order.
using MacAddress = std::array<unsigned char, 6>;

/// "%u.%u.%u.%u" of an IPv4 address in network byte order, first byte first.
std::string ip_text(std::uint32_t address);

/// "%02x:%02x:%02x:%02x:%02x:%02x" of a MAC address.
std::string mac_text(const MacAddress& mac);

/// Reads six hexadecimal numbers of at most ff, separated by colons; what follows them is ignored.
/// Nothing when the text does not begin so.
std::optional<MacAddress> read_mac(const char* text);

}  // namespace webauth
