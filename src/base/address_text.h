// Addresses as the texts that records, files and log lines hold.
#pragma once

#include <cstdint>
#include <string>

namespace webauth {

/// "%u.%u.%u.%u" of an IPv4 address in network byte order, first byte first.
std::string ip_text(std::uint32_t address);

/// "%02x:%02x:%02x:%02x:%02x:%02x" of six raw bytes.
std::string mac_text(const unsigned char (&mac)[6]);

/// Reads six hexadecimal numbers of at most ff, separated by colons; what follows them is ignored.
/// False, with `mac` unchanged, when the text does not begin so.
bool read_mac(const char* text, unsigned char (&mac)[6]);

}  // namespace webauth
